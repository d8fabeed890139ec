// The sets of aarch64.
#pragma once

#define FOURTAP_SETS(SET, with)    \
  SET(with, c, FourTapSetPlain, 8) \
  SET(with, neon, FourTapSetNEON, 1)

#define FOURTAP_GATHERING_SETS(SET, with) SET(with, neon)

#define FOURTAP_REDUCING_SETS(SET, with) \
  SET(with, c, FourTapSetPlain)          \
  SET(with, neon, FourTapSetNEON)

#define FOURTAP_BASE_SET FourTapSetNEON

#define FOURTAP_FEATURES_c(FEATURE)
#define FOURTAP_FEATURES_neon(FEATURE)
// A part of a set, chosen by itself, and its flags.
#define FOURTAP_FEATURES_dotprod(FEATURE) FEATURE(dotprod)
#define FOURTAP_FLAGS_dotprod "-march=armv8.2-a+dotprod"

#define FOURTAP_PROCESSOR_HAS(set) true

#define FOURTAP_SET_SCALERS "layouts/SetScalers_c.h"
