// What hosts can ask about lines, against what the scalers do: read, need, and write.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "Scaling.h"
#include "conformance/GuardedImage.h"

namespace {

using namespace conformance;

// One output line at a time, the other source lines behind protected pages.
TEST(Queries, LinesNeededAreAllThatIsRead) {
  int const cx = 4096;
  for (auto const& [cyIn, cyOut] : {std::pair{9, 14}, {14, 9}, {40, 3}, {2, 9}, {7, 7}, {1, 5}}) {
    OwnedContext const context = MakeContext({cx, cyIn, 2, cyOut, 8});
    GuardedImage const source(cx, cyIn, cx, Flush::start);
    unsigned char line[2];
    for (int y = 0; y < cyOut; ++y) {
      int const first = FourTapScaleFirstLineNeeded(cyIn, cyOut, y);
      int const end = FourTapScaleLinesNeeded(cyIn, cyOut, y);
      ASSERT_LE(0, first);
      ASSERT_LE(end, cyIn);
      ASSERT_LE(end - first, 4);
      source.AllowOnly(Access::read, first, end);
      FourTapScalePlane_c(context.get(), source.Top(), cx, line, 2, 0, y, 2, 1);
    }
  }
  EXPECT_EQ(FourTapScaleFirstLineNeeded(480, 270, 0), 0);
  EXPECT_EQ(FourTapScaleFirstLineNeeded(480, 270, 1), 1);
  EXPECT_EQ(FourTapScaleFirstLineNeeded(480, 270, 269), 477);
}

TEST(Queries, LinesNeededAreCountedBeyond31Bits) {
  EXPECT_EQ(FourTapScaleLinesNeeded(INT_MAX - 1, INT_MAX, INT_MAX - 1), INT_MAX - 1);
  EXPECT_EQ(FourTapScaleFirstLineNeeded(INT_MAX - 1, INT_MAX, INT_MAX - 1), INT_MAX - 3);
  EXPECT_EQ(FourTapScaleLinesNeeded(INT_MAX, INT_MAX - 1, INT_MAX - 2), INT_MAX);
  EXPECT_EQ(FourTapScaleLinesNeeded(INT_MAX, INT_MAX, INT_MAX - 1), INT_MAX);
  EXPECT_EQ(FourTapScaleMostLinesWritten(1, INT_MAX, 1), INT_MAX);
  EXPECT_EQ(FourTapScaleMostLinesWritten(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
}

TEST(Queries, PackedSourcesAreNeededInWholePairs) {
  struct {
    int cxIn, cxOut, xDest, cxDest, xSrc, cxSrc;
  } const cases[] = {{20, 20, 3, 4, 2, 6},  // the height alone changes
                     {21, 21, 3, 18, 2, 19},
                     {20, 30, 0, 30, 0, 20},
                     {20, 10, 4, 2, 6, 10}};
  for (auto const& each : cases) {
    int x, y, cx, cy;
    FourTapScaleSourceNeeded(FourTapLayoutXYXY, each.cxIn, 9, each.cxOut, 5, each.xDest, 0, each.cxDest, 5, x, y, cx,
                             cy);
    EXPECT_EQ(x, each.xSrc) << each.xDest;
    EXPECT_EQ(cx, each.cxSrc) << each.xDest;
  }
  int none[4] = {1, 1, 1, 1};
  FourTapScaleSourceNeeded(-1, 9, 9, 5, 5, 0, 0, 5, 5, none[0], none[1], none[2], none[3]);
  EXPECT_TRUE(std::ranges::all_of(none, [](int value) { return value == 0; }));
}

// The most that calls with slices of cySlice lines write, by the set that writes most, wherever in the frame they come.
int MostWritten(Sizes const& sizes, int cySlice) {
  int most = 0;
  for (Set const& set : Sets()) {
    for (int done = 0; done < sizes.cyIn; ++done) {
      int const after = ModelLinesWritten(sizes, set.blockLines, std::min(sizes.cyIn, done + cySlice));
      most = std::max(most, after - ModelLinesWritten(sizes, set.blockLines, done));
    }
  }
  return most;
}

TEST(Queries, NoCallWritesMoreLinesThanAreToldNorFarLess) {
  for (int cyIn = 1; cyIn <= 60; ++cyIn) {
    for (int cyOut = 1; cyOut <= 60; ++cyOut) {
      for (int cySlice = 0; cySlice <= cyIn + 2; ++cySlice) {
        int const told = FourTapScaleMostLinesWritten(cyIn, cyOut, cySlice);
        int const most = MostWritten({5, cyIn, 7, cyOut}, cySlice);
        ASSERT_LE(most, told) << cyIn << " to " << cyOut << " in slices of " << cySlice;
        ASSERT_LE(told, most + 8 + 2 * cyOut / cyIn) << cyIn << " to " << cyOut << " in slices of " << cySlice;
      }
    }
  }
}

}  // namespace
