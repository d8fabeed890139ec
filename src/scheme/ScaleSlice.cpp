// Progressive frames: lines come in slices, output lines leave as soon as their taps are at hand.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "core/SourceStepping.h"
#include "scheme/LineBlock.h"

namespace fourtap {

namespace {

int LineBytes(Scaler const& scaler, _SCALE_CONTEXT const& context) { return context.cxIn * scaler.bytesPerPixel; }

// Fetches what the last lines are about to be copied to: after a slice of many lines it has left the first-level cache.
// Wider lines would drive out what is still needed.
void FetchSlots(Scaler const& scaler, _SCALE_CONTEXT const& context) {
  int const mostBytes = 4096;
  if (LineBytes(scaler, context) > mostBytes) return;
  for (unsigned char const* slot : context.savedLines) {
    for (int at = 0; at < LineBytes(scaler, context); at += 64) {
      __builtin_prefetch(slot + at);
    }
  }
}

void KeepLine(Scaler const& scaler, _SCALE_CONTEXT const& context, int slot, unsigned char const* line) {
  std::memcpy(context.savedLines[slot], line, static_cast<size_t>(LineBytes(scaler, context)));
}

// Makes savedLines hold the last three lines received, once the slice has come in. Lines kept before and still needed
// move by permuting the slots; only new ones are copied.
void KeepLastLines(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* src, int srcStride,
                   int cySlice) {
  int const kept = std::min(context.cyInDone, keptLines);
  int const added = std::min(cySlice, keptLines);
  int const still = std::min(kept, keptLines - added);
  for (int slot = 0; slot < still && kept > still; ++slot) {
    std::swap(context.savedLines[slot], context.savedLines[kept - still + slot]);
  }
  for (int i = 0; i < added; ++i) {
    KeepLine(scaler, context, still + i, src + ptrdiff_t{cySlice - added + i} * srcStride);
  }
}

// Fills the table with the kept lines, then the slice's; before the frame's first line stands that line again, and
// behind its last line that one twice. Returns the number of entries. The first one is input line FirstTableLine.
int FillTapLines(_SCALE_CONTEXT& context, unsigned char const* src, int srcStride, int cySlice, bool last) {
  unsigned char const** const table = context.srcLines;
  int const kept = std::min(context.cyInDone, 3);
  int count = 0;
  if (context.cyInDone < 3) table[count++] = kept > 0 ? context.savedLines[0] : src;
  for (int slot = 0; slot < kept; ++slot) table[count++] = context.savedLines[slot];
  for (int i = 0; i < cySlice; ++i) table[count++] = src + ptrdiff_t{i} * srcStride;
  if (last) {
    for (int i = 0; i < 2; ++i, ++count) table[count] = table[count - 1];
  }
  return count;
}

int FirstTableLine(_SCALE_CONTEXT const& context) { return context.cyInDone < 3 ? -1 : context.cyInDone - 3; }

}  // namespace

void ScaleSlice(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* src, int srcStride, int cySlice,
                unsigned char* dst, int dstStride, int& cyWritten) {
  cyWritten = 0;
  int const added = std::min(cySlice, context.cyIn - context.cyInDone);
  if (added <= 0 || context.cxOut <= 0 || context.cyOut <= 0) return;

  if (context.cyIn == context.cyOut) {
    HorzRange const range = RangeOfCall(scaler, context, 0, context.cxOut);
    ScaleSourceLines(scaler, context, range, src, srcStride, dst, dstStride, added);
    cyWritten = added;
    context.cyInDone += added;
    return;
  }

  bool const last = context.cyInDone + added == context.cyIn;
  int const lastTapLine = Position(context.nextLine) + 2;
  if (lastTapLine >= context.cyInDone + added && !last) {
    KeepLastLines(scaler, context, src, srcStride, added);
    context.cyInDone += added;
    return;
  }

  HorzRange const range = RangeOfCall(scaler, context, 0, context.cxOut);
  int const entryCount = FillTapLines(context, src, srcStride, added, last);
  bool const waited = context.cxIn != context.cxOut && scaler.holdsLinesBack;
  LineBlock block = StartBlock(dst, dstStride, waited ? context.cyOutDone % scaler.passes[0].lineCount : 0);
  context.cyOutDone += ScaleLines(scaler, context, range, context.nextLine, context.cyOut - context.cyOutDone,
                                  FirstTableLine(context), entryCount, block);
  if (!last && added > 3) FetchSlots(scaler, context);
  if (last || !scaler.holdsLinesBack) {
    FlushLines(scaler, context, range, block);
  } else {
    FilterPending(scaler, context, range, block);
  }
  if (!last) KeepLastLines(scaler, context, src, srcStride, added);
  cyWritten = block.written;
  context.cyInDone += added;
}

}  // namespace fourtap
