// The sets of WebAssembly with vectors. Without them it is a processor like any other, with the plain set.
#pragma once

#define FOURTAP_SETS(SET, with)    \
  SET(with, c, FourTapSetPlain, 8) \
  SET(with, simd128, FourTapSetSIMD128, 1)

#define FOURTAP_GATHERING_SETS(SET, with) SET(with, simd128)

#define FOURTAP_REDUCING_SETS(SET, with) SET(with, c, FourTapSetPlain) SET(with, simd128, FourTapSetSIMD128)

#define FOURTAP_BASE_SET FourTapSetSIMD128

#define FOURTAP_FEATURES_c(FEATURE)
#define FOURTAP_FEATURES_simd128(FEATURE) FEATURE(simd128)

// A module is refused as a whole where its vectors are not known: what runs has them.
#define FOURTAP_PROCESSOR_HAS(set) true

#define FOURTAP_SET_SCALERS "layouts/SetScalers_c.h"
