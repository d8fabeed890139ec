// What each set makes of a layout: a Scaler. The narrow sets turn blocks of lines into columns, the wide ones gather.
#pragma once

#include "gathered/GatherLines.h"
#include "turned/HorzPass.h"

namespace fourtap {

template <class Layout>
consteval Scaler TurningScaler(VertFilterLines* filterVertically, BlockPass const& widest, BlockPass const& narrower) {
  return {.bytesPerPixel = Layout::bytesPerPixel,
          .neededRange = Layout::Needed,
          .filterVertically = filterVertically,
          .passes = {widest, narrower},
          .scaleLines = FourTapHorzScaleLines_c<Layout>,
          .scaleSrcLines = FourTapHorzScaleSrcLines_c<Layout>,
          .intermediateLines = IntermediateLines::temp,
          .holdsLinesBack = true,
          .fillsWholeTable = true};
}

template <class Layout>
inline constexpr Scaler scalerOf_mmx = TurningScaler<Layout>(
    FilterLinesVertically_mmx, {Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>}, {});

template <class Layout>
inline constexpr Scaler scalerOf_sse2 = TurningScaler<Layout>(
    FilterLinesVertically_sse2, {Block8Lines_sse2::lineCount, FourTapHorzScale8Lines_sse2<Layout>},
    {Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>});

// At reductions beyond a wide set's reach the vertical filter dominates: the turning pass does for the rest.
template <class Layout>
inline constexpr HorzScaleSrcLines* beyondReach = ScaleBlock<Layout, Block8Lines_sse2>;

template <class Layout, GatherSet const& set, VertFilterLines* filterVertically>
inline constexpr Scaler gatheringScalerOf{
    .bytesPerPixel = Layout::bytesPerPixel,
    .neededRange = Layout::Needed,
    .filterVertically = filterVertically,
    .passes = {{wideBlockLines, GatherBlock<Layout, set, beyondReach<Layout>>}, {}},
    .scaleLines = GatherIntermediateLines<Layout, set, beyondReach<Layout>>,
    .scaleSrcLines = GatherSrcLines<Layout, set, beyondReach<Layout>>,
    .intermediateLines = IntermediateLines::wide,
    .holdsLinesBack = false,
    .fillsWholeTable = false,
};

template <class Layout>
inline constexpr Scaler scalerOf_avx2 = gatheringScalerOf<Layout, gatherSet_avx2, FilterLinesVertically_avx2>;

template <class Layout>
inline constexpr Scaler scalerOf_avx512 = gatheringScalerOf<Layout, gatherSet_avx512, FilterLinesVertically_avx512>;

}  // namespace fourtap
