// The wide sets: every scheme of windows and the way beyond the last one, at the ratios where one takes over from
// another.
#include <gtest/gtest.h>

#include <set>
#include <string_view>
#include <vector>

#include "Scaling.h"
#include "conformance/Cases.h"
#include "wide/GatherPlan.h"

namespace {

using namespace conformance;

class GatherTest : public PerVariantTest {
 protected:
  // What the variant makes of a picture in the context, against the model.
  void CheckFrame(_SCALE_CONTEXT* context, Sizes const& sizes) {
    Trial const trial(CaseOfSizes(GetParam().layout, sizes, 1));
    ASSERT_EQ(ScaleFrame(GetParam(), context, sizes, trial.picture), trial.frame)
        << sizes.cxIn << " to " << sizes.cxOut;
  }
};

TEST_P(GatherTest, EveryRatioAndScheme) {
  std::set<fourtap::GatherScheme const*> used;
  for (int const cxOut : {2, 10, 32, 64, 70, 130}) {
    // From 1:150 to 150:1, closer where windows end.
    for (int percent = 1; percent <= 15000; percent += percent < 1000 ? 7 : 500) {
      int const cxIn = (cxOut * percent / 100 + 1) & ~1;
      if (cxIn == 0 || cxIn == cxOut) continue;
      Sizes const sizes{cxIn, 3, cxOut, 5};
      OwnedContext const context = MakeContext(GetParam().layout, sizes);
      ASSERT_NO_FATAL_FAILURE(CheckFrame(context.get(), sizes));
      used.insert(context->gatherPlan->scheme);
    }
  }
  // The layout of widest pixels needs no more than the others' schemes at any ratio in AVX2.
  bool const reachesAll = GetParam().layout == Layout::rgb32 && GetParam().set == std::string_view("avx2");
  fourtap::GatherSet const& set =
      GetParam().set == std::string_view("avx2") ? fourtap::gatherSet_avx2 : fourtap::gatherSet_avx512;
  EXPECT_EQ(used.size(), set.schemeCount + (reachesAll ? 0 : 1));
}

TEST_P(GatherTest, LinesShorterThanAWindowInPlace) {
  for (int cxIn = 2; cxIn <= 130; cxIn += 2) {
    for (int const cxOut : {2, 18, 40, 66}) {
      Sizes const sizes{cxIn, 7, cxOut, 7};
      std::string const fault = RunTrial(GetParam(), Trial(CaseOfSizes(GetParam().layout, sizes, 2)));
      ASSERT_EQ(fault, "");
    }
  }
}

// Tables are kept for the next call of the same kind, and for no other.
TEST_P(GatherTest, OtherColumnsLayoutsAndSetsInOneContext) {
  Sizes const sizes{90, 11, 64, 9};
  OwnedContext const context = MakeContext(Layout::rgb32, sizes);
  for (int round = 0; round < 2; ++round) {
    for (Variant const& other : Variants()) {
      if (!Runnable(other.set)) continue;
      int const bytesPerPixel = Traits(other.layout).BytesPerPixel();
      Bytes const source(static_cast<std::size_t>(sizes.cxIn * sizes.cyIn * bytesPerPixel), 7);
      Bytes output(static_cast<std::size_t>(20 * sizes.cyOut * bytesPerPixel));
      other.frame(context.get(), source.data(), sizes.cxIn * bytesPerPixel, output.data(), 20 * bytesPerPixel,
                  4 * round, 0, 20, sizes.cyOut);
      ASSERT_NO_FATAL_FAILURE(CheckFrame(context.get(), sizes));
    }
  }
}

std::vector<Variant> GatheringVariants() {
  std::vector<Variant> gathering(Variants().begin(), Variants().end());
  std::erase_if(gathering, [](Variant const& variant) { return variant.blockLines != 1; });
  return gathering;
}

INSTANTIATE_TEST_SUITE_P(, GatherTest, testing::ValuesIn(GatheringVariants()), VariantName);

}  // namespace
