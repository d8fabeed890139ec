// The coefficient table, from its formula to the vectors that a context holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "OwnedContext.h"
#include "core/FilterCoefs.h"

namespace {

short const table[16][4] = {{14, 36, 14, 0}, {13, 35, 16, 0}, {11, 35, 18, 0}, {9, 35, 20, 0},
                            {8, 34, 21, 1},  {6, 33, 24, 1},  {5, 32, 25, 2},  {4, 30, 28, 2},
                            {3, 29, 29, 3},  {2, 28, 30, 4},  {2, 25, 32, 5},  {1, 24, 33, 6},
                            {1, 21, 34, 8},  {0, 20, 35, 9},  {0, 18, 35, 11}, {0, 16, 35, 13}};

template <int lanes, class Vector>
bool AllLanesAre(Vector const& vector, short value) {
  short lane[lanes];
  static_assert(sizeof lane == sizeof vector);
  std::memcpy(lane, &vector, sizeof lane);
  return std::all_of(lane, lane + lanes, [value](short each) { return each == value; });
}

TEST(Coefs, EveryContextHoldsTheTable) {
  ContextSizes const sizes[] = {{100, 50, 40, 20, 8}, {1, 1, 1, 1, 24}, {3, 4000, 4000, 3, 32}, {0, 0, 0, 0, 16}};
  for (ContextSizes const& size : sizes) {
    OwnedContext const context = MakeContext(size);
    ASSERT_TRUE(context);
    EXPECT_EQ(std::memcmp(context->horzCoef, table, sizeof table), 0);
    EXPECT_EQ(std::memcmp(context->vertCoef, table, sizeof table), 0);
    for (int phase = 0; phase < 16; ++phase) {
      for (int tap = 0; tap < 4; ++tap) {
        EXPECT_TRUE(AllLanesAre<4>(context->horzCoef_mmx[phase][tap], table[phase][tap])) << phase << ' ' << tap;
        EXPECT_TRUE(AllLanesAre<8>(context->horzCoef_sse2[phase][tap], table[phase][tap])) << phase << ' ' << tap;
      }
    }
  }
}

TEST(Coefs, RoundingTakesHalvesAwayFromZeroAndKeeps16Bits) {
  struct {
    double value;
    int rounded;
  } const cases[] = {{2.5, 3},   {-2.5, -3},  {-0.2, 0},        {0.49, 0},       {0.5, 1},
                     {-0.5, -1}, {35.67, 36}, {32767.4, 32767}, {40000, -25536}, {65536.5, 1}};
  for (auto const& each : cases) EXPECT_EQ(fourtap::RoundToShort(each.value), each.rounded) << each.value;
}

TEST(Coefs, WeightsEndAtTheWindowsEdge) {
  EXPECT_EQ(fourtap::FilterWeight(1, 0.0), 1.0);
  EXPECT_EQ(fourtap::FilterWeight(1, 1.0), 0.0);
  EXPECT_EQ(fourtap::FilterWeight(1, -1.0), 0.0);
  EXPECT_EQ(fourtap::FilterWeight(2, 2.0), 0.0);
  EXPECT_NEAR(fourtap::FilterWeight(1, 0.5), 0.405285, 1e-6);
  EXPECT_EQ(fourtap::FilterWeight(1, -0.5), fourtap::FilterWeight(1, 0.5));
  EXPECT_NEAR(fourtap::FilterWeight(2, 0.5), 0.573159, 1e-6);
}

}  // namespace
