// Whole frames, and rectangles of them.
#include <mmintrin.h>

#include <algorithm>
#include <cstddef>

#include "core/SourceStepping.h"
#include "scheme/LineBlock.h"

namespace fourtap {

namespace {

// Entry e of the table is source line e - 1, the top line repeated above the picture and the bottom line below it.
void FillSourceLines(_SCALE_CONTEXT& context, unsigned char const* src, int srcStride, int firstEntry, int lastEntry) {
  unsigned char const** const lines = context.srcLines + 1;
  int const first = std::max(firstEntry - 1, 0);
  int const end = std::min(lastEntry, context.cyIn);
  for (ptrdiff_t line = first; line < end; ++line) lines[line] = src + line * srcStride;
  if (firstEntry == 0) lines[-1] = src;
  for (int line = context.cyIn; line < lastEntry; ++line) lines[line] = src + ptrdiff_t{context.cyIn - 1} * srcStride;
}

}  // namespace

void ScaleFrame(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* src, int srcStride,
                unsigned char* dst, int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  if (cxDest <= 0 || cyDest <= 0) return;
  HorzRange const range = RangeOfCall(scaler, context, xDest, cxDest);
  if (context.cyIn == context.cyOut) {
    ScaleSourceLines(scaler, context, range, src + ptrdiff_t{yDest} * srcStride, srcStride, dst, dstStride, cyDest);
    return;
  }
  int const firstEntry = SourcePosition(context.cyIn, context.cyOut, yDest);
  int const lastEntry = SourcePosition(context.cyIn, context.cyOut, yDest + cyDest - 1) + 3;
  if (scaler.fillsWholeTable) {
    FillSourceLines(context, src, srcStride, 0, context.cyIn + 2);
  } else {
    FillSourceLines(context, src, srcStride, firstEntry, lastEntry);
  }
  LineBlock block = StartBlock(dst, dstStride, 0);
  ScaleLines(scaler, context, range, yDest, cyDest, -1, lastEntry + 1, block);
  FlushLines(scaler, context, range, block);
  _mm_empty();
}

}  // namespace fourtap
