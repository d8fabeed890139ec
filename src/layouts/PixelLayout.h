// Layouts of whole pixels, whose first bytes are channels filtered alike and whose other bytes come out as 0.
#pragma once

#include <algorithm>

#include "gathered/GatherPlan.h"
#include "turned/HorzPass.h"

namespace fourtap {

template <int pixelBytes, int channels>
struct PixelLayout {
  static_assert(1 <= pixelBytes && pixelBytes <= 4, "a pixel has 1 to 4 bytes");
  static_assert(1 <= channels && channels <= pixelBytes, "a channel is a byte of its own");

  static constexpr int bytesPerPixel = pixelBytes;
  static constexpr ClearedBytes cleared =
      channels == pixelBytes ? nothingCleared : ClearedBytes{.period = pixelBytes, .first = channels};
  // Four channels are four columns a pixel either way. Three are three only when they are turned one by one.
  static constexpr bool keepsPixels = channels == 4;
  static constexpr EdgeRule edges{.unitBytes = pixelBytes, .left = {0, 1, 2, 3}, .right = {0, 1, 2, 3}};

  static constexpr GatherLayout gather{
      .unitBytes = pixelBytes,
      .unitPixels = 1,
      .distance = pixelBytes,
      .chromaDistance = 0,
      .cleared = cleared,
      .bytes = {{0, 0, false}, {0, 1, false}, {0, 2, false}, {0, 3, false}},
  };

  static void RequireFits(char const*, _SCALE_CONTEXT const&, HorzRange const&) {}

  static HorzRange Needed(_SCALE_CONTEXT const& context, int xDest, int cxDest) {
    auto const [first, last] = TapColumnsOf(1, HorzPosition(context.horzPositions[xDest]),
                                            HorzPosition(context.horzPositions[xDest + cxDest - 1]));
    int const firstCol = std::max(first, 0);
    int const lastCol = std::min(last, context.cxIn - 1);
    return {.xDest = xDest,
            .cxDest = cxDest,
            .firstByte = firstCol * pixelBytes,
            .count = (lastCol - firstCol + 1) * pixelBytes,
            .padLeft = firstCol - first,
            .padRight = last - lastCol};
  }

  template <bool packs, class Column, class Taps>
  static void FilterPixels(_SCALE_CONTEXT const& context, HorzRange const& range, Column const* in, Column* out,
                           Taps const (*coefs)[4]) {
    FilterSamples<SampleGrid{.distance = pixelBytes, .channels = channels, .channelDistance = 1, .packs = packs}>(
        StepsOf(context, context.horzPositions + range.xDest), range.cxDest, in, out, coefs);
  }

  static void FourTapHorzFilterLine_c(_SCALE_CONTEXT const& context, HorzRange const& range, unsigned char const* in,
                                      unsigned char* out) {
    FilterPixels<false>(context, range, in, out, context.horzCoef);
  }

  static void FourTapHorzFilter4Lines_mmx(_SCALE_CONTEXT const& context, HorzRange const& range,
                                          FourTapColumnOf4 const* in, FourTapColumnOf4* out) {
    FilterPixels<false>(context, range, in, out, context.horzCoef_mmx);
    _mm_empty();
  }

  static void FourTapHorzFilter8Lines_sse2(_SCALE_CONTEXT const& context, HorzRange const& range,
                                           FourTapColumnOf8 const* in, FourTapColumnOf8* out) {
    FilterPixels<keepsPixels>(context, range, in, out, context.horzCoef_sse2);
  }
};

}  // namespace fourtap
