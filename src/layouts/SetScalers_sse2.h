// What the sets of x86-64 make of a layout.
#pragma once

#include "layouts/SetScalers.h"
#include "turned/HorzPass_sse2.h"

namespace fourtap {

template <class Layout>
inline constexpr Scaler scalerOf_mmx = TurningScaler<Layout>(
    FilterLinesVertically_mmx, {Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>}, {});

template <class Layout>
inline constexpr Scaler scalerOf_sse2 = TurningScaler<Layout>(
    FilterLinesVertically_sse2, {Block8Lines_sse2::lineCount, FourTapHorzScale8Lines_sse2<Layout>},
    {Block4Lines_mmx::lineCount, FourTapHorzScale4Lines_mmx<Layout>});

FOURTAP_GATHERING_SETS(FOURTAP_GATHERING_SCALER, Block8Lines_sse2)

}  // namespace fourtap
