// The horizontal pass of the wide sets over the lines of a block.
#pragma once

#include <cstring>

#include "gathered/GatherPlan.h"
#include "scheme/Scaler.h"

namespace fourtap {

// Of a layout with `gather` (GatherLayout) and `RequireFits`. Reductions that no scheme of the set reaches take another
// way. The coming line, if there is one, is fetched ahead.
template <class Layout, GatherSet const& set, HorzScaleSrcLines* beyondReach>
void GatherLines(_SCALE_CONTEXT& context, unsigned char const* const* lines, int lineCount, HorzRange const& range,
                 unsigned char const* comingLine, unsigned char* dst, int dstStride) {
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
    plan.segments[i].scheme->filter(plan, plan.segments[i], lines, lineCount, comingLine, dst, dstStride);
  }
}

// The same as a Scaler has it: for a block, and for what blocks leave over, in the context or in the source.
template <class Layout, GatherSet const& set, HorzScaleSrcLines* beyondReach>
void GatherBlock(_SCALE_CONTEXT& context, unsigned char const* const* lines, HorzRange const& range,
                 unsigned char const* comingLine, unsigned char* dst, int dstStride) {
  GatherLines<Layout, set, beyondReach>(context, lines, wideBlockLines, range, comingLine, dst, dstStride);
}

template <class Layout, GatherSet const& set, HorzScaleSrcLines* beyondReach>
void GatherSrcLines(_SCALE_CONTEXT& context, unsigned char const* const* lines, int lineCount, HorzRange const& range,
                    unsigned char* dst, int dstStride) {
  GatherLines<Layout, set, beyondReach>(context, lines, lineCount, range, nullptr, dst, dstStride);
}

template <class Layout, GatherSet const& set, HorzScaleSrcLines* beyondReach>
void GatherIntermediateLines(_SCALE_CONTEXT& context, unsigned char* const* lines, int lineCount,
                             HorzRange const& range, unsigned char* dst, int dstStride) {
  GatherLines<Layout, set, beyondReach>(context, lines, lineCount, range, nullptr, dst, dstStride);
}

}  // namespace fourtap
