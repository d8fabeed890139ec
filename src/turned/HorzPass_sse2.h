// The blocks of lines in SSE2 and MMX registers.
#pragma once

#include "turned/HorzPass.h"
#include "turned/Rotate_sse2.h"

namespace fourtap {

template <bool packs>
FourTapColumnOf8 PackedSums(FourTapColumnOf8 first, FourTapColumnOf8 second) {
  return _mm_packus_epi16(first, second);
}

// How many lines, their columns, and the layout's filter for them.
struct Block8Lines_sse2 {
  static constexpr int lineCount = 8;
  typedef FourTapColumnOf8 Column;
  static Column* In(_SCALE_CONTEXT& context) { return context.colsIn_sse2; }
  static Column* Out(_SCALE_CONTEXT& context) { return context.colsOut_sse2; }
  template <class Layout>
  static constexpr auto* const rotateIn =
      Layout::keepsPixels ? LinesToPixelColumns_sse2 : LinesToColumns_sse2<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const rotateOut =
      Layout::keepsPixels ? PixelColumnsToLines_sse2 : ByteColumnsToLines_sse2<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const filter = Layout::FourTapHorzFilter8Lines_sse2;
};

struct Block4Lines_mmx {
  static constexpr int lineCount = 4;
  typedef FourTapColumnOf4 Column;
  static Column* In(_SCALE_CONTEXT& context) { return context.colsIn_mmx; }
  static Column* Out(_SCALE_CONTEXT& context) { return context.colsOut_mmx; }
  template <class Layout>
  static constexpr auto* const rotateIn = LinesToColumns_mmx;
  template <class Layout>
  static constexpr auto* const rotateOut = ColumnsToLines_mmx<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const filter = Layout::FourTapHorzFilter4Lines_mmx;
};

template <class Layout>
void FourTapHorzScale8Lines_sse2(_SCALE_CONTEXT& context, unsigned char const* const* lines, HorzRange const& range,
                                 unsigned char const*, unsigned char* dst, int dstStride) {
  ScaleBlock<Layout, Block8Lines_sse2>(context, lines, Block8Lines_sse2::lineCount, range, dst, dstStride);
}

template <class Layout>
void FourTapHorzScale4Lines_mmx(_SCALE_CONTEXT& context, unsigned char const* const* lines, HorzRange const& range,
                                unsigned char const*, unsigned char* dst, int dstStride) {
  ScaleBlock<Layout, Block4Lines_mmx>(context, lines, Block4Lines_mmx::lineCount, range, dst, dstStride);
}

}  // namespace fourtap
