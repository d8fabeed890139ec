// What each set makes of a layout: a Scaler. The narrow sets turn blocks of lines into columns, the wide ones gather.
#pragma once

#include "gathered/GatherLines.h"
#include "turned/HorzPass.h"

namespace fourtap {

template <class Layout>
inline constexpr Scaler scalerOf_mmx{
    .bytesPerPixel = Layout::bytesPerPixel,
    .neededRange = Layout::Needed,
    .filterVertically = FilterLinesVertically_mmx,
    .passes = {{Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>}, {}},
    .scaleLines = FourTapHorzScaleLines_c<Layout>,
    .scaleSrcLines = FourTapHorzScaleSrcLines_c<Layout>,
    .intermediateLines = IntermediateLines::temp,
    .holdsLinesBack = true,
    .fillsWholeTable = true,
};

template <class Layout>
inline constexpr Scaler scalerOf_sse2{
    .bytesPerPixel = Layout::bytesPerPixel,
    .neededRange = Layout::Needed,
    .filterVertically = FilterLinesVertically_sse2,
    .passes = {{Block8Lines_sse2::lineCount, FourTapHorzScale8Lines_sse2<Layout>},
               {Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>}},
    .scaleLines = FourTapHorzScaleLines_c<Layout>,
    .scaleSrcLines = FourTapHorzScaleSrcLines_c<Layout>,
    .intermediateLines = IntermediateLines::temp,
    .holdsLinesBack = true,
    .fillsWholeTable = true,
};

// At reductions beyond a wide set's reach the vertical filter dominates: the turning pass does for the rest.
template <class Layout>
inline constexpr HorzScaleSrcLines* beyondReach = ScaleBlock<Layout, Block8Lines_sse2>;

template <class Layout, GatherSet const& set, VertFilterLines* filterVertically>
inline constexpr Scaler wideScalerOf{
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
inline constexpr Scaler scalerOf_avx2 = wideScalerOf<Layout, gatherSet_avx2, FilterLinesVertically_avx2>;

template <class Layout>
inline constexpr Scaler scalerOf_avx512 = wideScalerOf<Layout, gatherSet_avx512, FilterLinesVertically_avx512>;

}  // namespace fourtap
