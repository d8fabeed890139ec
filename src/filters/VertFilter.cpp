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

// Sets of taps that take fewer operations. Lane by lane the sums stay the same, modulo 2^16.
enum class TapForm { general, zeroFirst, zeroLast, oneFirst, oneLast, symmetric };

TapForm FormOf(short const* coefs) {
  if (coefs[0] == 0) return TapForm::zeroFirst;
  if (coefs[3] == 0) return TapForm::zeroLast;
  if (coefs[0] == coefs[3] && coefs[1] == coefs[2]) return TapForm::symmetric;
  if (coefs[0] == 1) return TapForm::oneFirst;
  if (coefs[3] == 1) return TapForm::oneLast;
  return TapForm::general;
}

template <TapForm form>
__m128i WeighedSum(__m128i const (&v)[4], __m128i const (&taps)[4]) {
  auto const product = [&](int t) { return _mm_mullo_epi16(v[t], taps[t]); };
  if constexpr (form == TapForm::symmetric) {
    return _mm_add_epi16(_mm_mullo_epi16(_mm_add_epi16(v[0], v[3]), taps[0]),
                         _mm_mullo_epi16(_mm_add_epi16(v[1], v[2]), taps[1]));
  }
  __m128i const inner = _mm_add_epi16(product(1), product(2));
  if constexpr (form == TapForm::zeroFirst) return _mm_add_epi16(inner, product(3));
  if constexpr (form == TapForm::zeroLast) return _mm_add_epi16(product(0), inner);
  __m128i const first = form == TapForm::oneFirst ? v[0] : product(0);
  __m128i const last = form == TapForm::oneLast ? v[3] : product(3);
  return _mm_add_epi16(_mm_add_epi16(first, last), inner);
}

template <bool linesAligned, bool dstAligned, TapForm form>
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
    __m128i const bytes = _mm_packus_epi16(_mm_srai_epi16(WeighedSum<form>(low, taps), 6),
                                           _mm_srai_epi16(WeighedSum<form>(high, taps), 6));
    auto* const to = reinterpret_cast<__m128i*>(dst + i);
    dstAligned ? _mm_store_si128(to, bytes) : _mm_storeu_si128(to, bytes);
  }
}

typedef void FilterBlocks(unsigned char*, TapLines const&, int, short const*);

// By TapForm.
template <bool linesAligned, bool dstAligned>
constexpr FilterBlocks* blockFilters_sse2[] = {
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::general>,
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::zeroFirst>,
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::zeroLast>,
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::oneFirst>,
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::oneLast>,
    FilterBlocks_sse2<linesAligned, dstAligned, TapForm::symmetric>,
};

void FourTapVertFilterLoop_sse2(bool linesAligned, unsigned char* dst, TapLines& lines, int count, short const* coefs) {
  bool const dstAligned = reinterpret_cast<uintptr_t>(dst) % 16 == 0;
  FilterBlocks* const* const filters =
      linesAligned ? (dstAligned ? blockFilters_sse2<true, true> : blockFilters_sse2<true, false>)
                   : (dstAligned ? blockFilters_sse2<false, true> : blockFilters_sse2<false, false>);
  int const inBlocks = count & ~15;
  filters[static_cast<int>(FormOf(coefs))](dst, lines, inBlocks, coefs);
  if (count == inBlocks) return;
  Advance(lines, inBlocks);
  FourTapVertFilterLoop_mmx(dst + inBlocks, lines, count - inBlocks, coefs);
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

void fourtap::FilterLineVertically_sse2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                        unsigned char const* line2, unsigned char const* line3, int count,
                                        short* coefs) {
  TapLines lines{{line0, line1, line2, line3}};
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

void FourTapVertFilter_sse2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                            unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  fourtap::FilterLineVertically_sse2(dst, line0, line1, line2, line3, count, coefs);
  _mm_empty();
}
