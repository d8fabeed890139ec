// The vocabulary of AVX-512 for bytes, 64 at a time. Included by files compiled for it, so all of it stays theirs.
#pragma once

#include <immintrin.h>

#include "HoldInVector.h"
#include "filters/VertFilterBytes.h"

namespace {

struct Avx512 {
  typedef __m512i Register;
  template <class Ops>
  using ByteTaps = BytePairs<Ops>;

  static Register Broadcast(short value) { return _mm512_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm512_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm512_unpackhi_epi8(a, b); }
  static Register WidenLow(Register bytes) { return InterleaveLow(bytes, _mm512_setzero_si512()); }
  static Register WidenHigh(Register bytes) { return InterleaveHigh(bytes, _mm512_setzero_si512()); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm512_maddubs_epi16(bytes, taps); }
  // Two taps as the bytes of a word, the first one below.
  static Register TapPair(short taps) { return Broadcast(taps); }
  static Register Multiply(Register a, Register b) { return _mm512_mullo_epi16(a, b); }
  // Halves go up; or down.
  static Register Average(Register a, Register b) { return _mm512_avg_epu8(a, b); }
  static Register AverageDown(Register a, Register b) {
    return _mm512_sub_epi8(Average(a, b), _mm512_and_si512(_mm512_xor_si512(a, b), _mm512_set1_epi8(1)));
  }
  static Register Add(Register a, Register b) { return _mm512_add_epi16(a, b); }
  static Register SubtractToZero(Register a, Register b) { return _mm512_subs_epu16(a, b); }
  static Register ShiftRight(Register a, int bits) { return _mm512_srl_epi16(a, _mm_cvtsi32_si128(bits)); }
  static Register ShiftBy6(Register a) { return _mm512_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm512_packus_epi16(low, high); }

  static void Hold(Register& value) { HoldInVector(value); }
  static Register Load(unsigned char const* from) { return _mm512_loadu_si512(from); }
  static void Store(unsigned char* to, Register bytes) { _mm512_storeu_si512(to, bytes); }
};

}  // namespace
