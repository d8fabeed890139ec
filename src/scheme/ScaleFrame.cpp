// Whole frames, and rectangles of them.
#include <mmintrin.h>

#include <algorithm>
#include <cstddef>

#include "core/SourceStepping.h"
#include "scheme/LineBlock.h"

namespace fourtap {

namespace {

// Source lines as a call lists them: those that it needs, for a table that may hold more.
struct ListedLines {
  unsigned char const* src;  // source line yOrigin
  int srcStride;
  int yOrigin;

  unsigned char const* At(int line) const { return src + ptrdiff_t{line - yOrigin} * srcStride; }
};

// Entry e of the table stands for source line e - 1. Fills entries firstEntry to lastEntry: lines before firstLine with
// that one, lines behind lastLine with that one.
void FillSourceLines(_SCALE_CONTEXT& context, ListedLines const& listed, int firstLine, int lastLine, int firstEntry,
                     int lastEntry) {
  unsigned char const** const lines = context.srcLines + 1;
  int line = firstEntry - 1;
  for (; line < firstLine; ++line) lines[line] = listed.At(firstLine);
  unsigned char const* const first = listed.At(line);
  int const count = std::min(lastEntry - 1, lastLine) - line + 1;
  for (ptrdiff_t i = 0; i < count; ++i) lines[line + i] = first + i * listed.srcStride;
  for (line += count; line < lastEntry; ++line) lines[line] = listed.At(lastLine);
}

}  // namespace

void ScaleFrame(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* src, int srcStride,
                unsigned char* dst, int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  if (cxDest <= 0 || cyDest <= 0) return;
  HorzRange const range = RangeOfCall(scaler, context, xDest, cxDest, context.xOrigin);
  ListedLines const listed{src, srcStride, context.yOrigin};
  if (context.cyIn == context.cyOut) {
    ScaleSourceLines(scaler, context, range, listed.At(yDest), srcStride, dst, dstStride, cyDest);
    return;
  }
  int const firstEntry = SourcePosition(context.cyIn, context.cyOut, yDest);
  int const lastEntry = SourcePosition(context.cyIn, context.cyOut, yDest + cyDest - 1) + 3;
  // Of a part of the source nothing is known but what the call needs.
  int const lastLine = context.cyIn - 1;
  int const firstNeeded = context.holdsPart ? std::max(firstEntry - 1, 0) : 0;
  int const lastNeeded = context.holdsPart ? std::min(lastEntry - 1, lastLine) : lastLine;
  if (scaler.fillsWholeTable) {
    FillSourceLines(context, listed, firstNeeded, lastNeeded, 0, context.cyIn + 2);
  } else {
    FillSourceLines(context, listed, firstNeeded, lastNeeded, firstEntry, lastEntry);
  }
  LineBlock block = StartBlock(dst, dstStride, 0);
  ScaleLines(scaler, context, range, yDest, cyDest, -1, lastEntry + 1, block);
  FlushLines(scaler, context, range, block);
  _mm_empty();
}

}  // namespace fourtap
