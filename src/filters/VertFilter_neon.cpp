// The vertical filter, 16 bytes at a time. All bytes go through vector lanes, whatever their number.
#include "filters/Neon.h"

FOURTAP_DEFINE_VERT_FILTER(neon, Neon)
