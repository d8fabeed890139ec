#include "scheme/LineBlock.h"

#include <cstddef>
#include <cstdint>

#include "core/SourceStepping.h"

namespace fourtap {

namespace {

// Source lines of larger pictures are fetched ahead. Smaller ones, down to 1 MiB, gain a little too, but as whole
// frames only: a slice does not know the line that comes next, and is to cost what the frame does.
int64_t const cachedPictureBytes = 6 << 20;

// Lines of one block, through the widest pass that they fill, if any. Returns how many are done.
int ScaleByWidestPass(Scaler const& scaler, _SCALE_CONTEXT& context, unsigned char const* const* lines, int lineCount,
                      HorzRange const& range, unsigned char const* comingLine, unsigned char* dst, int dstStride) {
  for (BlockPass const& pass : scaler.passes) {
    if (pass.lineCount == 0 || lineCount < pass.lineCount) continue;
    pass.scale(context, lines, range, comingLine, dst, dstStride);
    return pass.lineCount;
  }
  return 0;
}

void LineWritten(LineBlock& block, int lineCount) {
  block.dst += ptrdiff_t{lineCount} * block.dstStride;
  block.written += lineCount;
}

// Where only the height changes, so many lines are filtered by one call: neighbours share their source lines.
int const linesTogether = 2;
static_assert(linesTogether <= mostBlockLines);

// Filters the pending lines vertically, into the destination.
void WriteFiltered(Scaler const& scaler, HorzRange const& range, LineBlock& block) {
  unsigned char* lines[linesTogether];
  for (int k = 0; k < block.pending; ++k) lines[k] = block.dst + ptrdiff_t{k} * block.dstStride;
  scaler.filterVertically(block.taps, block.pending, range.srcByte, range.count, lines);
  LineWritten(block, block.pending);
  block.pending = 0;
}

unsigned char** LinesBetween(Scaler const& scaler, _SCALE_CONTEXT& context) {
  return scaler.intermediateLines == IntermediateLines::wide ? context.wideLines : context.tempLines;
}

}  // namespace

HorzRange RangeOfCall(Scaler const& scaler, _SCALE_CONTEXT const& context, int xDest, int cxDest, int xOrigin) {
  bool const horizontally = context.cxIn != context.cxOut || context.cyIn == context.cyOut;
  HorzRange range = horizontally ? scaler.neededRange(context, xDest, cxDest)
                                 : HorzRange{.xDest = xDest,
                                             .cxDest = cxDest,
                                             .firstByte = xDest * scaler.bytesPerPixel,
                                             .count = cxDest * scaler.bytesPerPixel};
  range.srcByte = range.firstByte - xOrigin * scaler.bytesPerPixel;
  return range;
}

int ScaleLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, SourceStepping& at, int cyDest,
               int firstLine, int entryCount, LineBlock& block) {
  bool const horizontally = context.cxIn != context.cxOut;
  // An enlargement reads each source line several times, and hardly waits for it.
  bool const worthFetching = context.cyIn > context.cyOut && int64_t{context.cyIn} * range.count > cachedPictureBytes;
  int done = 0;
  for (; done < cyDest; ++done, Step(at)) {
    int const firstTap = Position(at) - 1 - firstLine;
    if (firstTap + 4 > entryCount) break;
    VertTaps& taps = block.taps[block.pending];
    taps.lines = context.srcLines + firstTap;
    taps.coefs = context.vertCoef[Phase(at)];
    // Beside a horizontal pass these lines are hardly waited for.
    taps.comingLines = horizontally ? 0 : entryCount - firstTap - 4;
    ++block.pending;
    if (!horizontally) {
      if (block.pending == linesTogether) WriteFiltered(scaler, range, block);
    } else if (block.pending == scaler.passes[0].lineCount) {
      bool const fetches = worthFetching && firstTap + 4 < entryCount;
      FlushLines(scaler, context, range, block, fetches ? taps.lines[4] + range.srcByte : nullptr);
    }
  }
  if (!horizontally && block.pending > 0) WriteFiltered(scaler, range, block);
  return done;
}

void FilterPending(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, LineBlock& block) {
  if (block.filtered == block.pending) return;
  scaler.filterVertically(block.taps + block.filtered, block.pending - block.filtered, range.srcByte, range.count,
                          LinesBetween(scaler, context) + block.filtered);
  block.filtered = block.pending;
}

void FlushLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, LineBlock& block,
                unsigned char const* comingLine) {
  if (block.pending == 0) return;
  FilterPending(scaler, context, range, block);
  unsigned char** const lines = LinesBetween(scaler, context);
  int const done =
      ScaleByWidestPass(scaler, context, lines, block.pending, range, comingLine, block.dst, block.dstStride);
  if (done < block.pending) {
    scaler.scaleLines(context, lines + done, block.pending - done, range, block.dst + ptrdiff_t{done} * block.dstStride,
                      block.dstStride);
  }
  LineWritten(block, block.pending);
  block.pending = 0;
  block.filtered = 0;
}

void ScaleSourceLines(Scaler const& scaler, _SCALE_CONTEXT& context, HorzRange const& range, unsigned char const* src,
                      int srcStride, unsigned char* dst, int dstStride, int cyDest) {
  int const blockLines = scaler.passes[0].lineCount;
  for (int y = 0; y < cyDest; y += blockLines, dst += ptrdiff_t{blockLines} * dstStride) {
    unsigned char const* lines[mostBlockLines];
    int const lineCount = std::min(blockLines, cyDest - y);
    for (int k = 0; k < lineCount; ++k) lines[k] = src + ptrdiff_t{y + k} * srcStride + range.srcByte;
    int const done = ScaleByWidestPass(scaler, context, lines, lineCount, range, nullptr, dst, dstStride);
    if (done < lineCount) {
      scaler.scaleSrcLines(context, lines + done, lineCount - done, range, dst + ptrdiff_t{done} * dstStride,
                           dstStride);
    }
  }
}

}  // namespace fourtap
