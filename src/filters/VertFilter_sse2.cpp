// The vertical filter of one line of bytes: front ends that look at alignment, block loops, and the scalar line.
#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "filters/FourTapSum.h"
#include "filters/MmxBytes.h"
#include "filters/VertFilter.h"

namespace {

struct TapLines {
  unsigned char const* line[4];
};

void Advance(TapLines& lines, int count) {
  for (auto& line : lines.line) line += count;
}

// The misalignment that all four lines share, or -1.
template <int alignment>
int SharedMisalignment(TapLines const& lines) {
  auto const misalignment = [&](int i) { return reinterpret_cast<uintptr_t>(lines.line[i]) % alignment; };
  for (int i = 1; i < 4; ++i) {
    if (misalignment(i) != misalignment(0)) return -1;
  }
  return static_cast<int>(misalignment(0));
}

void FourTapVertFilterLine_c(unsigned char* dst, TapLines const& lines, int count, short const* coefs) {
  for (int i = 0; i < count; ++i) {
    int sum = 0;
    for (int t = 0; t < 4; ++t) sum += coefs[t] * lines.line[t][i];
    dst[i] = fourtap::ClampToByte(sum >> 6);
  }
}

void FourTapVertFilterLoop_mmx(unsigned char* dst, TapLines lines, int count, short const* coefs) {
  __m64 const zero = _mm_setzero_si64();
  __m64 const taps[4] = {_mm_set1_pi16(coefs[0]), _mm_set1_pi16(coefs[1]), _mm_set1_pi16(coefs[2]),
                         _mm_set1_pi16(coefs[3])};
  for (int block = count >> 3; block > 0; --block) {
    __m64 low[4], high[4];
    for (int t = 0; t < 4; ++t) {
      __m64 const bytes = fourtap::LoadBytes8(lines.line[t]);
      low[t] = _mm_mullo_pi16(_mm_unpacklo_pi8(bytes, zero), taps[t]);
      high[t] = _mm_mullo_pi16(_mm_unpackhi_pi8(bytes, zero), taps[t]);
    }
    __m64 const lowSum = _mm_add_pi16(_mm_add_pi16(low[0], low[1]), _mm_add_pi16(low[2], low[3]));
    __m64 const highSum = _mm_add_pi16(_mm_add_pi16(high[0], high[1]), _mm_add_pi16(high[2], high[3]));
    fourtap::StoreBytes8(dst, _mm_packs_pu16(_mm_srai_pi16(lowSum, 6), _mm_srai_pi16(highSum, 6)));
    Advance(lines, 8);
    dst += 8;
  }
  _mm_empty();
  FourTapVertFilterLine_c(dst, lines, count & 7, coefs);
}

// Any taps: bytes are widened to words, whose sums wrap.
struct WidenedBytes {
  __m128i taps[4];

  explicit WidenedBytes(short const* coefs) {
    for (int t = 0; t < 4; ++t) taps[t] = _mm_set1_epi16(coefs[t]);
  }

  __m128i Filter(__m128i const (&bytes)[4]) const {
    __m128i const zero = _mm_setzero_si128();
    __m128i low[4], high[4];
    for (int t = 0; t < 4; ++t) {
      low[t] = _mm_unpacklo_epi8(bytes[t], zero);
      high[t] = _mm_unpackhi_epi8(bytes[t], zero);
    }
    return _mm_packus_epi16(_mm_srai_epi16(fourtap::WeighedSum<fourtap::TapForm::general>(low, taps), 6),
                            _mm_srai_epi16(fourtap::WeighedSum<fourtap::TapForm::general>(high, taps), 6));
  }
};

bool FitBytesInPlace(short const* coefs) {
  int sum = 0;
  for (int t = 0; t < 4; ++t) {
    if (coefs[t] < 0 || coefs[t] > 63) return false;
    sum += coefs[t];
  }
  return sum <= 64;
}

// Taps of 0 to 63 that sum to 64 or less: bytes stay in place, two to a word, which takes fewer operations.
//
// The lower ones are masked out and filtered as words. The upper ones are filtered in whole words: the upper half of a
// word's product with 1024 times a tap is 4 times the upper byte's product, and the lower byte's in 64ths rounded down.
// These four, each rounded down, come to what the lower bytes' sum does in 64ths rounded down, which is their result,
// or to 3 less at most. Without that result and with 3 more, 4 times the upper bytes' sum and 0 to 3 are left: their
// result stands in the upper byte.
template <fourtap::TapForm form>
struct BytesInPlace {
  __m128i taps[4];
  __m128i upperTaps[4];

  explicit BytesInPlace(short const* coefs) {
    for (int t = 0; t < 4; ++t) {
      taps[t] = _mm_set1_epi16(coefs[t]);
      upperTaps[t] = _mm_slli_epi16(taps[t], 10);
    }
  }

  __m128i Filter(__m128i const (&bytes)[4]) const {
    __m128i const lowerByte = _mm_set1_epi16(0xff);
    __m128i lower[4];
    for (int t = 0; t < 4; ++t) lower[t] = _mm_and_si128(bytes[t], lowerByte);
    __m128i const lowerResult = _mm_srli_epi16(fourtap::WeighedSum<form>(lower, taps), 6);
    auto const share = [&](int t) { return _mm_mulhi_epu16(bytes[t], upperTaps[t]); };
    __m128i upper = _mm_add_epi16(share(1), share(2));
    if (form != fourtap::TapForm::zeroFirst) upper = _mm_add_epi16(upper, share(0));
    if (form != fourtap::TapForm::zeroLast) upper = _mm_add_epi16(upper, share(3));
    upper = _mm_add_epi16(_mm_sub_epi16(upper, lowerResult), _mm_set1_epi16(3));
    return _mm_or_si128(_mm_andnot_si128(lowerByte, upper), lowerResult);
  }
};

template <class Taps, bool linesAligned, bool dstAligned>
void FilterBlocks_sse2(unsigned char* dst, TapLines const& tapLines, int count, short const* coefs) {
  // A copy: the compiler has to take a store for one that may change the pointers themselves.
  TapLines const lines = tapLines;
  Taps const taps(coefs);
  for (ptrdiff_t i = 0; i < count; i += 16) {
    __m128i bytes[4];
    for (int t = 0; t < 4; ++t) {
      auto const* const from = reinterpret_cast<__m128i const*>(lines.line[t] + i);
      bytes[t] = linesAligned ? _mm_load_si128(from) : _mm_loadu_si128(from);
    }
    auto* const to = reinterpret_cast<__m128i*>(dst + i);
    dstAligned ? _mm_store_si128(to, taps.Filter(bytes)) : _mm_storeu_si128(to, taps.Filter(bytes));
  }
}

template <class Taps>
void FilterBlocks_sse2(bool linesAligned, unsigned char* dst, TapLines const& lines, int count, short const* coefs) {
  bool const dstAligned = reinterpret_cast<uintptr_t>(dst) % 16 == 0;
  auto* const filter =
      linesAligned ? (dstAligned ? FilterBlocks_sse2<Taps, true, true> : FilterBlocks_sse2<Taps, true, false>)
                   : (dstAligned ? FilterBlocks_sse2<Taps, false, true> : FilterBlocks_sse2<Taps, false, false>);
  filter(dst, lines, count, coefs);
}

void FourTapVertFilterLoop_sse2(bool linesAligned, unsigned char* dst, TapLines& lines, int count, short const* coefs) {
  int const inBlocks = count & ~15;
  if (FitBytesInPlace(coefs)) {
    fourtap::WithForm(fourtap::FormOf(coefs), [&](auto form) {
      FilterBlocks_sse2<BytesInPlace<form>>(linesAligned, dst, lines, inBlocks, coefs);
    });
  } else {
    FilterBlocks_sse2<WidenedBytes>(linesAligned, dst, lines, inBlocks, coefs);
  }
  if (count == inBlocks) return;
  Advance(lines, inBlocks);
  FourTapVertFilterLoop_mmx(dst + inBlocks, lines, count - inBlocks, coefs);
}

void FilterLine_sse2(unsigned char* dst, TapLines& lines, int count, short const* coefs) {
  int const misalignment = SharedMisalignment<16>(lines);
  if (misalignment > 0) {
    int const head = std::min(16 - misalignment, count);
    FourTapVertFilterLoop_mmx(dst, lines, head, coefs);
    count -= head;
    if (count <= 0) return;
    dst += head;
    Advance(lines, head);
  }
  FourTapVertFilterLoop_sse2(misalignment >= 0, dst, lines, count, coefs);
}

TapLines LinesAt(fourtap::VertTaps const& taps, ptrdiff_t at) {
  TapLines lines;
  for (int t = 0; t < 4; ++t) lines.line[t] = taps.lines[t] + at;
  return lines;
}

}  // namespace

void FourTapVertFilter_mmx(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                           unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  TapLines lines{{line0, line1, line2, line3}};
  int const misalignment = SharedMisalignment<8>(lines);
  if (misalignment > 0) {
    int const head = std::min(8 - misalignment, count);
    FourTapVertFilterLine_c(dst, lines, head, coefs);
    count -= head;
    if (count <= 0) return;
    dst += head;
    Advance(lines, head);
  }
  FourTapVertFilterLoop_mmx(dst, lines, count, coefs);
}

void FourTapVertFilter_sse2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                            unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  TapLines lines{{line0, line1, line2, line3}};
  FilterLine_sse2(dst, lines, count, coefs);
  _mm_empty();
}

void fourtap::FilterLinesVertically_mmx(VertTaps const* taps, int lineCount, int firstByte, int count,
                                        unsigned char* const* dst) {
  for (int k = 0; k < lineCount; ++k) {
    TapLines const lines = LinesAt(taps[k], firstByte);
    FourTapVertFilter_mmx(dst[k], lines.line[0], lines.line[1], lines.line[2], lines.line[3], count, taps[k].coefs);
  }
}

void fourtap::FilterLinesVertically_sse2(VertTaps const* taps, int lineCount, int firstByte, int count,
                                         unsigned char* const* dst) {
  for (int k = 0; k < lineCount; ++k) {
    TapLines lines = LinesAt(taps[k], firstByte);
    FilterLine_sse2(dst[k], lines, count, taps[k].coefs);
  }
}
