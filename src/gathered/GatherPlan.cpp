#include "gathered/GatherPlan.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "core/HorzRange.h"
#include "core/ScaleContext.h"

namespace fourtap {

namespace {

// Where the groups behind so many at the start of a line are not alike, none are.
int const maxFirstGroups = 2;
// All groups of a line are to be so many times those at its ends that have a scheme of their own.
int const worthAnotherScheme = 4;
// Tables that recur are worth it as long as they stay in the first-level cache beside all else.
int const maxRecurringBytes = 8192;

// The items of a group: four source bytes for each output byte, counted from the first needed one of a line, and their
// taps. Where a tap is 0 stands a byte that another one needs anyway.
struct GroupItems {
  int position[4 * maxGroupBytes];
  unsigned char tap[4 * maxGroupBytes];
};

// For each lane of a group's vectors, where it finds its item in GroupItems, and its window.
struct LaneMap {
  unsigned char item[4 * maxGroupBytes];
  unsigned char window[4 * maxGroupBytes];
  unsigned char offset[4 * maxGroupBytes];
};

LaneMap MapLanes(GatherScheme const& scheme) {
  LaneMap map;
  for (int lane = 0; lane < 4 * scheme.groupBytes; ++lane) {
    GatherItem const at = scheme.itemAt(lane / scheme.vectorBytes, lane % scheme.vectorBytes);
    map.item[lane] = static_cast<unsigned char>(4 * at.output + at.tap);
    map.window[lane] = static_cast<unsigned char>(at.window);
    map.offset[lane] = static_cast<unsigned char>(at.offset);
  }
  return map;
}

void FillItem(_SCALE_CONTEXT const& context, GatherLayout const& layout, HorzRange const& range, int unit,
              int byteOfUnit, int* positions, unsigned char* taps) {
  bool const cleared = layout.cleared.Has(byteOfUnit);
  GatherByte const& byte = layout.bytes[cleared ? 0 : byteOfUnit];
  int const firstUnit = range.xDest / layout.unitPixels;
  uint64_t const at = byte.chroma ? context.chromaPositions[firstUnit + unit]
                                  : context.horzPositions[(firstUnit + unit) * layout.unitPixels + byte.sample];
  int const samples = byte.chroma ? context.cxIn / layout.unitPixels : context.cxIn;
  int const distance = byte.chroma ? layout.chromaDistance : layout.distance;
  short const* const coefs = context.horzCoef[at & 15];
  for (int t = 0; t < 4; ++t) {
    // Tap 1 is never 0.
    int const sample = std::clamp(HorzPosition(at) - 1 + (coefs[t] ? t : 1), 0, samples - 1);
    positions[t] = sample * distance + byte.offset - range.firstByte;
    taps[t] = static_cast<unsigned char>(cleared ? 0 : coefs[t]);
  }
}

// The items of the group's output bytes, behind them copies of the last one that weigh nothing.
void FillItems(_SCALE_CONTEXT const& context, GatherLayout const& layout, HorzRange const& range, int firstByte,
               int byteCount, int groupBytes, GroupItems& items) {
  int unit = firstByte / layout.unitBytes;
  int byte = firstByte % layout.unitBytes;
  for (int i = 0; i < byteCount; ++i) {
    FillItem(context, layout, range, unit, byte, items.position + 4 * i, items.tap + 4 * i);
    if (++byte == layout.unitBytes) {
      byte = 0;
      ++unit;
    }
  }
  for (int i = 4 * byteCount; i < 4 * groupBytes; ++i) {
    items.position[i] = items.position[i - 4];
    items.tap[i] = 0;
  }
}

// Fills the group's tables, and tells whether its windows reach all its taps.
bool FillGroup(GatherScheme const& scheme, LaneMap const& map, GroupItems const& items, int srcBytes,
               GatherGroup& group, unsigned char* tables) {
  int const lanes = 4 * scheme.groupBytes;
  int first[maxWindows], last[maxWindows];
  std::fill(first, first + scheme.windowCount, srcBytes);
  std::fill(last, last + scheme.windowCount, -scheme.windowBytes);
  auto const fromOffset = [&](int lane) { return items.position[map.item[lane]] - map.offset[lane]; };
  for (int lane = 0; lane < lanes; ++lane) {
    int const window = map.window[lane];
    first[window] = std::min(first[window], fromOffset(lane));
    last[window] = std::max(last[window], fromOffset(lane));
  }
  // A window starts early enough not to reach past the line.
  for (int w = 0; w < scheme.windowCount; ++w) {
    group.windows[w] = std::max(0, std::min(first[w], srcBytes - scheme.windowBytes));
    if (first[w] < group.windows[w] || last[w] - group.windows[w] >= scheme.reachBytes) return false;
  }
  for (int lane = 0; lane < lanes; ++lane) {
    int const number = fromOffset(lane) - group.windows[map.window[lane]];
    if (scheme.straight && number != lane % scheme.reachBytes) return false;
    tables[lane] = static_cast<unsigned char>(number);
    tables[lanes + lane] = items.tap[map.item[lane]];
  }
  return true;
}

constexpr int64_t AlignTo64(int64_t bytes) { return (bytes + 63) & ~int64_t{63}; }

// What a plan's tables are made of, and where.
struct TableMaker {
  _SCALE_CONTEXT const& context;
  HorzRange const& range;
  GatherLayout const& layout;
  int dstBytes;
  GatherGroup* groups;
  unsigned char* tables;
};

int GroupCount(GatherScheme const& scheme, int dstBytes) {
  return static_cast<int>((int64_t{dstBytes} + scheme.groupBytes - 1) / scheme.groupBytes);
}

int TableBytes(GatherScheme const& scheme) { return tableBytesPerOutput * scheme.groupBytes; }

bool MakeGroup(TableMaker const& maker, GatherScheme const& scheme, LaneMap const& map, int group) {
  int start = group * scheme.groupBytes;
  if (scheme.lastGroupEndsAtEnd) start = std::max(0, std::min(start, maker.dstBytes - scheme.groupBytes));
  GroupItems items;
  FillItems(maker.context, maker.layout, maker.range, start, std::min(scheme.groupBytes, maker.dstBytes - start),
            scheme.groupBytes, items);
  maker.groups[group].tables = int64_t{group} * TableBytes(scheme);
  return FillGroup(scheme, map, items, maker.range.count, maker.groups[group],
                   maker.tables + maker.groups[group].tables);
}

// Makes groups from `from` on, until one does not fit the scheme; returns which.
int MakeGroups(TableMaker const& maker, GatherScheme const& scheme, LaneMap const& map, int from, int end) {
  while (from < end && MakeGroup(maker, scheme, map, from)) ++from;
  return from;
}

// After how many groups tables recur, and how many source bytes further on.
struct Recurrence {
  int64_t groups;
  int64_t bytes;
};

Recurrence RecurrenceOf(TableMaker const& maker, GatherScheme const& scheme) {
  int64_t const patternBytes = int64_t{maker.context.horzPeriod} * maker.layout.unitBytes;
  int64_t const groups = patternBytes / std::gcd(patternBytes, int64_t{scheme.groupBytes});
  int64_t const patterns = groups * scheme.groupBytes / patternBytes;
  return {groups, patterns * maker.context.horzAdvance * maker.layout.unitBytes};
}

// Whether a group is whole, and none of its taps lies before the picture. Nor behind it then, if windows reach them
// all.
bool IsInside(TableMaker const& maker, GatherScheme const& scheme, int group) {
  GatherLayout const& layout = maker.layout;
  int const start = group * scheme.groupBytes;
  if (maker.dstBytes - start < scheme.groupBytes) return false;
  int const unit = maker.range.xDest / layout.unitPixels + start / layout.unitBytes;
  return HorzPosition(maker.context.horzPositions[unit * layout.unitPixels]) > 0 &&
         (layout.chromaDistance == 0 || HorzPosition(maker.context.chromaPositions[unit]) > 0);
}

// A group behind one with the same tables, whose windows are as many bytes further on.
bool MakeRecurring(TableMaker const& maker, GatherScheme const& scheme, Recurrence const& recurrence, int group) {
  if (!IsInside(maker, scheme, group)) return false;
  GatherGroup const& before = maker.groups[group - recurrence.groups];
  maker.groups[group].tables = before.tables;
  for (int w = 0; w < scheme.windowCount; ++w) {
    int64_t const start = before.windows[w] + recurrence.bytes;
    if (start + scheme.windowBytes > maker.range.count) return false;
    maker.groups[group].windows[w] = static_cast<int32_t>(start);
  }
  return true;
}

// The groups behind the first few that fit a scheme, to the first one that does not, or does not recur as all before.
GatherSegment MakeMiddle(TableMaker const& maker, GatherScheme const& scheme, LaneMap const& map) {
  int const groupCount = GroupCount(scheme, maker.dstBytes);
  Recurrence const recurrence = RecurrenceOf(maker, scheme);
  int const mostFirst = std::min(maxFirstGroups, groupCount - 1);
  if (recurrence.groups * TableBytes(scheme) <= maxRecurringBytes && recurrence.groups + mostFirst < groupCount) {
    int from = 0;
    while (from < mostFirst && !IsInside(maker, scheme, from)) ++from;
    if (IsInside(maker, scheme, from)) {
      int const ownEnd = from + static_cast<int>(recurrence.groups);
      int end = MakeGroups(maker, scheme, map, from, ownEnd);
      if (end == ownEnd) {
        while (end < groupCount && MakeRecurring(maker, scheme, recurrence, end)) ++end;
      }
      return {&scheme, from, end};
    }
  }
  int from = 0;
  int end = MakeGroups(maker, scheme, map, from, groupCount);
  while (end == from && from < mostFirst) end = MakeGroups(maker, scheme, map, ++from, groupCount);
  return {&scheme, from, end};
}

// Makes the tables for the first scheme that fits, and for the ends of the line for the first one that fits there.
void MakeTables(TableMaker const& maker, GatherSet const& set, GatherPlan& plan) {
  auto const runsHere = [](GatherScheme const& scheme) { return !scheme.runsHere || scheme.runsHere(); };
  GatherScheme const* const end = set.schemes + set.schemeCount;
  for (GatherScheme const* scheme = set.schemes; scheme != end; ++scheme) {
    if (!runsHere(*scheme)) continue;
    GatherSegment const middle = MakeMiddle(maker, *scheme, MapLanes(*scheme));
    int const groupCount = GroupCount(*scheme, maker.dstBytes);
    int const endGroups = groupCount - (middle.endGroup - middle.firstGroup);
    bool const mayDiffer = endGroups * worthAnotherScheme <= groupCount;
    for (GatherScheme const* atEnds = scheme; atEnds != (mayDiffer ? end : scheme + 1); ++atEnds) {
      if (!runsHere(*atEnds)) continue;
      LaneMap const map = MapLanes(*atEnds);
      if (MakeGroups(maker, *atEnds, map, 0, middle.firstGroup) < middle.firstGroup ||
          MakeGroups(maker, *atEnds, map, middle.endGroup, groupCount) < groupCount) {
        continue;
      }
      auto const add = [&plan](GatherSegment const& segment) {
        if (segment.firstGroup < segment.endGroup) plan.segments[plan.segmentCount++] = segment;
      };
      if (atEnds == scheme) {
        add({scheme, 0, groupCount});
      } else {
        add({atEnds, 0, middle.firstGroup});
        add(middle);
        add({atEnds, middle.endGroup, groupCount});
      }
      plan.windowBytes = std::max(scheme->windowBytes, atEnds->windowBytes);
      plan.comingBytes = static_cast<int>(AlignTo64(maker.range.count / groupCount));
      return;
    }
  }
}

// The buffer holds the intermediate lines, the plan, the groups and the tables, each 64-byte aligned.
int64_t WideLineBytes(int64_t srcBytes) { return AlignTo64(std::max(srcBytes, int64_t{widestWindow})); }

constexpr int64_t planBytes = AlignTo64(sizeof(GatherPlan));

int64_t GroupsBytes(int64_t dstBytes) {
  return AlignTo64((dstBytes / minGroupBytes + 1) * int64_t{sizeof(GatherGroup)});
}

}  // namespace

int64_t GatherBufBytes(int64_t srcBytes, int64_t dstBytes) {
  int64_t const tables = (dstBytes / maxGroupBytes + 1) * maxGroupBytes * tableBytesPerOutput;
  return 63 + wideBlockLines * WideLineBytes(srcBytes) + planBytes + GroupsBytes(dstBytes) + tables;
}

void LayOutGatherBuf(_SCALE_CONTEXT& context, int64_t srcBytes) {
  unsigned char* at = context.gatherBuf + (-reinterpret_cast<uintptr_t>(context.gatherBuf) & 63);
  for (unsigned char*& line : context.wideLines) {
    line = at;
    at += WideLineBytes(srcBytes);
  }
  context.gatherPlan = reinterpret_cast<GatherPlan*>(at);
  context.gatherPlan->set = nullptr;
}

GatherPlan const& PlanGather(_SCALE_CONTEXT& context, GatherSet const& set, GatherLayout const& layout,
                             HorzRange const& range) {
  GatherPlan& plan = *context.gatherPlan;
  if (plan.set == &set && plan.layout == &layout && plan.xDest == range.xDest && plan.cxDest == range.cxDest) {
    return plan;
  }
  auto* const groups = reinterpret_cast<GatherGroup*>(reinterpret_cast<unsigned char*>(&plan) + planBytes);
  int const dstBytes = range.cxDest / layout.unitPixels * layout.unitBytes;
  auto* const tables = reinterpret_cast<unsigned char*>(groups) + GroupsBytes(dstBytes);
  plan = {&set, &layout, range.xDest, range.cxDest, dstBytes, 0, {}, 0, 0, groups, tables};
  MakeTables({context, range, layout, dstBytes, groups, tables}, set, plan);
  return plan;
}

}  // namespace fourtap
