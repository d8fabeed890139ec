// What a layout and an instruction set bring to the scheme that all scalers share, and that scheme's entrances.
#pragma once

#include "core/HorzRange.h"
#include "core/ScaleContext.h"
#include "filters/VertFilter.h"

namespace fourtap {

// What filters lines horizontally into as many destination lines. Each line pointer stands at the first real byte.
//   comingLine  the source line that the next block begins to need, to be fetched ahead, or null
typedef void HorzScaleBlock(_SCALE_CONTEXT&, unsigned char const* const* lines, HorzRange const&,
                            unsigned char const* comingLine, unsigned char* dst, int dstStride);
typedef void HorzScaleLines(_SCALE_CONTEXT&, unsigned char* const* lines, int lineCount, HorzRange const&,
                            unsigned char* dst, int dstStride);
typedef void HorzScaleSrcLines(_SCALE_CONTEXT&, unsigned char const* const* lines, int lineCount, HorzRange const&,
                               unsigned char* dst, int dstStride);

struct BlockPass {
  int lineCount;  // 0: no such pass
  HorzScaleBlock* scale;
};

// Which lines of the context hold what is filtered vertically.
enum class IntermediateLines { temp, wide };

struct Scaler {
  int bytesPerPixel;
  NeededRange* neededRange;
  VertFilterLines* filterVertically;
  BlockPass passes[2];               // widest first; lines are collected into blocks of the first one's size
  HorzScaleLines* scaleLines;        // what the blocks leave over: intermediate lines, which it may extend in place
  HorzScaleSrcLines* scaleSrcLines;  // the same for source lines
  IntermediateLines intermediateLines;
  bool holdsLinesBack;   // progressive calls keep the lines of a block that is not full for the next call
  bool fillsWholeTable;  // frame calls fill the context's table of lines, not only with those that they need
};

// Whether the blocks of a scaler fit into the lines of a context.
constexpr bool FitsLines(Scaler const& scaler) {
  int const room = scaler.intermediateLines == IntermediateLines::temp ? mostBlockLines : wideBlockLines;
  return 0 < scaler.passes[0].lineCount && scaler.passes[0].lineCount <= room &&
         scaler.passes[1].lineCount < scaler.passes[0].lineCount;
}
static_assert(wideBlockLines <= mostBlockLines);

// How many lines leave a progressive call at a time while both sizes change.
constexpr int LinesAtATime(Scaler const& scaler) { return scaler.holdsLinesBack ? scaler.passes[0].lineCount : 1; }

// The two scaler types of the public header, for any layout and instruction set.
void ScaleFrame(Scaler const&, _SCALE_CONTEXT&, unsigned char const* src, int srcStride, unsigned char* dst,
                int dstStride, int xDest, int yDest, int cxDest, int cyDest);
void ScaleSlice(Scaler const&, _SCALE_CONTEXT&, unsigned char const* src, int srcStride, int cySlice,
                unsigned char* dst, int dstStride, int& cyWritten);

}  // namespace fourtap
