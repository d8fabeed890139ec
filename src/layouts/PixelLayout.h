// Layouts of whole pixels, whose first bytes are channels filtered alike and whose other bytes come out as 0.
#pragma once

#include <algorithm>

#include "gathered/GatherPlan.h"
#include "turned/HorzPass.h"

namespace fourtap {

template <int pixelBytes, int channels>
struct PixelLayout {
  static constexpr int bytesPerPixel = pixelBytes;
  static constexpr bool noFourth = pixelBytes == 4 && channels == 3;
  static constexpr EdgeRule edges{pixelBytes, {0, 1, 2, 3}, {0, 1, 2, 3}};

  static constexpr GatherLayout gather{
      pixelBytes, 1, pixelBytes, 0, {{0, 0, false}, {0, 1, false}, {0, 2, false}, {0, channels > 3 ? 3 : -1, false}}};

  static void RequireFits(char const*, _SCALE_CONTEXT const&, HorzRange const&) {}

  static HorzRange Needed(_SCALE_CONTEXT const& context, int xDest, int cxDest) {
    int const first = HorzPosition(context.horzPositions[xDest]) - 1;
    int const last = HorzPosition(context.horzPositions[xDest + cxDest - 1]) + 2;
    int const firstCol = std::max(first, 0);
    int const lastCol = std::min(last, context.cxIn - 1);
    return {
        xDest, cxDest, firstCol * pixelBytes, (lastCol - firstCol + 1) * pixelBytes, firstCol - first, last - lastCol,
        0,     0};
  }

  template <class Column, class Taps>
  static void FilterPixels(_SCALE_CONTEXT const& context, HorzRange const& range, Column const* in, Column* out,
                           Taps const (*coefs)[4]) {
    // The rotation of 8 lines back knows which columns come out as 0.
    int constexpr cleared = sizeof(Column) == sizeof(FourTapColumnOf8) ? 0 : pixelBytes - channels;
    FilterSamples<SampleGrid{pixelBytes, channels, 1, cleared}>(StepsOf(context, context.horzPositions + range.xDest),
                                                                range.cxDest, in, out, coefs);
  }

  static void FourTapHorzFilterLine_c(_SCALE_CONTEXT const& context, HorzRange const& range, unsigned char const* in,
                                      unsigned char* out) {
    FilterPixels(context, range, in, out, context.horzCoef);
  }

  static void FourTapHorzFilter4Lines_mmx(_SCALE_CONTEXT const& context, HorzRange const& range,
                                          FourTapColumnOf4 const* in, FourTapColumnOf4* out) {
    FilterPixels(context, range, in, out, context.horzCoef_mmx);
    _mm_empty();
  }

  static void FourTapHorzFilter8Lines_sse2(_SCALE_CONTEXT const& context, HorzRange const& range,
                                           FourTapColumnOf8 const* in, FourTapColumnOf8* out) {
    FilterPixels(context, range, in, out, context.horzCoef_sse2);
  }
};

}  // namespace fourtap
