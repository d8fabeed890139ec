// What each set makes of a layout: a Scaler. The narrow sets turn blocks of lines into columns, the wide ones gather.
#pragma once

#include "gathered/GatherLines.h"
#include "turned/HorzPass.h"

namespace fourtap {

template <class Layout>
inline constexpr Scaler scalerOf_sse2{
    Layout::bytesPerPixel,
    Layout::Needed,
    FilterLinesVertically_sse2,
    {{8, FourTapHorzScale8Lines_sse2<Layout>}, {4, FourTapHorzScale4Lines_mmx<Layout>}},
    FourTapHorzScaleLines_c<Layout>,
    FourTapHorzScaleSrcLines_c<Layout>,
    false,
};

template <class Layout>
inline constexpr Scaler scalerOf_mmx{
    Layout::bytesPerPixel,
    Layout::Needed,
    FilterLinesVertically_mmx,
    {{4, FourTapHorzScale4Lines_mmx<Layout>}, {}},
    FourTapHorzScaleLines_c<Layout>,
    FourTapHorzScaleSrcLines_c<Layout>,
    false,
};

// At reductions beyond a wide set's reach the vertical filter dominates: the turning pass does for the rest.
template <class Layout>
inline constexpr HorzScaleLines* FewLines_sse2 = ScaleBlock<Layout, Block8Lines_sse2>;

template <class Layout, GatherSet const& set, VertFilterLines* filterVertically>
inline constexpr Scaler wideScalerOf{
    Layout::bytesPerPixel,
    Layout::Needed,
    filterVertically,
    {{wideBlockLines, GatherBlock<Layout, set, FewLines_sse2<Layout>>}, {}},
    GatherLines<Layout, set, FewLines_sse2<Layout>>,
    GatherLines<Layout, set, FewLines_sse2<Layout>>,
    true,
};

template <class Layout>
inline constexpr Scaler scalerOf_avx2 = wideScalerOf<Layout, gatherSet_avx2, FilterLinesVertically_avx2>;

template <class Layout>
inline constexpr Scaler scalerOf_avx512 = wideScalerOf<Layout, gatherSet_avx512, FilterLinesVertically_avx512>;

}  // namespace fourtap
