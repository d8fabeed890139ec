// How the kernels of the gathering sets go over the groups of a segment. Included by files compiled for newer
// processors, so all of it stays theirs.
//
// Kernel is a set's way of one scheme: `groupBytes`; FilterGroup, which filters a group of all lines by its tables and
// hands each line's bytes to `store`; StoreWhole; and FilterLast for the group at the end of the output line that is
// not whole, by `filterGroup(group, to, store)`. Where it has Tables, FilterAlike does the same as FilterGroup for
// groups that all have the same.
#pragma once

#include <cstddef>
#include <iterator>

#include "gathered/GatherPlan.h"

namespace {

// Whether the loop keeps the tables in registers: groups are alike.
template <class Kernel>
constexpr bool keepsTables = requires {
  typename Kernel::Tables;
};

template <class Kernel, int lineCount, bool alike, bool fetchesAhead>
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
  auto const fetch = [=](int group) {
    for (ptrdiff_t at = 0; fetchesAhead && at < comingBytes; at += 64) {
      __builtin_prefetch(comingLine + group * comingBytes + at);
    }
  };
  if constexpr (alike) {
    fourtap::GatherGroup const& first = groups[segment.firstGroup];
    typename Kernel::Tables const tables(allTables + first.tables);
    typename Kernel::Starts const starts(first.windows);
    unsigned char const* at = from;
    ptrdiff_t const advance = segment.advance;
    for (int group = segment.firstGroup; group < end; ++group, at += advance) {
      fetch(group);
      kernel.template FilterAlike<lineCount>(tables, starts, at, step, dst + ptrdiff_t{group} * Kernel::groupBytes,
                                             dstStride);
    }
  } else {
    for (int group = segment.firstGroup; group < end; ++group) {
      fetch(group);
      filterGroup(groups[group], dst + ptrdiff_t{group} * Kernel::groupBytes,
                  [](unsigned char* to, auto bytes) { Kernel::StoreWhole(to, bytes); });
    }
  }
  if (segment.endGroup > wholeGroups) Kernel::FilterLast(plan, wholeGroups, dst, filterGroup);
}

template <class Kernel, bool alike>
void FilterByLineCount(fourtap::GatherPlan const& plan, fourtap::GatherSegment const& segment,
                       unsigned char const* const* lines, int lineCount, unsigned char const* comingLine,
                       unsigned char* dst, int dstStride) {
  static constexpr decltype(&FilterLines<Kernel, 1, alike, false>) byLineCount[] = {
      FilterLines<Kernel, 1, alike, false>, FilterLines<Kernel, 2, alike, false>, FilterLines<Kernel, 3, alike, false>,
      FilterLines<Kernel, 4, alike, false>};
  static_assert(std::size(byLineCount) == fourtap::wideBlockLines);
  bool const fetchesAhead = comingLine && lineCount == fourtap::wideBlockLines;
  auto* const filter =
      fetchesAhead ? FilterLines<Kernel, fourtap::wideBlockLines, alike, true> : byLineCount[lineCount - 1];
  filter(plan, segment, lines, comingLine, dst, dstStride);
}

// A GatherScheme's filter.
template <class Kernel>
void Filter(fourtap::GatherPlan const& plan, fourtap::GatherSegment const& segment, unsigned char const* const* lines,
            int lineCount, unsigned char const* comingLine, unsigned char* dst, int dstStride) {
  if constexpr (keepsTables<Kernel>) {
    if (segment.advance > 0) {
      FilterByLineCount<Kernel, true>(plan, segment, lines, lineCount, comingLine, dst, dstStride);
      return;
    }
  }
  FilterByLineCount<Kernel, false>(plan, segment, lines, lineCount, comingLine, dst, dstStride);
}

}  // namespace
