// The horizontal pass of the wide sets: no transposition. Every output byte is one item with four source bytes and four
// taps. Tables say where the bytes of a group of items lie within windows, stretches of a line that fit a register, and
// a layout is only the rule that fills them.
//
// Included by files compiled for newer processors: nothing here but plain records and declarations.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ProcessorSets.h"
#include "core/ClearedBytes.h"
#include "core/ScaleContext.h"

namespace fourtap {

struct HorzRange;

// One byte of a layout's unit, the smallest repeated piece of a line.
struct GatherByte {
  int sample;  // which of the unit's samples of its kind it is
  int offset;  // byte of its channel in a line's first sample
  bool chroma;
};

struct GatherLayout {
  int unitBytes;
  int unitPixels;
  int distance;        // from a sample to the next of its channel, bytes
  int chromaDistance;  // the same for chroma, which has its own stepping
  ClearedBytes cleared;
  GatherByte bytes[4];
};

struct GatherItem {
  int output;  // which byte of the group
  int tap;
  int window;  // which window of the group its source byte is taken from,
  int offset;  // and the first byte there that it can be
};

// What the buffers are laid out for: of any scheme.
int const minGroupBytes = 32;
int const maxGroupBytes = 64;
int const maxWindows = 8;
int const widestWindow = 128;
// For each byte of a group the numbers of four source bytes, and four taps.
int const tableBytesPerOutput = 8;

// The byte numbers of a group's tables, in the order of memory, which are as many as the taps behind them.
struct GatherLanes {
  static constexpr int runBytes = 16;
  unsigned char item[4 * maxGroupBytes];  // which one stands there: 4 * output + tap
  // Of so many neighbours, which are all taken from one window and have one offset.
  unsigned char window[4 * maxGroupBytes / runBytes];
  unsigned char offset[4 * maxGroupBytes / runBytes];
  bool runsAreWhole;  // whether they are
};

template <GatherItem (*itemAt)(int vector, int lane)>
consteval GatherLanes LanesOf(int groupBytes, int vectorBytes) {
  GatherLanes lanes{};
  lanes.runsAreWhole = true;
  for (int lane = 0; lane < tableBytesPerOutput / 2 * groupBytes; ++lane) {
    GatherItem const at = itemAt(lane / vectorBytes, lane % vectorBytes);
    int const run = lane / GatherLanes::runBytes;
    lanes.item[lane] = static_cast<unsigned char>(4 * at.output + at.tap);
    if (lane % GatherLanes::runBytes == 0) {
      lanes.window[run] = static_cast<unsigned char>(at.window);
      lanes.offset[run] = static_cast<unsigned char>(at.offset);
    }
    lanes.runsAreWhole &= lanes.window[run] == at.window && lanes.offset[run] == at.offset;
  }
  return lanes;
}

// Of a scheme that says where each byte of a vector comes from.
template <GatherItem (*itemAt)(int vector, int lane), int groupBytes, int vectorBytes>
static constexpr GatherLanes gatherLanesBy = LanesOf<itemAt>(groupBytes, vectorBytes);

struct GatherPlan;
struct GatherSegment;

// Filters a segment of lines, wideBlockLines at most, each at its first needed byte and equally far apart, into
// destination lines. Reads a whole window where a line is shorter. Fetches the coming line ahead, if there is one and
// the lines are a block.
typedef void GatherFilter(GatherPlan const&, GatherSegment const&, unsigned char const* const* lines, int lineCount,
                          unsigned char const* comingLine, unsigned char* dst, int dstStride);

// How a kernel reads its tables. A group is `groupBytes` neighbouring output bytes; its tables are vectors of byte
// numbers within a window, counted from an item's offset, then as many of taps.
struct GatherScheme {
  int vectorBytes;
  int groupBytes;
  int windowBytes;
  int reachBytes;  // so many from its offset on an item can be taken from
  int windowCount;
  bool straight;            // byte numbers have to be 0, 1, 2 and so on, and are not read
  bool lastGroupEndsAtEnd;  // overlapping the one before; else it is cut
  bool keepsTables;         // in registers, over groups that all have the same; worth a segment of their own
  GatherLanes const* lanes;
  GatherFilter* filter;
  bool (*runsHere)() = nullptr;  // whether the processor has what it takes; null: wherever the set runs
};

// Neighbouring groups of one scheme.
struct GatherSegment {
  GatherScheme const* scheme;
  int firstGroup, endGroup;
  int advance = 0;  // where all have the same tables: source bytes from the windows of one to those of the next; else 0
};

// Whether a scheme's groups, windows and tables have their place in a context.
consteval bool FitsBuffers(GatherScheme const& scheme) {
  return minGroupBytes <= scheme.groupBytes && maxGroupBytes % scheme.groupBytes == 0 &&
         scheme.windowCount <= maxWindows && scheme.windowBytes <= widestWindow &&
         tableBytesPerOutput / 2 * scheme.groupBytes % scheme.vectorBytes == 0 && scheme.lanes->runsAreWhole;
}

template <size_t count>
consteval bool FitBuffers(GatherScheme const (&schemes)[count]) {
  for (GatherScheme const& scheme : schemes) {
    if (!FitsBuffers(scheme)) return false;
  }
  return true;
}

// Where a group finds what it needs.
struct GatherGroup {
  int64_t tables;               // bytes from the plan's tables on: groups with the same ones share them
  int32_t windows[maxWindows];  // starts
};

// A set's schemes, fastest first. The first one whose windows reach all taps is taken; a few groups at the ends of a
// line, where taps repeat the edges and windows must not reach past them, may take a later one.
struct GatherSet {
  char const* filterName;  // for the report of a failed precondition
  GatherScheme const* schemes;
  size_t schemeCount;
};

// What one set needs for one layout and range of columns. Kept in the context, behind it the tables.
struct GatherPlan {
  GatherSet const* set;  // with the layout and the columns, what the plan was made for; null: for nothing yet
  GatherLayout const* layout;
  int xDest, cxDest;
  int dstBytes;               // bytes of an output line
  int segmentCount;           // 0: no scheme reaches so far
  GatherSegment segments[3];  // in the order of the line
  int windowBytes;            // of the widest window
  int comingBytes;            // of the coming line for each group, whole cache lines
  GatherGroup const* groups;
  unsigned char const* tables;  // 64-byte aligned
};

// Bytes of a buffer for intermediate lines of so many bytes, plan and tables for output lines of so many bytes.
int64_t GatherBufBytes(int64_t srcBytes, int64_t dstBytes);

// Lays out a new context's buffer, with a plan for nothing yet.
void LayOutGatherBuf(_SCALE_CONTEXT&, int64_t srcBytes);

// The context's plan for these columns, made anew if it was for others.
GatherPlan const& PlanGather(_SCALE_CONTEXT&, GatherSet const&, GatherLayout const&, HorzRange const&);

#define FOURTAP_DECLARE_GATHER_SET(with, set) extern GatherSet const gatherSet_##set;
FOURTAP_GATHERING_SETS(FOURTAP_DECLARE_GATHER_SET, )
#undef FOURTAP_DECLARE_GATHER_SET

}  // namespace fourtap
