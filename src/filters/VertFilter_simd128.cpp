// The vertical filter, 16 bytes at a time. All bytes go through vector lanes, whatever their number.
#include "filters/Simd128.h"

FOURTAP_DEFINE_VERT_FILTER(simd128, Simd128)
