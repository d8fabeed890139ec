// Progressive frames: every slicing gives the whole frame, line by line when it is due.
#include <gtest/gtest.h>

#include <map>

#include "Scaling.h"
#include "conformance/Cases.h"

namespace {

using conformance::Case;
using conformance::CaseOfSizes;
using conformance::Random;
using conformance::RunTrial;
using conformance::Sizes;
using conformance::Trial;

class Slices : public PerVariantTest {};

// Slicing number n of 2^(cy - 1): bit k set cuts behind line k.
std::vector<int> SlicingNumber(unsigned number, int cy) {
  std::vector<int> slices{1};
  for (int k = 0; k + 1 < cy; ++k) {
    if (number >> k & 1) slices.push_back(0);
    ++slices.back();
  }
  return slices;
}

TEST_P(Slices, EverySlicingOfSmallPictures) {
  for (int cyIn = 1; cyIn <= 7; ++cyIn) {
    for (unsigned number = 0; number < 1u << (cyIn - 1); ++number) {
      for (int const cyOut : {1, 2, 3, 5, 7, 9, 16, 25, 40}) {
        for (int const cxOut : {6, 10}) {
          Case what = CaseOfSizes(GetParam().layout, {6, cyIn, cxOut, cyOut}, number);
          what.slices[0] = SlicingNumber(number, cyIn);
          what.slices[0].insert(what.slices[0].end(), {0, 2});
          ASSERT_EQ(RunTrial(GetParam(), Trial(what)), "");
        }
      }
    }
  }
}

TEST_P(Slices, AllRatios) {
  for (int ratio = 1; ratio <= 40; ++ratio) {
    Random random(static_cast<uint64_t>(ratio));
    for (int times = 0; times < 8; ++times) {
      int const small = random.Between(1, 8);
      int const large = small * ratio + random.Between(0, 1);
      int const cxOther = 2 * random.Between(1, 20);
      for (Sizes const& sizes : {Sizes{4, large, cxOther, small}, Sizes{cxOther, small, 4, large}}) {
        Case what = CaseOfSizes(GetParam().layout, sizes, random.Next());
        what.slices[1] = conformance::RandomSlices(random, sizes.cyIn);
        ASSERT_EQ(RunTrial(GetParam(), Trial(what)), "");
      }
    }
  }
}

// Lines leave in blocks while both sizes change, and all that remain with the last slice; else as soon as they can.
TEST_P(Slices, LinesWrittenByEachCall) {
  struct {
    Sizes sizes;
    std::vector<int> slices;
    std::map<int, std::vector<int>> cyWritten;  // by lines in a block
  } const examples[] = {
      {{10, 11, 14, 17}, {4, 4, 3}, {{1, {4, 6, 7}}, {4, {4, 4, 9}}, {8, {0, 8, 9}}}},
      {{10, 64, 4, 6}, {62, 2}, {{1, {6, 0}}, {4, {4, 2}}, {8, {0, 6}}}},
      {{10, 11, 10, 17}, {4, 4, 3, 1}, {{1, {4, 6, 7, 0}}, {4, {4, 6, 7, 0}}, {8, {4, 6, 7, 0}}}},
      {{10, 11, 14, 11}, {4, 0, 4, 9, 1}, {{1, {4, 0, 4, 3, 0}}, {4, {4, 0, 4, 3, 0}}, {8, {4, 0, 4, 3, 0}}}},
      {{10, 2, 14, 9}, {1, 1}, {{1, {0, 9}}, {4, {0, 9}}, {8, {0, 9}}}},
  };
  for (auto const& example : examples) {
    Trial const trial(CaseOfSizes(GetParam().layout, example.sizes, 0));
    OwnedContext const context = MakeContext(GetParam().layout, example.sizes);
    std::vector<int> cyWritten;
    EXPECT_EQ(ScaleSlices(GetParam(), context.get(), example.sizes, trial.picture, example.slices, &cyWritten),
              trial.frame);
    EXPECT_EQ(cyWritten, example.cyWritten.at(GetParam().set->blockLines));
  }
}

// What FourTapScaleLinesNeeded promises, line by line: kept at once by scalers that hold nothing back.
class SlicesAtOnce : public PerVariantTest {};

TEST_P(SlicesAtOnce, LinesComeWithTheLastOneTheyNeed) {
  for (Sizes const& sizes : {Sizes{10, 11, 14, 17}, {10, 64, 4, 6}, {10, 2, 14, 9}, {10, 9, 10, 9}, {8, 90, 8, 7}}) {
    Trial const trial(CaseOfSizes(GetParam().layout, sizes, 0));
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    std::vector<int> const oneByOne(static_cast<size_t>(sizes.cyIn), 1);
    std::vector<int> cyWritten;
    ScaleSlices(GetParam(), context.get(), sizes, trial.picture, oneByOne, &cyWritten);
    std::vector<int> needed(static_cast<size_t>(sizes.cyIn));
    for (int line = 0; line < sizes.cyOut; ++line) {
      ++needed[static_cast<size_t>(FourTapScaleLinesNeeded(sizes.cyIn, sizes.cyOut, line)) - 1];
    }
    EXPECT_EQ(cyWritten, needed);
  }
}

FOR_EACH_VARIANT(Slices);
INSTANTIATE_TEST_SUITE_P(, SlicesAtOnce, testing::ValuesIn(VariantsThatHoldNothingBack()), VariantName);

}  // namespace
