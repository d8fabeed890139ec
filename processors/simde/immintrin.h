// The real intrinsics, but for those of AVX-512: SIMDe makes them of what the compiler is told that the processor has.
#pragma once

#include_next <immintrin.h>

#define SIMDE_X86_AVX512F_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512BW_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512VBMI_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512VNNI_ENABLE_NATIVE_ALIASES
#include <simde/x86/avx512/add.h>
#include <simde/x86/avx512/dpbusd.h>
#include <simde/x86/avx512/load.h>
#include <simde/x86/avx512/loadu.h>
#include <simde/x86/avx512/maddubs.h>
#include <simde/x86/avx512/mullo.h>
#include <simde/x86/avx512/packus.h>
#include <simde/x86/avx512/permutex2var.h>
#include <simde/x86/avx512/permutexvar.h>
#include <simde/x86/avx512/set1.h>
#include <simde/x86/avx512/setzero.h>
#include <simde/x86/avx512/slli.h>
#include <simde/x86/avx512/srai.h>
#include <simde/x86/avx512/srli.h>
#include <simde/x86/avx512/storeu.h>
#include <simde/x86/avx512/ternarylogic.h>
#include <simde/x86/avx512/unpackhi.h>
#include <simde/x86/avx512/unpacklo.h>

#include <cstring>

// The one that SIMDe lacks. It touches the bytes of the mask alone.
#undef _mm512_mask_storeu_epi8
#define _mm512_mask_storeu_epi8(to, mask, bytes) EmulatedMaskStore(to, mask, bytes)

namespace {

inline void EmulatedMaskStore(unsigned char* to, unsigned long long mask, simde__m512i bytes) {
  unsigned char each[64];
  std::memcpy(each, &bytes, sizeof each);
  for (int i = 0; i < 64; ++i) {
    if (mask >> i & 1) to[i] = each[i];
  }
}

}  // namespace
