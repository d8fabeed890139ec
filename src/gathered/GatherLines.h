// The horizontal pass of the wide sets over the lines of a block.
#pragma once

#include <cstring>

#include "gathered/GatherPlan.h"
#include "scheme/Scaler.h"

namespace fourtap {

// Of a layout with `gather` (GatherLayout) and `RequireFits`. Reductions that no scheme of the set reaches take another
// way.
template <class Layout, GatherSet const& set, HorzScaleLines* beyondReach>
void GatherLines(_SCALE_CONTEXT& context, unsigned char** lines, int lineCount, HorzRange const& range,
                 unsigned char* dst, int dstStride) {
  Layout::RequireFits(set.filterName, context, range);
  GatherPlan const& plan = PlanGather(context, set, Layout::gather, range);
  if (plan.segmentCount == 0) {
    beyondReach(context, lines, lineCount, range, dst, dstStride);
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

template <class Layout, GatherSet const& set, HorzScaleLines* beyondReach>
void GatherBlock(_SCALE_CONTEXT& context, unsigned char** lines, HorzRange const& range, unsigned char* dst,
                 int dstStride) {
  GatherLines<Layout, set, beyondReach>(context, lines, wideBlockLines, range, dst, dstStride);
}

}  // namespace fourtap
