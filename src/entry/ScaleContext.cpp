#include "core/ScaleContext.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "core/FilterCoefs.h"
#include "core/SourceStepping.h"
#include "gathered/GatherPlan.h"

namespace {

// Bytes, or a column per byte, of a line of cx pixels.
int64_t LineBytes(int64_t cx, int bitsPerPixel) { return cx * bitsPerPixel >> 3; }

template <class Item>
Item* Allocate(int64_t count) {
  if (count > int64_t{PTRDIFF_MAX / sizeof(Item)}) return nullptr;
  // An empty buffer is a buffer: null stands for failure.
  size_t const bytes = std::max(static_cast<size_t>(count) * sizeof(Item), alignof(Item));
  // Vectors ask for 16 bytes, which malloc gives on most systems.
  bool constexpr isAligned = alignof(Item) <= alignof(std::max_align_t);
  return static_cast<Item*>(isAligned ? std::malloc(bytes) : std::aligned_alloc(alignof(Item), bytes));
}

// Counts of what the buffers hold, in 64 bits since the sizes are not checked yet.
struct BufferSizes {
  int64_t srcLines;
  int64_t slot;  // bytes of one line in tempBuf or savedLineBuf
  int64_t columnsIn;
  int64_t columnsOut;
  int64_t positions;
  int64_t gatherBytes;
};

BufferSizes SizesFor(int cxIn, int cyIn, int cxOut, int bitsPerPixel) {
  int64_t const columnsIn = LineBytes(int64_t{cxIn} + 6, bitsPerPixel);
  int64_t const columnsOut = LineBytes(cxOut, bitsPerPixel);
  return {int64_t{cyIn} + 3,
          (LineBytes(int64_t{cxIn} + 4, bitsPerPixel) + 31) & ~int64_t{15},
          columnsIn,
          columnsOut,
          int64_t{cxOut} + (int64_t{cxOut} + 1) / 2,
          fourtap::GatherBufBytes(columnsIn, columnsOut)};
}

// Whether buffers can have these sizes, and the scalers count such lines and bytes in an int.
bool FitScalers(BufferSizes const& sizes) {
  int64_t const most = INT_MAX - 31;
  for (int64_t size : {sizes.srcLines, sizes.slot, sizes.columnsIn, sizes.columnsOut}) {
    if (size < 0 || size > most) return false;
  }
  return true;
}

void FillPositions(int nIn, int nOut, uint64_t* positions) {
  if (nOut < 1) return;
  fourtap::SourceStepping at = fourtap::StartStepping(nIn, nOut, 0);
  for (int i = 0; i < nOut; ++i, fourtap::Step(at)) positions[i] = static_cast<uint64_t>(at.sixteenths);
}

// The taps of a phase, as they lie in memory. All contexts and both directions have the same: whoever makes the first
// context computes them, and if several do at once, to the same effect. No static of a function, since callers in C
// bring no run-time library that guards it.
std::atomic<uint64_t> tapsOfPhase[16];
std::atomic<bool> tapsAreThere;
static_assert(sizeof(uint64_t) == sizeof(short[4]) && std::atomic<uint64_t>::is_always_lock_free);

void ReadTaps(short (&coefs)[16][4]) {
  if (!tapsAreThere.load(std::memory_order_acquire)) {
    fourtap::ComputeFilterCoefs(1, coefs[0]);
    for (int phase = 0; phase < 16; ++phase) {
      uint64_t taps;
      std::memcpy(&taps, coefs[phase], sizeof taps);
      tapsOfPhase[phase].store(taps, std::memory_order_relaxed);
    }
    tapsAreThere.store(true, std::memory_order_release);
  }
  for (int phase = 0; phase < 16; ++phase) {
    uint64_t const taps = tapsOfPhase[phase].load(std::memory_order_relaxed);
    std::memcpy(coefs[phase], &taps, sizeof taps);
  }
}

void FillCoefs(_SCALE_CONTEXT& context) {
  ReadTaps(context.horzCoef);
  std::memcpy(context.vertCoef, context.horzCoef, sizeof context.vertCoef);
  for (int phase = 0; phase < 16; ++phase) {
    for (int tap = 0; tap < 4; ++tap) {
      short const coef = context.horzCoef[phase][tap];
      short const lanes[8] = {coef, coef, coef, coef, coef, coef, coef, coef};
      std::memcpy(&context.horzCoef_sse2[phase][tap], lanes, sizeof(FourTapColumnOf8));
      std::memcpy(&context.horzCoef_mmx[phase][tap], lanes, sizeof(FourTapColumnOf4));
    }
  }
}

bool AllocateBuffers(_SCALE_CONTEXT& context, BufferSizes const& sizes) {
  context.srcLines = Allocate<unsigned char const*>(sizes.srcLines);
  if (!context.srcLines) return false;
  context.tempBuf = Allocate<unsigned char>(fourtap::mostBlockLines * sizes.slot);
  if (!context.tempBuf) return false;
  for (int i = 0; i < fourtap::mostBlockLines; ++i) context.tempLines[i] = context.tempBuf + 16 + i * sizes.slot;
  context.savedLineBuf = Allocate<unsigned char>(fourtap::keptLines * sizes.slot);
  if (!context.savedLineBuf) return false;
  for (int i = 0; i < fourtap::keptLines; ++i) context.savedLines[i] = context.savedLineBuf + i * sizes.slot;
  context.colsIn_mmx = Allocate<FourTapColumnOf4>(sizes.columnsIn);
  context.colsOut_mmx = Allocate<FourTapColumnOf4>(sizes.columnsOut);
  context.colsIn_sse2 = Allocate<FourTapColumnOf8>(sizes.columnsIn);
  context.colsOut_sse2 = Allocate<FourTapColumnOf8>(sizes.columnsOut);
  if (!context.colsIn_mmx || !context.colsOut_mmx || !context.colsIn_sse2 || !context.colsOut_sse2) return false;
  context.horzPositions = Allocate<uint64_t>(sizes.positions);
  if (!context.horzPositions) return false;
  context.chromaPositions = context.horzPositions + context.cxOut;
  context.gatherBuf = Allocate<unsigned char>(sizes.gatherBytes);
  if (!context.gatherBuf) return false;
  fourtap::LayOutGatherBuf(context, sizes.columnsIn);
  return true;
}

}  // namespace

_SCALE_CONTEXT* InitScaleContext(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel) {
  BufferSizes const sizes = SizesFor(cxIn, cyIn, cxOut, bitsPerPixel);
  if (!FitScalers(sizes)) return nullptr;
  auto* context = Allocate<_SCALE_CONTEXT>(1);
  if (!context) return nullptr;
  std::memset(context, 0, sizeof *context);
  context->cxIn = cxIn;
  context->cyIn = cyIn;
  context->cxOut = cxOut;
  context->cyOut = cyOut;
  context->bitsPerPixel = bitsPerPixel;
  if (!AllocateBuffers(*context, sizes)) {
    DoneScaleContext(context);
    return nullptr;
  }
  FillCoefs(*context);
  FillPositions(cxIn, cxOut, context->horzPositions);
  FillPositions(cxIn / 2, cxOut / 2, context->chromaPositions);
  int const common = std::max(1, std::gcd(cxIn, cxOut));
  context->horzPeriod = cxOut / common;
  context->horzAdvance = cxIn / common;
  FourTapScaleProgressiveReset(context);
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
  std::free(context->gatherBuf);
  std::free(context);
}

void FourTapScaleSourceOrigin(_SCALE_CONTEXT* context, int x, int y) {
  context->holdsPart = x >= 0 && y >= 0;
  context->xOrigin = context->holdsPart ? x : 0;
  context->yOrigin = context->holdsPart ? y : 0;
}

void FourTapScaleProgressiveReset(_SCALE_CONTEXT* context) {
  context->cyInDone = 0;
  context->cyOutDone = 0;
  if (context->cyOut > 0) context->nextLine = fourtap::StartStepping(context->cyIn, context->cyOut, 0);
}

long long FourTapScaleContextBytes(int cxIn, int cyIn, int cxOut, int, int bitsPerPixel) {
  BufferSizes const sizes = SizesFor(cxIn, cyIn, cxOut, bitsPerPixel);
  if (!FitScalers(sizes)) return -1;
  int64_t const bytesPerColumn = sizeof(FourTapColumnOf4) + sizeof(FourTapColumnOf8);
  return int64_t{sizeof(_SCALE_CONTEXT)} + sizes.srcLines * int64_t{sizeof(unsigned char*)} +
         (fourtap::mostBlockLines + fourtap::keptLines) * sizes.slot +
         (sizes.columnsIn + sizes.columnsOut) * bytesPerColumn + sizes.positions * int64_t{sizeof(uint64_t)} +
         sizes.gatherBytes;
}
