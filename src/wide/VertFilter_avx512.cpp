// The vertical filter of one line, 64 bytes at a time. All bytes go through vector lanes, whatever their number.
#include <fourtapscale/FourTapFilters.h>
#include <immintrin.h>

#include <cstddef>

#include "wide/VertFilterBytes.h"

namespace {

struct Avx512 {
  typedef __m512i Register;

  static Register Broadcast(short value) { return _mm512_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm512_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm512_unpackhi_epi8(a, b); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm512_maddubs_epi16(bytes, taps); }
  static Register Multiply(Register a, Register b) { return _mm512_mullo_epi16(a, b); }
  static Register Add(Register a, Register b) { return _mm512_add_epi16(a, b); }
  static Register ShiftBy6(Register a) { return _mm512_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm512_packus_epi16(low, high); }
};

template <class Taps>
void FilterLine(unsigned char* dst, unsigned char const* const (&lines)[4], int count, short const* coefs) {
  Taps const taps(coefs);
  ptrdiff_t at = 0;
  for (; at + 64 <= count; at += 64) {
    auto const load = [&](int t) { return _mm512_loadu_si512(lines[t] + at); };
    _mm512_storeu_si512(dst + at, taps.Filter(load(0), load(1), load(2), load(3)));
  }
  if (at >= count) return;
  __mmask64 const rest = (__mmask64{1} << (count - at)) - 1;
  auto const load = [&](int t) { return _mm512_maskz_loadu_epi8(rest, lines[t] + at); };
  _mm512_mask_storeu_epi8(dst + at, rest, taps.Filter(load(0), load(1), load(2), load(3)));
}

}  // namespace

void FourTapVertFilter_avx512(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                              unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  auto* const filter = FitBytePairs(coefs) ? FilterLine<BytePairs<Avx512>> : FilterLine<Words<Avx512>>;
  filter(dst, {line0, line1, line2, line3}, count, coefs);
}
