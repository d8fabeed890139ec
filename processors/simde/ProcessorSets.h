// The sets of x86-64 where AVX-512 is made of AVX2: for tests on processors without it.
#pragma once

#include "processors/x86_64/CommonSets.h"

#define FOURTAP_FEATURES_avx512(FEATURE) FEATURE(avx2)
// Vectors are of other types than the real ones, and passed on in registers that the compiler would choose otherwise if
// it had wider ones.
#define FOURTAP_FLAGS_avx512 "-mavx2 -flax-vector-conversions -Wno-psabi"
