// The vertical filter, 64 bytes at a time. All bytes go through vector lanes, whatever their number.
#include "filters/Avx512Bytes.h"
#include "filters/VertFilterBytes.h"

FOURTAP_DEFINE_VERT_FILTER(avx512, Avx512)
