// How the kernels of the gathering sets go over the groups of a segment. Included by files compiled for newer
// processors, so all of it stays theirs.
//
// Kernel is a set's way of one scheme: `groupBytes`; FilterGroup, which filters a group of all lines by its tables and
// hands each line's bytes to `store`; StoreWhole; and FilterLast for the group at the end of the output line that is
// not whole, by `filterGroup(group, to, store)`.
#pragma once

#include <cstddef>
#include <iterator>

#include "gathered/GatherPlan.h"

namespace {

template <class Kernel, int lineCount, bool fetchesAhead = false>
void FilterLines(fourtap::GatherPlan const& plan, fourtap::GatherSegment const& segment,
                 unsigned char const* const* lines, unsigned char const* comingLine, unsigned char* dst,
                 int dstStride) {
  Kernel const kernel{};
  unsigned char const* const from = lines[0];
  ptrdiff_t const step = lineCount > 1 ? lines[1] - lines[0] : 0;
  unsigned char const* const allTables = plan.tables;
  fourtap::GatherGroup const* const groups = plan.groups;
  auto const filterGroup = [&](fourtap::GatherGroup const& group, unsigned char* to, auto store) {
    kernel.template FilterGroup<lineCount>(allTables + group.tables, group.windows, from, step, to, dstStride, store);
  };
  int const wholeGroups = plan.dstBytes / Kernel::groupBytes;
  int const end = segment.endGroup < wholeGroups ? segment.endGroup : wholeGroups;
  ptrdiff_t const comingBytes = plan.comingBytes;
  for (int group = segment.firstGroup; group < end; ++group) {
    for (ptrdiff_t at = 0; fetchesAhead && at < comingBytes; at += 64) {
      __builtin_prefetch(comingLine + group * comingBytes + at);
    }
    filterGroup(groups[group], dst + ptrdiff_t{group} * Kernel::groupBytes,
                [](unsigned char* to, auto bytes) { Kernel::StoreWhole(to, bytes); });
  }
  if (segment.endGroup > wholeGroups) Kernel::FilterLast(plan, wholeGroups, dst, filterGroup);
}

// A GatherScheme's filter.
template <class Kernel>
void Filter(fourtap::GatherPlan const& plan, fourtap::GatherSegment const& segment, unsigned char const* const* lines,
            int lineCount, unsigned char const* comingLine, unsigned char* dst, int dstStride) {
  static constexpr decltype(&FilterLines<Kernel, 1>) byLineCount[] = {FilterLines<Kernel, 1>, FilterLines<Kernel, 2>,
                                                                      FilterLines<Kernel, 3>, FilterLines<Kernel, 4>};
  static_assert(std::size(byLineCount) == fourtap::wideBlockLines);
  bool const fetchesAhead = comingLine && lineCount == fourtap::wideBlockLines;
  auto* const filter = fetchesAhead ? FilterLines<Kernel, fourtap::wideBlockLines, true> : byLineCount[lineCount - 1];
  filter(plan, segment, lines, comingLine, dst, dstStride);
}

}  // namespace
