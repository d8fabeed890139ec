// Preloaded, this takes the place of one of the library's scalers, and does nothing.
#include <fourtapscale/FourTapScale.h>

void FourTapScalePlane_c(_SCALE_CONTEXT*, unsigned char const*, int, unsigned char*, int, int, int, int, int) {}
