#include "wide/GatherPlan.h"

#include <algorithm>

#include "plane/Scaler.h"

namespace fourtap {

namespace {

int const maxGroupBytes = 64;
int const maxWindows = 16;
// Of any scheme: two vectors of 64 bytes for every 16 output bytes, four window starts for every 16.
int const tableBytesPerOutput = 8;
int const windowsPerGroupOf32 = 8;

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
};

LaneMap MapLanes(GatherScheme const& scheme) {
  LaneMap map;
  for (int lane = 0; lane < 4 * scheme.groupBytes; ++lane) {
    GatherItem const at = scheme.itemAt(lane / scheme.vectorBytes, lane % scheme.vectorBytes);
    map.item[lane] = static_cast<unsigned char>(4 * at.output + at.tap);
    map.window[lane] = static_cast<unsigned char>(at.window);
  }
  return map;
}

void FillItem(_SCALE_CONTEXT const& context, GatherLayout const& layout, HorzRange const& range, int unit,
              GatherByte const& byte, int* positions, unsigned char* taps) {
  int const firstUnit = range.xDest / layout.unitPixels;
  uint64_t const at = byte.chroma ? context.chromaPositions[firstUnit + unit]
                                  : context.horzPositions[(firstUnit + unit) * layout.unitPixels + byte.sample];
  int const samples = byte.chroma ? context.cxIn / layout.unitPixels : context.cxIn;
  int const distance = byte.chroma ? layout.chromaDistance : layout.distance;
  short const* const coefs = context.horzCoef[at & 15];
  for (int t = 0; t < 4; ++t) {
    // Tap 1 is never 0.
    int const sample = std::clamp(HorzPosition(at) - 1 + (coefs[t] ? t : 1), 0, samples - 1);
    positions[t] = sample * distance + std::max(byte.offset, 0) - range.firstByte;
    taps[t] = static_cast<unsigned char>(byte.offset < 0 ? 0 : coefs[t]);
  }
}

// The items of the group's output bytes, behind them copies of the last one that weigh nothing.
void FillItems(_SCALE_CONTEXT const& context, GatherLayout const& layout, HorzRange const& range, int firstByte,
               int byteCount, int groupBytes, GroupItems& items) {
  int unit = firstByte / layout.unitBytes;
  int byte = firstByte % layout.unitBytes;
  for (int i = 0; i < byteCount; ++i) {
    FillItem(context, layout, range, unit, layout.bytes[byte], items.position + 4 * i, items.tap + 4 * i);
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
bool FillGroup(GatherScheme const& scheme, LaneMap const& map, GroupItems const& items, int srcBytes, int32_t* windows,
               unsigned char* tables) {
  int const lanes = 4 * scheme.groupBytes;
  int first[maxWindows], last[maxWindows];
  std::fill(first, first + scheme.windowCount, srcBytes);
  std::fill(last, last + scheme.windowCount, 0);
  for (int lane = 0; lane < lanes; ++lane) {
    int const position = items.position[map.item[lane]];
    int const window = map.window[lane];
    first[window] = std::min(first[window], position);
    last[window] = std::max(last[window], position);
  }
  // A window starts early enough not to reach past the line.
  for (int w = 0; w < scheme.windowCount; ++w) {
    windows[w] = std::max(0, std::min(first[w], srcBytes - scheme.windowBytes));
    if (last[w] - windows[w] >= scheme.windowBytes) return false;
  }
  for (int lane = 0; lane < lanes; ++lane) {
    int const item = map.item[lane];
    tables[lane] = static_cast<unsigned char>(items.position[item] - windows[map.window[lane]]);
    tables[lanes + lane] = items.tap[item];
  }
  return true;
}

bool FillTables(_SCALE_CONTEXT const& context, HorzRange const& range, GatherPlan const& plan,
                GatherScheme const& scheme, int32_t* windows, unsigned char* tables) {
  LaneMap const map = MapLanes(scheme);
  for (int group = 0; group < plan.groupCount; ++group) {
    int start = group * scheme.groupBytes;
    if (scheme.lastGroupEndsAtEnd) start = std::max(0, std::min(start, plan.dstBytes - scheme.groupBytes));
    GroupItems items;
    FillItems(context, *plan.layout, range, start, std::min(scheme.groupBytes, plan.dstBytes - start),
              scheme.groupBytes, items);
    if (!FillGroup(scheme, map, items, range.count, windows, tables)) return false;
    windows += scheme.windowCount;
    tables += 2 * 4 * scheme.groupBytes;
  }
  return true;
}

int64_t AlignTo64(int64_t bytes) { return (bytes + 63) & ~int64_t{63}; }

// The buffer holds the intermediate lines, the plan, the windows and the tables, each 64-byte aligned.
int64_t WideLineBytes(int64_t srcBytes) { return AlignTo64(std::max(srcBytes, int64_t{widestWindow})); }

int64_t const planBytes = AlignTo64(sizeof(GatherPlan));

int64_t WindowsBytes(int64_t dstBytes) {
  return AlignTo64((dstBytes / 32 + 1) * windowsPerGroupOf32 * int64_t{sizeof(int32_t)});
}

}  // namespace

int64_t GatherBufBytes(int64_t srcBytes, int64_t dstBytes) {
  int64_t const tables = (dstBytes / maxGroupBytes + 1) * maxGroupBytes * tableBytesPerOutput;
  return 63 + gatherBlockLines * WideLineBytes(srcBytes) + planBytes + WindowsBytes(dstBytes) + tables;
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
  auto* const windows = reinterpret_cast<int32_t*>(reinterpret_cast<unsigned char*>(&plan) + planBytes);
  plan = {&set, &layout, range.xDest, range.cxDest, nullptr, 0, 0, windows, nullptr};
  plan.dstBytes = range.cxDest / layout.unitPixels * layout.unitBytes;
  auto* const tables = reinterpret_cast<unsigned char*>(windows) + WindowsBytes(plan.dstBytes);
  plan.tables = tables;
  for (size_t i = 0; i < set.schemeCount && !plan.scheme; ++i) {
    GatherScheme const& scheme = set.schemes[i];
    plan.groupCount = (plan.dstBytes + scheme.groupBytes - 1) / scheme.groupBytes;
    if (FillTables(context, range, plan, scheme, windows, tables)) plan.scheme = &scheme;
  }
  return plan;
}

}  // namespace fourtap
