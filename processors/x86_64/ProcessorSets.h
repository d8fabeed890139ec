// The sets of x86-64.
#pragma once

#include "processors/x86_64/CommonSets.h"

#define FOURTAP_FEATURES_avx512(FEATURE) \
  FEATURE(avx512f) FEATURE(avx512bw) FEATURE(avx512vl) FEATURE(avx512vbmi) FEATURE(avx512vnni)
