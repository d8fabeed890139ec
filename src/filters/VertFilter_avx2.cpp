// The vertical filter, 32 bytes at a time. All bytes go through vector lanes, whatever their number.
#include "filters/Avx2Bytes.h"
#include "filters/VertFilterBytes.h"

FOURTAP_DEFINE_VERT_FILTER(avx2, Avx2)
