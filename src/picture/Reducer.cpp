#include "picture/Reducer.h"

#include <algorithm>
#include <cstring>

namespace fourtap {

namespace {

bool HalvesLines(Reducer const& reducer, int level) { return level < reducer.lines.halvings; }
bool HalvesColumns(Reducer const& reducer, int level) { return level < reducer.columns.halvings; }

// Columns of the source part after so many halvings.
int ColumnsAt(Reducer const& reducer, int level) {
  return ((reducer.in.cx - 1) >> std::min(level, reducer.columns.halvings)) + 1;
}

size_t BytesAt(Reducer const& reducer, int level) {
  return static_cast<size_t>(ColumnsAt(reducer, level)) * static_cast<size_t>(reducer.channels);
}

// A direction that keeps its size.
Reduction Unreduced(int n) { return {n, n, 0, Cubic::crisp}; }

unsigned char* UnreducedLine(Reducer const& reducer, int line) {
  return reducer.unreduced + line * reducer.unreducedStride + mostTaps * reducer.channels;
}

// Beyond the picture's edges stand copies of its outermost pixels.
void RepeatEdges(Reducer const& reducer, unsigned char* line) {
  auto const pixelBytes = static_cast<size_t>(reducer.channels);
  if (reducer.firstColumn == 0) {
    for (int x = 1; x <= mostTaps; ++x) std::memcpy(line - x * reducer.channels, line, pixelBytes);
  }
  if (reducer.firstColumn + reducer.columnCount == reducer.columns.Blocks()) {
    unsigned char* const end = line + ptrdiff_t{reducer.columnCount} * reducer.channels;
    for (int x = 0; x < mostTaps; ++x) std::memcpy(end + x * reducer.channels, end - pixelBytes, pixelBytes);
  }
}

unsigned char* RingLine(Reducer const& reducer, int block) {
  return reducer.ring + block % Reducer::ringLines * reducer.ringStride;
}

// Where the next line goes that has been halved so often.
unsigned char* PlaceAt(Reducer const& reducer, int level) {
  if (level < reducer.levelCount) return reducer.levels[level].waiting[reducer.levels[level].count];
  if (reducer.reducesLines) return RingLine(reducer, reducer.nextBlock);
  return UnreducedLine(reducer, reducer.unreducedFirst + reducer.unreducedCount);
}

void Arrived(Reducer& reducer, ReducingKernels const& kernels, int level);

// Makes one of two lines, which may be the same one.
void Halve(Reducer& reducer, ReducingKernels const& kernels, int level, unsigned char const* first,
           unsigned char const* second) {
  unsigned char* const to = PlaceAt(reducer, level + 1);
  // In one direction every other average lies in the middle of two values: so these go up and down in turn.
  bool const both = HalvesLines(reducer, level) && HalvesColumns(reducer, level);
  bool const halvesUp = both || level % 2 == 0;
  if (HalvesColumns(reducer, level)) {
    kernels.averageBlocks[reducer.channels - 1](first, second, ColumnsAt(reducer, level), halvesUp, to);
  } else {
    kernels.averageLines(first, second, static_cast<int>(BytesAt(reducer, level)), halvesUp, to);
  }
  Arrived(reducer, kernels, level + 1);
}

// What follows when a line stands where PlaceAt said.
void Arrived(Reducer& reducer, ReducingKernels const& kernels, int level) {
  if (level < reducer.levelCount) {
    Reducer::Level& at = reducer.levels[level];
    ++at.count;
    if (HalvesLines(reducer, level) && at.count < 2) return;
    at.count = 0;
    Halve(reducer, kernels, level, at.waiting[0], at.waiting[HalvesLines(reducer, level)]);
  } else if (reducer.reducesLines) {
    ++reducer.nextBlock;
  } else {
    RepeatEdges(reducer, UnreducedLine(reducer, reducer.unreducedFirst + reducer.unreducedCount));
    ++reducer.unreducedCount;
  }
}

// Takes one or two lines.
int TakeFew(Reducer& reducer, ReducingKernels const& kernels, unsigned char const* lines, ptrdiff_t stride,
            int lineCount) {
  size_t const bytes = BytesAt(reducer, 0);
  if (reducer.levelCount == 0) {
    std::memcpy(PlaceAt(reducer, 0), lines, bytes);
    Arrived(reducer, kernels, 0);
    return 1;
  }
  Reducer::Level& first = reducer.levels[0];
  if (!HalvesLines(reducer, 0)) {
    Halve(reducer, kernels, 0, lines, lines);
    return 1;
  }
  if (first.count == 1) {
    first.count = 0;
    Halve(reducer, kernels, 0, first.waiting[0], lines);
    return 1;
  }
  if (lineCount >= 2) {
    Halve(reducer, kernels, 0, lines, lines + stride);
    return 2;
  }
  std::memcpy(first.waiting[0], lines, bytes);
  first.count = 1;
  return 1;
}

// The picture's last line stands for those that are missing to pairs.
void CompletePairs(Reducer& reducer, ReducingKernels const& kernels) {
  for (int level = 0; level < reducer.levelCount; ++level) {
    Reducer::Level& at = reducer.levels[level];
    if (at.count == 0) continue;
    at.count = 0;
    Halve(reducer, kernels, level, at.waiting[0], at.waiting[0]);
  }
}

bool HasBlocksOf(Reducer const& reducer, int line) {
  TapSpan const span = SpanOf(reducer.lines, line);
  return std::min<int64_t>(span.End(), reducer.lines.Blocks()) <= reducer.nextBlock;
}

void FilterDown(Reducer const& reducer, ReducingKernels const& kernels, int line, unsigned char* dst) {
  TapSpan const span = SpanOf(reducer.lines, line);
  signed char taps[mostTaps + 1];
  unsigned char const* lines[mostTaps + 1];
  ComputeTaps(reducer.lines, line, span, taps);
  int count = 0;
  for (; count < span.count; ++count) {
    int64_t const block = std::clamp<int64_t>(int64_t{span.first} + count, 0, reducer.lines.Blocks() - 1);
    lines[count] = RingLine(reducer, static_cast<int>(block));
  }
  if (count % 2 != 0) {
    lines[count] = lines[count - 1];
    taps[count++] = 0;
  }
  kernels.reduceLines(lines, taps, count, static_cast<int>(BytesAt(reducer, reducer.levelCount)), dst);
}

bool FiltersNext(Reducer const& reducer) {
  return reducer.reducesLines && reducer.nextFiltered < reducer.out.y + reducer.out.cy &&
         HasBlocksOf(reducer, reducer.nextFiltered);
}

int FilterAlong(Reducer& reducer, ReducingKernels const& kernels, unsigned char* dst, ptrdiff_t stride, int room) {
  ReducedColumns columns{.firsts = reducer.firsts,
                         .taps = reducer.taps,
                         .eightAreEnough = reducer.eightTaps,
                         .lines = {},
                         .lineCount = std::min(room, reducer.unreducedCount),
                         .xOrigin = reducer.firstColumn,
                         .x = reducer.out.x,
                         .cx = reducer.out.cx,
                         .dst = dst,
                         .dstStride = stride};
  for (int k = 0; k < columns.lineCount; ++k) columns.lines[k] = UnreducedLine(reducer, reducer.unreducedFirst + k);
  kernels.reduceColumns[reducer.channels - 1](columns);
  reducer.unreducedFirst += columns.lineCount;
  reducer.unreducedCount -= columns.lineCount;
  if (reducer.unreducedCount == 0) reducer.unreducedFirst = 0;
  return columns.lineCount;
}

// Whether another line can be added to those that wait to be filtered along.
bool HasRoomAlong(Reducer const& reducer) { return reducer.unreducedFirst + reducer.unreducedCount < linesAtOnce; }

}  // namespace

void PlanReducer(Reducer& reducer, int channels, Cubic cubic, int cxIn, int cyIn, int cxOut, int cyOut, Arena& arena) {
  reducer.channels = channels;
  reducer.reducesLines = IsBeyondFourTaps(cyIn, cyOut);
  reducer.reducesColumns = IsBeyondFourTaps(cxIn, cxOut);
  reducer.lines = reducer.reducesLines ? ReductionOf(cyIn, cyOut, cubic) : Unreduced(cyIn);
  reducer.columns = reducer.reducesColumns ? ReductionOf(cxIn, cxOut, cubic) : Unreduced(cxIn);
  reducer.levelCount = std::max(reducer.lines.halvings, reducer.columns.halvings);
  reducer.in = {0, 0, cxIn, cyIn};
  for (int level = 0; level < reducer.levelCount; ++level) {
    for (unsigned char*& line : reducer.levels[level].waiting) {
      line = arena.Take<unsigned char>(static_cast<int64_t>(BytesAt(reducer, level)) + slackBytes);
    }
  }
  auto const bytes = static_cast<int64_t>(BytesAt(reducer, reducer.levelCount));
  if (reducer.reducesLines) {
    reducer.ringStride = bytes + slackBytes;
    reducer.ring = arena.Take<unsigned char>(Reducer::ringLines * reducer.ringStride);
  }
  if (reducer.reducesColumns) {
    reducer.unreducedStride = bytes + int64_t{2} * mostTaps * channels + slackBytes;
    reducer.unreduced = arena.Take<unsigned char>(linesAtOnce * reducer.unreducedStride);
    reducer.firsts = arena.Take<int32_t>(cxOut);
    reducer.taps = arena.Take<signed char>(int64_t{cxOut} * mostTaps);
  }
}

void FillTables(Reducer& reducer) {
  if (!reducer.reducesColumns) return;
  reducer.eightTaps = true;
  for (int x = 0; x < reducer.columns.nOut; ++x) {
    TapSpan const span = SpanOf(reducer.columns, x);
    if (span.count > 8) reducer.eightTaps = false;
    signed char* const taps = reducer.taps + ptrdiff_t{x} * mostTaps;
    ComputeTaps(reducer.columns, x, span, taps);
    std::fill(taps + span.count, taps + mostTaps, static_cast<signed char>(0));
    reducer.firsts[x] = span.first;
  }
}

PixelRect SourceOf(Reducer const& reducer, PixelRect const& out) {
  PixelRect in = out;
  if (reducer.reducesLines) {
    SampleSpan const lines = SamplesNeeded(reducer.lines, out.y, out.y + out.cy - 1);
    in.y = lines.first;
    in.cy = lines.end - lines.first;
  }
  if (reducer.reducesColumns) {
    SampleSpan const columns = SamplesNeeded(reducer.columns, out.x, out.x + out.cx - 1);
    in.x = columns.first;
    in.cx = columns.end - columns.first;
  }
  return in;
}

void StartReducer(Reducer& reducer, PixelRect const& out) {
  reducer.out = out;
  reducer.in = SourceOf(reducer, out);
  reducer.firstColumn = reducer.in.x >> reducer.columns.halvings;
  reducer.columnCount = ColumnsAt(reducer, reducer.levelCount);
  reducer.nextLine = reducer.in.y;
  reducer.nextBlock = reducer.in.y >> reducer.lines.halvings;
  reducer.nextFiltered = out.y;
  reducer.unreducedFirst = reducer.unreducedCount = 0;
  for (Reducer::Level& level : reducer.levels) level.count = 0;
}

int TakeLines(Reducer& reducer, ReducingKernels const& kernels, unsigned char const* lines, ptrdiff_t stride,
              int lineCount) {
  int taken = 0;
  while (taken < lineCount && !FiltersNext(reducer) && (reducer.reducesLines || HasRoomAlong(reducer))) {
    int const count = TakeFew(reducer, kernels, lines + taken * stride, stride, lineCount - taken);
    taken += count;
    reducer.nextLine += count;
    if (reducer.nextLine == reducer.lines.nIn) CompletePairs(reducer, kernels);
  }
  return taken;
}

int MakeLines(Reducer& reducer, ReducingKernels const& kernels, unsigned char* dst, ptrdiff_t stride, int room) {
  int made = 0;
  if (!reducer.reducesColumns) {
    for (; made < room && FiltersNext(reducer); ++made) {
      FilterDown(reducer, kernels, reducer.nextFiltered++, dst + made * stride);
    }
    return made;
  }
  while (HasRoomAlong(reducer) && FiltersNext(reducer)) {
    unsigned char* const line = UnreducedLine(reducer, reducer.unreducedFirst + reducer.unreducedCount);
    FilterDown(reducer, kernels, reducer.nextFiltered++, line);
    RepeatEdges(reducer, line);
    ++reducer.unreducedCount;
  }
  bool const isLast = reducer.reducesLines ? reducer.nextFiltered == reducer.out.y + reducer.out.cy
                                           : reducer.nextLine == reducer.in.y + reducer.in.cy;
  if (reducer.unreducedCount == 0 || (HasRoomAlong(reducer) && !isLast)) return 0;
  return FilterAlong(reducer, kernels, dst, stride, room);
}

}  // namespace fourtap
