// The two passes over a run of output lines: vertically from tap lines into the context's block of intermediate lines,
// horizontally from full blocks into the destination.
#pragma once

#include "scheme/Scaler.h"

namespace fourtap {

// Where output lines go, and how far they have come.
struct LineBlock {
  unsigned char* dst;  // the next line
  int dstStride;
  int pending;   // lines under way, at the start of the intermediate lines
  int filtered;  // so many of them are filtered vertically already
  int written;
  VertTaps taps[mostBlockLines];  // of each pending line that is not
};

// A block whose first `pending` lines an earlier call has filtered vertically. The taps stay as they are: lines that
// come one at a time would notice.
inline LineBlock StartBlock(unsigned char* dst, int dstStride, int pending) {
  LineBlock block;
  block.dst = dst;
  block.dstStride = dstStride;
  block.pending = block.filtered = pending;
  block.written = 0;
  return block;
}

// The columns of a call as the vertical pass sees them too: with equal widths there is no horizontal pass.
//   xOrigin  the source column at which lines begin as they are handed in
HorzRange RangeOfCall(Scaler const&, _SCALE_CONTEXT const&, int xDest, int cxDest, int xOrigin = 0);

// Filters output lines from the one at `at` on, at most cyDest, as long as their tap lines are in the context's table:
// it has entryCount entries, the first of which is input line firstLine. Returns how many; `at` is left behind them.
int ScaleLines(Scaler const&, _SCALE_CONTEXT&, HorzRange const&, SourceStepping& at, int cyDest, int firstLine,
               int entryCount, LineBlock&);

// Filters the pending lines vertically: what they come from may be gone when they are sent on.
void FilterPending(Scaler const&, _SCALE_CONTEXT&, HorzRange const&, LineBlock&);

// Sends the pending lines on.
//   comingLine  as in HorzScaleBlock
void FlushLines(Scaler const&, _SCALE_CONTEXT&, HorzRange const&, LineBlock&,
                unsigned char const* comingLine = nullptr);

// The horizontal pass alone, over cyDest source lines read in place.
void ScaleSourceLines(Scaler const&, _SCALE_CONTEXT&, HorzRange const&, unsigned char const* src, int srcStride,
                      unsigned char* dst, int dstStride, int cyDest);

}  // namespace fourtap
