// The sets of x86-64, but for what AVX-512 asks of the processor.
#pragma once

#define FOURTAP_SETS(SET, with)      \
  SET(with, mmx, FourTapSetNone, 4)  \
  SET(with, c, FourTapSetPlain, 8)   \
  SET(with, sse2, FourTapSetSSE2, 8) \
  SET(with, avx2, FourTapSetAVX2, 1) \
  SET(with, avx512, FourTapSetAVX512, 1)

#define FOURTAP_GATHERING_SETS(SET, with) SET(with, avx2) SET(with, avx512)

#define FOURTAP_REDUCING_SETS(SET, with) \
  SET(with, c, FourTapSetPlain)          \
  SET(with, sse2, FourTapSetSSE2)        \
  SET(with, avx2, FourTapSetAVX2)        \
  SET(with, avx512, FourTapSetAVX512)

#define FOURTAP_BASE_SET FourTapSetSSE2

#define FOURTAP_FEATURES_mmx(FEATURE)
#define FOURTAP_FEATURES_c(FEATURE)
#define FOURTAP_FEATURES_sse2(FEATURE)
#define FOURTAP_FEATURES_avx2(FEATURE) FEATURE(avx2)

// By the compiler's run-time library.
#define FOURTAP_PROCESSOR_HAS(set) (__builtin_cpu_init(), true FOURTAP_FEATURES_##set(FOURTAP_AND_SUPPORTS))
#define FOURTAP_AND_SUPPORTS(feature) &&__builtin_cpu_supports(#feature)

#define FOURTAP_SET_SCALERS "layouts/SetScalers_sse2.h"
