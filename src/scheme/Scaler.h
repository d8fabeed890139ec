// What a layout and an instruction set bring to the scheme that all scalers share, and that scheme's entrances.
#pragma once

#include "core/HorzRange.h"
#include "core/ScaleContext.h"
#include "filters/VertFilter.h"

namespace fourtap {

// Filters lines horizontally into as many destination lines. Each line pointer stands at the first real byte.
typedef void HorzScaleBlock(_SCALE_CONTEXT&, unsigned char** lines, HorzRange const&, unsigned char* dst,
                            int dstStride);
typedef void HorzScaleLines(_SCALE_CONTEXT&, unsigned char** lines, int lineCount, HorzRange const&, unsigned char* dst,
                            int dstStride);

struct BlockPass {
  int lineCount;  // 0: no such pass
  HorzScaleBlock* scale;
};

struct Scaler {
  int bytesPerPixel;
  NeededRange* neededRange;
  VertFilterLines* filterVertically;
  BlockPass passes[2];            // widest first; lines are collected into blocks of the first one's size
  HorzScaleLines* scaleLines;     // what the blocks leave over: intermediate lines, which it may extend in place
  HorzScaleLines* scaleSrcLines;  // the same for source lines, which are never written
  bool writesAtOnce;  // progressive calls send on all they have filtered; intermediate lines are the wide ones
};

// The two scaler types of the public header, for any layout and instruction set.
void ScaleFrame(Scaler const&, _SCALE_CONTEXT&, unsigned char const* src, int srcStride, unsigned char* dst,
                int dstStride, int xDest, int yDest, int cxDest, int cyDest);
void ScaleSlice(Scaler const&, _SCALE_CONTEXT&, unsigned char const* src, int srcStride, int cySlice,
                unsigned char* dst, int dstStride, int& cyWritten);

}  // namespace fourtap
