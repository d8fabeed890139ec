// What a set makes of a layout: a Scaler. Some sets turn blocks of lines into columns, others gather. This is the plain
// set's, which is everywhere; what else a processor has comes with FOURTAP_SET_SCALERS.
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
inline constexpr Scaler scalerOf_c = TurningScaler<Layout>(FilterLinesVertically_c,
                                                           {Block8Lines_c::lineCount, FourTapHorzScale8Lines_c<Layout>},
                                                           {});

// At reductions beyond a gathering set's reach the vertical filter dominates: turning a block does for the rest.
template <class Layout, GatherSet const& set, VertFilterLines* filterVertically, class Block>
inline constexpr Scaler gatheringScalerOf{
    .bytesPerPixel = Layout::bytesPerPixel,
    .neededRange = Layout::Needed,
    .filterVertically = filterVertically,
    .passes = {{wideBlockLines, GatherBlock<Layout, set, ScaleBlock<Layout, Block>>}, {}},
    .scaleLines = GatherIntermediateLines<Layout, set, ScaleBlock<Layout, Block>>,
    .scaleSrcLines = GatherSrcLines<Layout, set, ScaleBlock<Layout, Block>>,
    .intermediateLines = IntermediateLines::wide,
    .holdsLinesBack = false,
    .fillsWholeTable = false,
};

// scalerOf_<set> of a set that gathers.
#define FOURTAP_GATHERING_SCALER(block, set) \
  template <class Layout>                    \
  inline constexpr Scaler scalerOf_##set =   \
      gatheringScalerOf<Layout, gatherSet_##set, FilterLinesVertically_##set, block>;

}  // namespace fourtap
