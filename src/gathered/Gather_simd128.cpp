// The horizontal pass in WebAssembly's vectors.
#include "filters/Simd128.h"
#include "gathered/Gather16.h"

FOURTAP_DEFINE_GATHER_SET(simd128, SchemeOf16<Simd128, Order::inHalves>(), SchemeOf16<Simd128, Order::inFours>())
