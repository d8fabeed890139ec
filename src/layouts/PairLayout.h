// Packed 4:2:2: pairs of pixels in four bytes, luma at full and two chroma components at half horizontal resolution,
// each stepped through the line on its own.
#pragma once

// The preconditions below are part of what the scalers do, so they stay in release builds.
#undef NDEBUG
#include <algorithm>
#include <cassert>

#include "gathered/GatherPlan.h"
#include "turned/HorzPass.h"

namespace fourtap {

// Where the samples of a pair lie: luma at lumaByte and lumaByte + 2, the chroma components at chromaByte and
// chromaByte + 2.
struct PairOrder {
  char const* sourceFile;  // where the order is told, for the report of a failed precondition
  int sourceLine;
  int lumaByte;
  int chromaByte;
};

template <PairOrder const& order>
struct PairLayout {
  static constexpr int bytesPerPixel = 2;
  static constexpr ClearedBytes cleared = nothingCleared;
  static constexpr bool keepsPixels = false;

  // A copied pair repeats the chroma of its neighbour, and the one luma sample next to it. The left pair's own first
  // luma is never read: luma taps reach one pixel over the edge.
  static constexpr EdgeRule edges =
      order.lumaByte == 0 ? EdgeRule{4, {-1, 1, 0, 3}, {2, 1, 2, 3}} : EdgeRule{4, {0, -1, 2, 1}, {0, 3, 2, 3}};

  static constexpr GatherByte luma[2] = {{.sample = 0, .offset = order.lumaByte, .chroma = false},
                                         {.sample = 1, .offset = order.lumaByte, .chroma = false}};
  static constexpr GatherByte chroma[2] = {{.sample = 0, .offset = order.chromaByte, .chroma = true},
                                           {.sample = 0, .offset = order.chromaByte + 2, .chroma = true}};
  static constexpr bool lumaFirst = order.lumaByte < order.chromaByte;
  static constexpr GatherLayout gather{
      .unitBytes = 4,
      .unitPixels = 2,
      .distance = 2,
      .chromaDistance = 4,
      .cleared = cleared,
      .bytes = {lumaFirst ? luma[0] : chroma[0], lumaFirst ? chroma[0] : luma[0], lumaFirst ? luma[1] : chroma[1],
                lumaFirst ? chroma[1] : luma[1]},
  };
  // Whole pairs, one before the pair of the first luma position and two behind that of the last. That covers the chroma
  // taps too, which stand where their own stepping puts them.
  static HorzRange Needed(_SCALE_CONTEXT const& context, int xDest, int cxDest) {
    int const firstLuma = HorzPosition(context.horzPositions[xDest]);
    int const lastLuma = HorzPosition(context.horzPositions[xDest + cxDest - 1]);
    int const firstChroma = HorzPosition(context.chromaPositions[xDest / 2]);
    auto const [first, last] = TapColumnsOf(2, firstLuma, lastLuma);
    int const firstCol = std::max(first, 0);
    int const lastCol = std::min(last, context.cxIn - 1);
    return {.xDest = xDest,
            .cxDest = cxDest,
            .firstByte = firstCol * 2,
            .count = (lastCol - firstCol + 1) * 2,
            .padLeft = (firstCol - first) / 2,
            .padRight = (last - lastCol) / 2,
            .lumaOffset = (firstLuma - 1 - first) * 2 + order.lumaByte,
            .chromaOffset = (firstChroma - 1) * 4 - first * 2 + order.chromaByte};
  }

  static void RequireFits(char const* filter, _SCALE_CONTEXT const& context, HorzRange const& range) {
    auto const require = [filter](bool holds, char const* expression) {
      if (!holds) __assert_fail(expression, order.sourceFile, order.sourceLine, filter);
    };
    require((context.cxIn & 1) == 0, "(cxIn & 1) == 0");
    require((context.cxOut & 1) == 0, "(cxOut & 1) == 0");
    require((range.xDest & 1) == 0, "(xDest & 1) == 0");
    require((range.cxDest & 1) == 0, "(cxDest & 1) == 0");
  }

  template <class Column, class Taps>
  static void FilterPairs(char const* filter, _SCALE_CONTEXT const& context, HorzRange const& range, Column const* in,
                          Column* out, Taps const (*coefs)[4]) {
    RequireFits(filter, context, range);
    FilterSamples<SampleGrid{.distance = 2, .channels = 1, .channelDistance = 1}>(
        StepsOf(context, context.horzPositions + range.xDest), range.cxDest, in + range.lumaOffset,
        out + order.lumaByte, coefs);
    FilterSamples<SampleGrid{.distance = 4, .channels = 2, .channelDistance = 2}>(
        StepsOf(context, context.chromaPositions + range.xDest / 2), range.cxDest / 2, in + range.chromaOffset,
        out + order.chromaByte, coefs);
  }

  static void FourTapHorzFilterLine_c(_SCALE_CONTEXT const& context, HorzRange const& range, unsigned char const* in,
                                      unsigned char* out) {
    FilterPairs(__func__, context, range, in, out, context.horzCoef);
  }

  static void FourTapHorzFilter4Lines_mmx(_SCALE_CONTEXT const& context, HorzRange const& range,
                                          FourTapColumnOf4 const* in, FourTapColumnOf4* out) {
    FilterPairs(__func__, context, range, in, out, context.horzCoef_mmx);
    _mm_empty();
  }

  static void FourTapHorzFilter8Lines_sse2(_SCALE_CONTEXT const& context, HorzRange const& range,
                                           FourTapColumnOf8 const* in, FourTapColumnOf8* out) {
    FilterPairs(__func__, context, range, in, out, context.horzCoef_sse2);
  }
};

}  // namespace fourtap
