// No call that scales takes memory.
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "Scaling.h"
#include "conformance/Cases.h"
#include "conformance/CountedAllocations.h"

namespace {

using conformance::RandomCase;
using conformance::Sizes;
using conformance::Trial;

class NoAllocation : public PerVariantTest {};

TEST_P(NoAllocation, OnlyTheContextTakesMemory) {
  for (uint64_t seed = 0; seed < 200; ++seed) {
    Trial trial(RandomCase(GetParam().layout, seed));
    Sizes const& sizes = trial.what.sizes;
    int const strideIn = static_cast<int>(trial.picture.size()) / sizes.cyIn;
    int const strideOut = static_cast<int>(trial.frame.size()) / sizes.cyOut;
    int const before = allocations;
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    int const withContext = allocations;
    EXPECT_GT(withContext, before);
    GetParam().frame(context.get(), trial.picture.data(), strideIn, trial.frame.data(), strideOut, 0, 0, sizes.cxOut,
                     sizes.cyOut);
    int cyWritten = 0;
    GetParam().slice(context.get(), trial.picture.data(), strideIn, sizes.cyIn, trial.frame.data(), strideOut,
                     cyWritten);
    EXPECT_EQ(allocations, withContext) << "case " << seed;
  }
}

FOR_EACH_VARIANT(NoAllocation);

// Reduced, enlarged and filtered line by line, with alpha and in pairs.
TEST(NoAllocationOfPictures, OnlyOpeningTakesMemory) {
  for (int const pixels : {+FOURTAP_RGB_ALPHA, +FOURTAP_XYXY}) {
    for (auto const& [cyIn, cyOut] : {std::pair{90, 20}, {40, 30}, {20, 90}}) {
      fourtap_rules const rules{pixels, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
      fourtap_picture* picture = nullptr;
      ASSERT_EQ(fourtap_picture_open(&picture, &rules, 80, cyIn, 20, cyOut), FOURTAP_OK);
      std::vector<unsigned char> const lines(4 * 80 * 90);
      std::vector<unsigned char> scaled(4 * 20 * 90);
      fourtap_source const source{lines.data(), lines.size(), 0};
      fourtap_target const target{scaled.data(), scaled.size(), 0};
      int const before = allocations;
      fourtap_status const atOnce = fourtap_picture_scale(picture, source, nullptr, target, nullptr);
      fourtap_picture_begin(picture, nullptr);
      int taken, written;
      fourtap_status const pushed = fourtap_picture_push(picture, source, cyIn, &taken, target, cyOut, &written);
      EXPECT_EQ(allocations, before);
      EXPECT_TRUE(atOnce == FOURTAP_OK && pushed == FOURTAP_OK && written == cyOut);
      fourtap_picture_close(picture);
    }
  }
}

}  // namespace
