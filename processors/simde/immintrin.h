// The real intrinsics, but for those of AVX-512: SIMDe makes them of what the compiler is told that the processor has.
#pragma once

#include_next <immintrin.h>

#define SIMDE_X86_AVX512F_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512BW_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512VBMI_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512VL_ENABLE_NATIVE_ALIASES
#define SIMDE_X86_AVX512VNNI_ENABLE_NATIVE_ALIASES
#include <simde/x86/avx512.h>

#include <cstring>

// What SIMDe lacks. The first one touches the bytes of the mask alone, the second one saturates.
#undef _mm512_mask_storeu_epi8
#define _mm512_mask_storeu_epi8(to, mask, bytes) EmulatedMaskStore(to, mask, bytes)
#undef _mm256_cvtusepi16_epi8
#define _mm256_cvtusepi16_epi8(words) EmulatedNarrow(words)
#undef _mm512_shuffle_i64x2
#define _mm512_shuffle_i64x2(low, high, order) EmulatedShuffle(low, high, order)
#undef _mm512_zextsi256_si512
#define _mm512_zextsi256_si512(lower) EmulatedWiden(lower)

namespace {

inline void EmulatedMaskStore(unsigned char* to, unsigned long long mask, simde__m512i bytes) {
  unsigned char each[64];
  std::memcpy(each, &bytes, sizeof each);
  for (int i = 0; i < 64; ++i) {
    if (mask >> i & 1) to[i] = each[i];
  }
}

inline __m128i EmulatedNarrow(__m256i words) {
  unsigned short each[16];
  unsigned char narrow[16];
  std::memcpy(each, &words, sizeof each);
  for (int i = 0; i < 16; ++i) narrow[i] = static_cast<unsigned char>(each[i] < 255 ? each[i] : 255);
  __m128i bytes;
  std::memcpy(&bytes, narrow, sizeof bytes);
  return bytes;
}

inline simde__m512i EmulatedWiden(__m256i lower) {
  simde__m512i wide = simde_mm512_setzero_si512();
  std::memcpy(&wide, &lower, sizeof lower);
  return wide;
}

inline simde__m512i EmulatedShuffle(simde__m512i low, simde__m512i high, int order) {
  unsigned char from[2][64], to[64];
  std::memcpy(from[0], &low, 64);
  std::memcpy(from[1], &high, 64);
  for (int lane = 0; lane < 4; ++lane) {
    std::memcpy(to + 16 * lane, from[lane / 2] + 16 * (order >> 2 * lane & 3), 16);
  }
  simde__m512i shuffled;
  std::memcpy(&shuffled, to, sizeof shuffled);
  return shuffled;
}

}  // namespace
