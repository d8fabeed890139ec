// The scalers of the wide sets: the shared scheme with a gathering horizontal pass.
#pragma once

#include <cstring>

#include "plane/HorzPass.h"
#include "wide/GatherPlan.h"

namespace fourtap {

// Reductions that no scheme of the set reaches go through the transposing pass: the vertical filter dominates there.
template <class Layout, GatherSet const& set>
void GatherLines(_SCALE_CONTEXT& context, unsigned char** lines, int lineCount, HorzRange const& range,
                 unsigned char* dst, int dstStride) {
  Layout::RequireFits(set.filterName, context, range);
  GatherPlan const& plan = PlanGather(context, set, Layout::gather, range);
  if (plan.segmentCount == 0) {
    ScaleBlock<Layout, Block8Lines_sse2>(context, lines, lineCount, range, dst, dstStride);
    return;
  }
  int const missing = plan.windowBytes - range.count;
  if (missing > 0) {
    // A window is read whole, so short lines are lengthened: those of the context in place, source lines in its own.
    for (int k = 0; k < lineCount; ++k) {
      unsigned char* const line = context.wideLines[k];
      if (lines[k] != line) std::memcpy(line, lines[k], static_cast<size_t>(range.count));
      std::memset(line + range.count, 0, static_cast<size_t>(missing));
    }
    lines = context.wideLines;
  }
  for (int i = 0; i < plan.segmentCount; ++i) {
    plan.segments[i].scheme->filter(plan, plan.segments[i], lines, lineCount, context.comingLine, dst, dstStride);
  }
}

template <class Layout, GatherSet const& set>
void GatherBlock(_SCALE_CONTEXT& context, unsigned char** lines, HorzRange const& range, unsigned char* dst,
                 int dstStride) {
  GatherLines<Layout, set>(context, lines, gatherBlockLines, range, dst, dstStride);
}

template <class Layout, GatherSet const& set, VertFilterLines* filterVertically>
inline constexpr Scaler wideScalerOf{
    Layout::bytesPerPixel,
    Layout::Needed,
    filterVertically,
    {{gatherBlockLines, GatherBlock<Layout, set>}, {}},
    GatherLines<Layout, set>,
    GatherLines<Layout, set>,
    true,
};

template <class Layout>
inline constexpr Scaler scalerOf_avx2 = wideScalerOf<Layout, gatherSet_avx2, FilterLinesVertically_avx2>;

template <class Layout>
inline constexpr Scaler scalerOf_avx512 = wideScalerOf<Layout, gatherSet_avx512, FilterLinesVertically_avx512>;

}  // namespace fourtap
