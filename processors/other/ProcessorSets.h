// The sets of processors that none was written for.
#pragma once

#define FOURTAP_SETS(SET, with) SET(with, c, FourTapSetPlain, 8)

#define FOURTAP_GATHERING_SETS(SET, with)

#define FOURTAP_REDUCING_SETS(SET, with) SET(with, c, FourTapSetPlain)

#define FOURTAP_BASE_SET FourTapSetPlain

#define FOURTAP_FEATURES_c(FEATURE)

#define FOURTAP_PROCESSOR_HAS(set) true

#define FOURTAP_SET_SCALERS "layouts/SetScalers_c.h"
