// Whole frames, and rectangles of them.
#include <algorithm>
#include <cstddef>

#include "core/SourceStepping.h"
#include "scheme/LineBlock.h"

namespace fourtap {

namespace {

// The source as a call is handed it: from line yOrigin on.
struct SourceLines {
  unsigned char const* src;
  int srcStride;
  int yOrigin;

  unsigned char const* At(int line) const { return src + ptrdiff_t{line - yOrigin} * srcStride; }
};

// Entry e of the table is source line e - 1, the top line repeated above the picture and the bottom line below it.
void FillSourceLines(_SCALE_CONTEXT& context, SourceLines const& source, int firstEntry, int lastEntry) {
  unsigned char const** const lines = context.srcLines + 1;
  int const first = std::max(firstEntry - 1, 0);
  int const end = std::min(lastEntry, context.cyIn);
  unsigned char const* const firstLine = source.At(first);
  for (ptrdiff_t i = 0; i < end - first; ++i) lines[first + i] = firstLine + i * source.srcStride;
  if (firstEntry == 0) lines[-1] = firstLine;
  for (int line = context.cyIn; line < lastEntry; ++line) lines[line] = source.At(context.cyIn - 1);
}

// Of a part of the source there are the lines that a call needs, so the nearest of them stand for all others.
void FillAroundNeeded(_SCALE_CONTEXT& context, int firstEntry, int lastEntry) {
  unsigned char const** const entries = context.srcLines;
  std::fill(entries, entries + firstEntry, entries[firstEntry]);
  std::fill(entries + lastEntry + 1, entries + ptrdiff_t{context.cyIn} + 3, entries[lastEntry]);
}

}  // namespace

void ScaleFrame(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* src, int srcStride,
                unsigned char* dst, int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  if (cxDest <= 0 || cyDest <= 0) return;
  HorzRange const range = RangeOfCall(scaler, context, xDest, cxDest, context.xOrigin);
  SourceLines const source{src, srcStride, context.yOrigin};
  if (context.cyIn == context.cyOut) {
    ScaleSourceLines(scaler, context, range, source.At(yDest), srcStride, dst, dstStride, cyDest);
    return;
  }
  SourceStepping at = StartStepping(context.cyIn, context.cyOut, yDest);
  int const firstEntry = Position(at);
  int const lastEntry = SourcePosition(context.cyIn, context.cyOut, yDest + cyDest - 1) + 3;
  bool const fillsAll = scaler.fillsWholeTable && !context.holdsPart;
  FillSourceLines(context, source, fillsAll ? 0 : firstEntry, fillsAll ? context.cyIn + 2 : lastEntry);
  if (scaler.fillsWholeTable && context.holdsPart) FillAroundNeeded(context, firstEntry, lastEntry);
  LineBlock block = StartBlock(dst, dstStride, 0);
  ScaleLines(scaler, context, range, at, cyDest, -1, lastEntry + 1, block);
  FlushLines(scaler, context, range, block);
}

}  // namespace fourtap
