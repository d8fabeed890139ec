// The vertical filter of one line of bytes: front ends that look at alignment, block loops, and the scalar line.
#include "filters/VertFilter.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "filters/FourTapSum.h"
#include "filters/MmxBytes.h"

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

template <bool linesAligned, bool dstAligned, fourtap::TapForm form>
void FilterBlocks_sse2(unsigned char* dst, TapLines const& tapLines, int count, short const* coefs) {
  // A copy: the compiler has to take a store for one that may change the pointers themselves.
  TapLines const lines = tapLines;
  __m128i const zero = _mm_setzero_si128();
  __m128i const taps[4] = {_mm_set1_epi16(coefs[0]), _mm_set1_epi16(coefs[1]), _mm_set1_epi16(coefs[2]),
                           _mm_set1_epi16(coefs[3])};
  for (ptrdiff_t i = 0; i < count; i += 16) {
    __m128i low[4], high[4];
    for (int t = 0; t < 4; ++t) {
      auto const* const from = reinterpret_cast<__m128i const*>(lines.line[t] + i);
      __m128i const bytes = linesAligned ? _mm_load_si128(from) : _mm_loadu_si128(from);
      low[t] = _mm_unpacklo_epi8(bytes, zero);
      high[t] = _mm_unpackhi_epi8(bytes, zero);
    }
    __m128i const bytes = _mm_packus_epi16(_mm_srai_epi16(fourtap::WeighedSum<form>(low, taps), 6),
                                           _mm_srai_epi16(fourtap::WeighedSum<form>(high, taps), 6));
    auto* const to = reinterpret_cast<__m128i*>(dst + i);
    dstAligned ? _mm_store_si128(to, bytes) : _mm_storeu_si128(to, bytes);
  }
}

void FourTapVertFilterLoop_sse2(bool linesAligned, unsigned char* dst, TapLines& lines, int count, short const* coefs) {
  bool const dstAligned = reinterpret_cast<uintptr_t>(dst) % 16 == 0;
  int const inBlocks = count & ~15;
  fourtap::WithForm(fourtap::FormOf(coefs), [&](auto form) {
    auto* const filter =
        linesAligned ? (dstAligned ? FilterBlocks_sse2<true, true, form> : FilterBlocks_sse2<true, false, form>)
                     : (dstAligned ? FilterBlocks_sse2<false, true, form> : FilterBlocks_sse2<false, false, form>);
    filter(dst, lines, inBlocks, coefs);
  });
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
