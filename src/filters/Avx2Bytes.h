// The vocabulary of AVX2 for bytes, 32 at a time. Included by files compiled for it, so all of it stays theirs.
#pragma once

#include <immintrin.h>

#include "HoldInVector.h"
#include "filters/VertFilterBytes.h"

namespace {

struct Avx2 {
  typedef __m256i Register;
  template <class Ops>
  using ByteTaps = BytePairs<Ops>;

  static Register Broadcast(short value) { return _mm256_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm256_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm256_unpackhi_epi8(a, b); }
  static Register WidenLow(Register bytes) { return InterleaveLow(bytes, _mm256_setzero_si256()); }
  static Register WidenHigh(Register bytes) { return InterleaveHigh(bytes, _mm256_setzero_si256()); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm256_maddubs_epi16(bytes, taps); }
  // Two taps as the bytes of a word, the first one below.
  static Register TapPair(short taps) { return Broadcast(taps); }
  static Register Multiply(Register a, Register b) { return _mm256_mullo_epi16(a, b); }
  // Halves go up; or down.
  static Register Average(Register a, Register b) { return _mm256_avg_epu8(a, b); }
  static Register AverageDown(Register a, Register b) {
    return _mm256_sub_epi8(Average(a, b), _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi8(1)));
  }
  static Register Add(Register a, Register b) { return _mm256_add_epi16(a, b); }
  static Register SubtractToZero(Register a, Register b) { return _mm256_subs_epu16(a, b); }
  static Register ShiftRight(Register a, int bits) { return _mm256_srl_epi16(a, _mm_cvtsi32_si128(bits)); }
  static Register ShiftBy6(Register a) { return _mm256_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm256_packus_epi16(low, high); }

  static void Hold(Register& value) { HoldInVector(value); }
  static Register Load(unsigned char const* from) { return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from)); }
  static void Store(unsigned char* to, Register bytes) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes); }
};

}  // namespace
