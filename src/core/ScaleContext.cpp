#include "core/ScaleContext.h"

#include <emmintrin.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "core/FilterCoefs.h"
#include "core/SourceStepping.h"

namespace {

// malloc serves 16-byte alignment, which is all that the vector code asks of a buffer.
static_assert(alignof(std::max_align_t) >= alignof(FourTapColumnOf8));

// Bytes, or a column per byte, of a line of cx pixels.
int64_t LineBytes(int64_t cx, int bitsPerPixel) { return cx * bitsPerPixel >> 3; }

template <class Item>
Item* Allocate(int64_t count) {
  if (count < 0 || static_cast<uint64_t>(count) > PTRDIFF_MAX / sizeof(Item)) return nullptr;
  // An empty buffer is a buffer: null stands for failure.
  size_t const bytes = static_cast<size_t>(count) * sizeof(Item);
  return static_cast<Item*>(std::malloc(bytes ? bytes : 1));
}

// Whether the scalers can count the lines and bytes of such pictures in an int.
bool FitsScalers(int cxIn, int cyIn, int cxOut, int bitsPerPixel) {
  return cyIn <= INT_MAX - 3 && LineBytes(int64_t{cxIn} + 6, bitsPerPixel) <= INT_MAX - 31 &&
         LineBytes(cxOut, bitsPerPixel) <= INT_MAX;
}

void FillPositions(int nIn, int nOut, uint64_t* positions) {
  if (nOut < 1) return;
  fourtap::SourceStepping at = fourtap::StartStepping(nIn, nOut, 0);
  for (int i = 0; i < nOut; ++i, fourtap::Step(at)) positions[i] = static_cast<uint64_t>(at.sixteenths);
}

void FillCoefs(_SCALE_CONTEXT& context) {
  fourtap::ComputeFilterCoefs(1, context.horzCoef[0]);
  fourtap::ComputeFilterCoefs(1, context.vertCoef[0]);
  for (int phase = 0; phase < 16; ++phase) {
    for (int tap = 0; tap < 4; ++tap) {
      FourTapColumnOf8 const lanes = _mm_set1_epi16(context.horzCoef[phase][tap]);
      context.horzCoef_sse2[phase][tap] = lanes;
      context.horzCoef_mmx[phase][tap] = FourTapColumnOf4{lanes[0]};
    }
  }
}

bool AllocateBuffers(_SCALE_CONTEXT& context) {
  int64_t const slot = (LineBytes(int64_t{context.cxIn} + 4, context.bitsPerPixel) + 31) & ~int64_t{15};
  int64_t const columnsIn = LineBytes(int64_t{context.cxIn} + 6, context.bitsPerPixel);
  int64_t const columnsOut = LineBytes(context.cxOut, context.bitsPerPixel);
  int64_t const positions = int64_t{context.cxOut} + (int64_t{context.cxOut} + 1) / 2;

  context.srcLines = Allocate<unsigned char const*>(int64_t{context.cyIn} + 3);
  if (!context.srcLines) return false;
  context.tempBuf = Allocate<unsigned char>(8 * slot);
  if (!context.tempBuf) return false;
  for (int i = 0; i < 8; ++i) context.tempLines[i] = context.tempBuf + 16 + i * slot;
  context.savedLineBuf = Allocate<unsigned char>(3 * slot);
  if (!context.savedLineBuf) return false;
  for (int i = 0; i < 3; ++i) context.savedLines[i] = context.savedLineBuf + i * slot;
  context.colsIn_mmx = Allocate<FourTapColumnOf4>(columnsIn);
  context.colsOut_mmx = Allocate<FourTapColumnOf4>(columnsOut);
  context.colsIn_sse2 = Allocate<FourTapColumnOf8>(columnsIn);
  context.colsOut_sse2 = Allocate<FourTapColumnOf8>(columnsOut);
  if (!context.colsIn_mmx || !context.colsOut_mmx || !context.colsIn_sse2 || !context.colsOut_sse2) return false;
  context.horzPositions = Allocate<uint64_t>(positions);
  if (!context.horzPositions) return false;
  context.chromaPositions = context.horzPositions + context.cxOut;
  return true;
}

}  // namespace

_SCALE_CONTEXT* InitScaleContext(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel) {
  if (!FitsScalers(cxIn, cyIn, cxOut, bitsPerPixel)) return nullptr;
  auto* context = static_cast<_SCALE_CONTEXT*>(std::malloc(sizeof(_SCALE_CONTEXT)));
  if (!context) return nullptr;
  std::memset(context, 0, sizeof *context);
  context->cxIn = cxIn;
  context->cyIn = cyIn;
  context->cxOut = cxOut;
  context->cyOut = cyOut;
  context->bitsPerPixel = bitsPerPixel;
  if (!AllocateBuffers(*context)) {
    DoneScaleContext(context);
    return nullptr;
  }
  FillCoefs(*context);
  FillPositions(cxIn, cxOut, context->horzPositions);
  FillPositions(cxIn / 2, cxOut / 2, context->chromaPositions);
  context->onePhase = cxOut > 0 && cxIn % cxOut == 0;
  return context;
}

void DoneScaleContext(_SCALE_CONTEXT* context) {
  if (!context) return;
  std::free(context->srcLines);
  std::free(context->savedLineBuf);
  std::free(context->tempBuf);
  std::free(context->colsIn_mmx);
  std::free(context->colsOut_mmx);
  std::free(context->colsIn_sse2);
  std::free(context->colsOut_sse2);
  std::free(context->horzPositions);
  std::free(context);
}

void FourTapScaleProgressiveReset(_SCALE_CONTEXT* context) {
  context->cyInDone = 0;
  context->cyOutDone = 0;
}
