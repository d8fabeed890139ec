// What a context is made of, and for which sizes there is one.
#include <fourtapscale/FourTapScale.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>

#include "OwnedContext.h"
#include "ThisProcessor.h"

namespace {

bool IsAligned(void const* address) { return reinterpret_cast<uintptr_t>(address) % 16 == 0; }

TEST(Context, LaysItsBuffersOut) {
  struct {
    ContextSizes sizes;
    int slot;
  } const cases[] = {
      {{100, 50, 40, 20, 8}, 128}, {{100, 50, 40, 20, 24}, 336}, {{1, 1, 1, 1, 8}, 32}, {{9, 3, 5, 7, 16}, 48}};
  for (auto const& [sizes, slot] : cases) {
    OwnedContext const context = MakeContext(sizes);
    ASSERT_TRUE(context);
    EXPECT_TRUE(processor::StateIsClean());
    EXPECT_EQ(context->cxIn, sizes.cxIn);
    EXPECT_EQ(context->cyIn, sizes.cyIn);
    EXPECT_EQ(context->cxOut, sizes.cxOut);
    EXPECT_EQ(context->cyOut, sizes.cyOut);
    EXPECT_EQ(context->bitsPerPixel, sizes.bitsPerPixel);
    EXPECT_EQ(context->cyInDone, 0);
    EXPECT_EQ(context->cyOutDone, 0);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(context->tempLines[i] - context->tempBuf, 16 + i * slot);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(context->savedLines[i] - context->savedLineBuf, i * slot);
    void const* const vectors[] = {context.get(),        context->horzCoef_sse2, context->tempBuf,
                                   context->colsIn_sse2, context->colsOut_sse2,  context->colsIn_mmx,
                                   context->colsOut_mmx};
    for (void const* address : vectors) EXPECT_TRUE(IsAligned(address));
  }
}

TEST(Context, SizesOfZeroGiveAContext) {
  ContextSizes const cases[] = {{0, 9, 9, 9, 8}, {9, 0, 9, 9, 8}, {9, 9, 0, 9, 8},   {9, 9, 9, 0, 8},
                                {9, 9, 9, 9, 0}, {0, 0, 0, 0, 0}, {9, -3, 9, 9, 24}, {1, 1, 0, 0, 16}};
  for (ContextSizes const& sizes : cases) {
    EXPECT_TRUE(MakeContext(sizes)) << testing::PrintToString(&sizes - cases);
  }
}

TEST(Context, SizesBeyondCountingGiveNone) {
  ContextSizes const cases[] = {
      {9, -4, 9, 9, 8},         {9, INT_MIN, 9, 9, 8},    {9, INT_MAX, 9, 9, 8},     {9, INT_MAX - 2, 9, 9, 8},
      {-9, 9, 9, 9, 8},         {9, 9, -9, 9, 8},         {INT_MIN, 9, 9, 9, 32},    {9, 9, INT_MIN, 9, 32},
      {INT_MAX, 9, 9, 9, 8},    {715827880, 9, 9, 9, 24}, {536870911, 9, 9, 9, 32},  {1073741824, 9, 9, 9, 16},
      {9, 9, 715827883, 9, 24}, {9, 9, 536870912, 9, 32}, {9, 9, 1073741824, 9, 16}, {INT_MAX, 9, INT_MAX, 9, 32}};
  for (ContextSizes const& sizes : cases) {
    EXPECT_FALSE(MakeContext(sizes)) << testing::PrintToString(&sizes - cases);
    EXPECT_EQ(FourTapScaleContextBytes(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, sizes.bitsPerPixel), -1)
        << testing::PrintToString(&sizes - cases);
  }
}

// Only what a line takes matters, not the positions of its columns.
TEST(Context, LinesBelow2GiBAreWithinCounting) {
  for (int const cxOut : {1'400'000'000, 1'500'000'000, INT_MAX - 31}) {
    EXPECT_GT(FourTapScaleContextBytes(9, 9, cxOut, 9, 8), 24LL * cxOut) << cxOut;
  }
  EXPECT_EQ(FourTapScaleContextBytes(9, 9, INT_MAX - 30, 9, 8), -1);
}

TEST(Context, ResetClearsTheTwoCountersAlone) {
  OwnedContext const context = MakeContext({20, 10, 30, 15, 24});
  ASSERT_TRUE(context);
  unsigned char fresh[sizeof(_SCALE_CONTEXT)];
  std::memcpy(fresh, context.get(), sizeof fresh);
  context->cyInDone = 5;
  context->cyOutDone = 7;
  FourTapScaleProgressiveReset(context.get());
  EXPECT_EQ(std::memcmp(fresh, context.get(), sizeof fresh), 0);
}

TEST(Context, DoneTakesNull) { DoneScaleContext(nullptr); }

TEST(CpuDetect, FindsWhatEveryProcessorOfTheKindHas) { EXPECT_NE(cpuid_detect_accel(), 0); }

}  // namespace
