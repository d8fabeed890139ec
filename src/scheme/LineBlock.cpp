#include "scheme/LineBlock.h"

#include <cstddef>
#include <cstdint>

#include "core/SourceStepping.h"

namespace fourtap {

namespace {

int64_t const cachedPictureBytes = 6 << 20;

// Through the widest passes that the lines fill, then the rest.
void ScaleHorizontally(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char** lines, int lineCount,
                       HorzScaleLines* scaleRest, HorzRange const& range, unsigned char* dst, int dstStride) {
  for (BlockPass const& pass : scaler.passes) {
    if (pass.lineCount == 0 || lineCount < pass.lineCount) continue;
    pass.scale(context, lines, range, dst, dstStride);
    lines += pass.lineCount;
    lineCount -= pass.lineCount;
    dst += ptrdiff_t{pass.lineCount} * dstStride;
  }
  if (lineCount > 0) scaleRest(context, lines, lineCount, range, dst, dstStride);
}

void LineWritten(LineBlock& block, int lineCount) {
  block.dst += ptrdiff_t{lineCount} * block.dstStride;
  block.written += lineCount;
}

unsigned char** IntermediateLines(Scaler const& scaler, _SCALE_CONTEXT& context) {
  return scaler.writesAtOnce ? context.wideLines : context.tempLines;
}

}  // namespace

HorzRange RangeOfCall(Scaler const& scaler, _SCALE_CONTEXT const& context, int xDest, int cxDest) {
  if (context.cxIn != context.cxOut || context.cyIn == context.cyOut) {
    return scaler.neededRange(context, xDest, cxDest);
  }
  return {xDest, cxDest, xDest * scaler.bytesPerPixel, cxDest * scaler.bytesPerPixel, 0, 0, 0, 0};
}

int ScaleLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, int yDest, int cyDest,
               int firstLine, int entryCount, LineBlock& block) {
  SourceStepping at = StartStepping(context.cyIn, context.cyOut, yDest);
  bool const horizontally = context.cxIn != context.cxOut;
  // A reduction waits for its source, unless that stays in the second-level cache for the most part.
  bool const worthFetching = context.cyIn > context.cyOut && int64_t{context.cyIn} * range.count > cachedPictureBytes;
  int done = 0;
  for (; done < cyDest; ++done, Step(at)) {
    int const firstTap = Position(at) - 1 - firstLine;
    if (firstTap + 4 > entryCount) break;
    VertTaps& taps = block.taps[block.pending];
    taps.lines = context.srcLines + firstTap;
    taps.coefs = context.vertCoef[Phase(at)];
    if (!horizontally) {
      scaler.filterVertically(&taps, 1, range.firstByte, range.count, &block.dst);
      LineWritten(block, 1);
      continue;
    }
    if (++block.pending == scaler.passes[0].lineCount) {
      context.comingLine = worthFetching && firstTap + 4 < entryCount ? taps.lines[4] + range.firstByte : nullptr;
      FlushLines(scaler, context, range, block);
      context.comingLine = nullptr;
    }
  }
  return done;
}

void FilterPending(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, LineBlock& block) {
  scaler.filterVertically(block.taps + block.filtered, block.pending - block.filtered, range.firstByte, range.count,
                          IntermediateLines(scaler, context) + block.filtered);
  block.filtered = block.pending;
}

void FlushLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, LineBlock& block) {
  FilterPending(scaler, context, range, block);
  ScaleHorizontally(scaler, context, IntermediateLines(scaler, context), block.pending, scaler.scaleLines, range,
                    block.dst, block.dstStride);
  LineWritten(block, block.pending);
  block.pending = 0;
  block.filtered = 0;
}

void ScaleSourceLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, unsigned char const* src,
                      int srcStride, unsigned char* dst, int dstStride, int cyDest) {
  int const blockLines = scaler.passes[0].lineCount;
  for (int y = 0; y < cyDest; y += blockLines) {
    unsigned char* lines[8];
    int const lineCount = std::min(blockLines, cyDest - y);
    for (int k = 0; k < lineCount; ++k) {
      // The passes take intermediate lines too, hence the type; this one only reads.
      lines[k] = const_cast<unsigned char*>(src + ptrdiff_t{y + k} * srcStride + range.firstByte);
    }
    ScaleHorizontally(scaler, context, lines, lineCount, scaler.scaleSrcLines, range, dst + ptrdiff_t{y} * dstStride,
                      dstStride);
  }
}

}  // namespace fourtap
