#include "gathered/GatherPlan.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
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

// How far a channel's samples are apart, and its taps by phase: their distances from the first one, in bytes.
struct TapPlaces {
  int distance;
  int bytes[16][4];
};

// What a plan's tables are made of, and where.
struct TableMaker {
  _SCALE_CONTEXT const& context;
  HorzRange const& range;
  GatherLayout const& layout;
  int dstBytes;
  GatherGroup* groups;
  unsigned char* tables;
  TapPlaces places, chromaPlaces;
  unsigned char taps[16][4];
};

TapPlaces PlacesOf(_SCALE_CONTEXT const& context, int distance) {
  TapPlaces places{.distance = distance, .bytes = {}};
  for (int phase = 0; phase < 16; ++phase) {
    // Tap 1 is never 0.
    for (int t = 0; t < 4; ++t) places.bytes[phase][t] = (context.horzCoef[phase][t] ? t : 1) * distance;
  }
  return places;
}

TableMaker MakerOf(_SCALE_CONTEXT const& context, GatherLayout const& layout, HorzRange const& range, int dstBytes,
                   GatherGroup* groups, unsigned char* tables) {
  TableMaker maker{context,
                   range,
                   layout,
                   dstBytes,
                   groups,
                   tables,
                   PlacesOf(context, layout.distance),
                   PlacesOf(context, layout.chromaDistance),
                   {}};
  for (int phase = 0; phase < 16; ++phase) {
    for (int t = 0; t < 4; ++t) maker.taps[phase][t] = static_cast<unsigned char>(context.horzCoef[phase][t]);
  }
  return maker;
}

void FillItem(TableMaker const& maker, int unit, int byteOfUnit, int* positions, unsigned char* taps) {
  _SCALE_CONTEXT const& context = maker.context;
  GatherLayout const& layout = maker.layout;
  bool const cleared = layout.cleared.Has(byteOfUnit);
  GatherByte const& byte = layout.bytes[cleared ? 0 : byteOfUnit];
  uint64_t const at =
      byte.chroma ? context.chromaPositions[unit] : context.horzPositions[unit * layout.unitPixels + byte.sample];
  int const samples = byte.chroma ? context.cxIn / layout.unitPixels : context.cxIn;
  TapPlaces const& places = byte.chroma ? maker.chromaPlaces : maker.places;
  int const* const bytes = places.bytes[at & 15];
  int const firstTap = HorzPosition(at) - 1;
  int const origin = byte.offset - maker.range.firstByte;
  if (firstTap >= 0 && firstTap + 3 < samples) {
    for (int t = 0; t < 4; ++t) positions[t] = firstTap * places.distance + bytes[t] + origin;
  } else {
    int const last = (samples - 1) * places.distance;
    for (int t = 0; t < 4; ++t) {
      positions[t] = std::clamp(firstTap * places.distance + bytes[t], 0, last) + origin;
    }
  }
  if (cleared) {
    std::memset(taps, 0, 4);
  } else {
    std::memcpy(taps, maker.taps[at & 15], 4);
  }
}

// The items of the output bytes from firstByte on, behind them copies of the last one that weigh nothing.
void FillItems(TableMaker const& maker, int firstByte, int byteCount, int groupBytes, GroupItems& items) {
  int unit = maker.range.xDest / maker.layout.unitPixels + firstByte / maker.layout.unitBytes;
  int byte = firstByte % maker.layout.unitBytes;
  for (int i = 0; i < byteCount; ++i) {
    FillItem(maker, unit, byte, items.position + 4 * i, items.tap + 4 * i);
    if (++byte == maker.layout.unitBytes) {
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
bool FillGroup(GatherScheme const& scheme, GroupItems const& items, int srcBytes, GatherGroup& group,
               unsigned char* tables) {
  GatherLanes const& lanes = *scheme.lanes;
  int const laneCount = tableBytesPerOutput / 2 * scheme.groupBytes;
  int first[maxWindows], last[maxWindows];
  std::fill(first, first + scheme.windowCount, srcBytes);
  std::fill(last, last + scheme.windowCount, -scheme.windowBytes);
  for (int run = 0; run * GatherLanes::runBytes < laneCount; ++run) {
    unsigned char const* const item = lanes.item + run * GatherLanes::runBytes;
    int firstOfRun = items.position[item[0]], lastOfRun = firstOfRun;
    for (int i = 1; i < GatherLanes::runBytes; ++i) {
      firstOfRun = std::min(firstOfRun, items.position[item[i]]);
      lastOfRun = std::max(lastOfRun, items.position[item[i]]);
    }
    int const window = lanes.window[run];
    first[window] = std::min(first[window], firstOfRun - lanes.offset[run]);
    last[window] = std::max(last[window], lastOfRun - lanes.offset[run]);
  }
  // A window starts early enough not to reach past the line.
  for (int w = 0; w < scheme.windowCount; ++w) {
    group.windows[w] = std::max(0, std::min(first[w], srcBytes - scheme.windowBytes));
    if (first[w] < group.windows[w] || last[w] - group.windows[w] >= scheme.reachBytes) return false;
  }
  for (int run = 0; run * GatherLanes::runBytes < laneCount; ++run) {
    int const start = group.windows[lanes.window[run]] + lanes.offset[run];
    for (int lane = run * GatherLanes::runBytes; lane < (run + 1) * GatherLanes::runBytes; ++lane) {
      int const number = items.position[lanes.item[lane]] - start;
      if (scheme.straight && number != lane % scheme.reachBytes) return false;
      tables[lane] = static_cast<unsigned char>(number);
      tables[laneCount + lane] = items.tap[lanes.item[lane]];
    }
  }
  return true;
}

constexpr int64_t AlignTo64(int64_t bytes) { return (bytes + 63) & ~int64_t{63}; }

int GroupCount(GatherScheme const& scheme, int dstBytes) {
  return static_cast<int>((int64_t{dstBytes} + scheme.groupBytes - 1) / scheme.groupBytes);
}

int TableBytes(GatherScheme const& scheme) { return tableBytesPerOutput * scheme.groupBytes; }

// The output bytes of a group.
struct GroupBytes {
  int first, count;
};

GroupBytes BytesOf(GatherScheme const& scheme, int dstBytes, int group) {
  int const start = group * scheme.groupBytes;
  int const first = scheme.lastGroupEndsAtEnd ? std::max(0, std::min(start, dstBytes - scheme.groupBytes)) : start;
  return {first, std::min(scheme.groupBytes, dstBytes - first)};
}

bool MakeGroup(TableMaker const& maker, GatherScheme const& scheme, int group) {
  GroupBytes const bytes = BytesOf(scheme, maker.dstBytes, group);
  GroupItems items;
  FillItems(maker, bytes.first, bytes.count, scheme.groupBytes, items);
  maker.groups[group].tables = int64_t{group} * TableBytes(scheme);
  return FillGroup(scheme, items, maker.range.count, maker.groups[group], maker.tables + maker.groups[group].tables);
}

// The group in the middle of a line, which no scheme can leave to another one: what does not fit there does not fit at
// all, and that is soon seen.
struct Probe {
  TableMaker const& maker;
  int groupBytes;  // of what `items` is filled with; 0: nothing yet
  GroupItems items;

  bool Fits(GatherScheme const& scheme) {
    if (scheme.groupBytes != groupBytes) {
      groupBytes = scheme.groupBytes;
      GroupBytes const bytes = BytesOf(scheme, maker.dstBytes, GroupCount(scheme, maker.dstBytes) / 2);
      FillItems(maker, bytes.first, bytes.count, groupBytes, items);
    }
    GatherGroup group;
    unsigned char tables[tableBytesPerOutput * maxGroupBytes];
    return FillGroup(scheme, items, maker.range.count, group, tables);
  }
};

// Makes groups from `from` on, until one does not fit the scheme; returns which.
int MakeGroups(TableMaker const& maker, GatherScheme const& scheme, int from, int end) {
  while (from < end && MakeGroup(maker, scheme, from)) ++from;
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
GatherSegment MakeMiddle(TableMaker const& maker, GatherScheme const& scheme) {
  int const groupCount = GroupCount(scheme, maker.dstBytes);
  Recurrence const recurrence = RecurrenceOf(maker, scheme);
  int const mostFirst = std::min(maxFirstGroups, groupCount - 1);
  if (recurrence.groups * TableBytes(scheme) <= maxRecurringBytes && recurrence.groups + mostFirst < groupCount) {
    int from = 0;
    while (from < mostFirst && !IsInside(maker, scheme, from)) ++from;
    if (IsInside(maker, scheme, from)) {
      int const ownEnd = from + static_cast<int>(recurrence.groups);
      int end = MakeGroups(maker, scheme, from, ownEnd);
      if (end == ownEnd) {
        while (end < groupCount && MakeRecurring(maker, scheme, recurrence, end)) ++end;
      }
      bool const alike = scheme.keepsTables && recurrence.groups == 1 && end > ownEnd;
      return {&scheme, from, end, alike ? static_cast<int>(recurrence.bytes) : 0};
    }
  }
  int from = 0;
  int end = MakeGroups(maker, scheme, from, groupCount);
  while (end == from && from < mostFirst) end = MakeGroups(maker, scheme, ++from, groupCount);
  return {&scheme, from, end};
}

// Makes the tables for the first scheme that fits, and for the ends of the line for the first one that fits there.
void MakeTables(TableMaker const& maker, GatherSet const& set, GatherPlan& plan) {
  auto const runsHere = [](GatherScheme const& scheme) { return !scheme.runsHere || scheme.runsHere(); };
  GatherScheme const* const end = set.schemes + set.schemeCount;
  Probe probe{maker, 0, {}};
  for (GatherScheme const* scheme = set.schemes; scheme != end; ++scheme) {
    if (!runsHere(*scheme) || !probe.Fits(*scheme)) continue;
    GatherSegment const middle = MakeMiddle(maker, *scheme);
    int const groupCount = GroupCount(*scheme, maker.dstBytes);
    int const endGroups = groupCount - (middle.endGroup - middle.firstGroup);
    bool const mayDiffer = endGroups * worthAnotherScheme <= groupCount;
    for (GatherScheme const* atEnds = scheme; atEnds != (mayDiffer ? end : scheme + 1); ++atEnds) {
      if (!runsHere(*atEnds)) continue;
      if (MakeGroups(maker, *atEnds, 0, middle.firstGroup) < middle.firstGroup ||
          MakeGroups(maker, *atEnds, middle.endGroup, groupCount) < groupCount) {
        continue;
      }
      auto const add = [&plan](GatherSegment const& segment) {
        if (segment.firstGroup < segment.endGroup) plan.segments[plan.segmentCount++] = segment;
      };
      bool const worthSegments = atEnds != scheme || (mayDiffer && middle.advance > 0);
      if (!worthSegments) {
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
  MakeTables(MakerOf(context, layout, range, dstBytes, groups, tables), set, plan);
  return plan;
}

}  // namespace fourtap
