// The wide sets: every scheme of windows and the way beyond the last one, at the ratios where one takes over from
// another.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "Scaling.h"
#include "conformance/Cases.h"
#include "gathered/GatherPlan.h"
#include "layouts/PixelLayout.h"

namespace {

using namespace conformance;

class Gather : public PerVariantTest {
 protected:
  // What the variant makes of a picture in the context, against the model.
  void CheckFrame(_SCALE_CONTEXT* context, Sizes const& sizes) {
    Trial const trial(CaseOfSizes(GetParam().layout, sizes, 1));
    ASSERT_EQ(ScaleFrame(GetParam(), context, sizes, trial.picture), trial.frame)
        << sizes.cxIn << " to " << sizes.cxOut;
  }
};

// Output widths, and sizes from 1:150 to 150:1 for each: closer where windows end, and those at which tables recur.
std::vector<Sizes> SizesOfAllRatios() {
  std::vector<int> percents{50, 75, 150, 200, 300};
  for (int percent = 1; percent <= 15000; percent += percent < 1000 ? 7 : 500) percents.push_back(percent);
  std::vector<Sizes> all;
  for (int const cxOut : {2, 10, 32, 64, 70, 130, 320}) {
    for (int const percent : percents) {
      int const cxIn = (cxOut * percent / 100 + 1) & ~1;
      if (cxIn != 0 && cxIn != cxOut) all.push_back({cxIn, 3, cxOut, 5});
    }
  }
  return all;
}

TEST_P(Gather, EveryRatio) {
  for (Sizes const& sizes : SizesOfAllRatios()) {
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    CheckFrame(context.get(), sizes);
    if (HasFatalFailure()) return;
  }
}

// Those of a set that the processor decides on, and those that every processor with the set has: when both run here,
// the latter are never chosen.
std::vector<fourtap::GatherSet> PartsOf(fourtap::GatherSet const& set) {
  fourtap::GatherScheme const* const end = set.schemes + set.schemeCount;
  fourtap::GatherScheme const* const always =
      std::find_if(set.schemes, end, [](fourtap::GatherScheme const& scheme) { return !scheme.runsHere; });
  std::vector<fourtap::GatherSet> parts;
  if (always != set.schemes && set.schemes->runsHere()) {
    parts.push_back({set.filterName, set.schemes, static_cast<std::size_t>(always - set.schemes)});
  }
  parts.push_back({set.filterName, always, static_cast<std::size_t>(end - always)});
  return parts;
}

std::vector<fourtap::GatherSet> AllParts() {
  std::vector<fourtap::GatherSet> all;
#define ADD_PARTS(with, set) \
  for (fourtap::GatherSet const& part : PartsOf(fourtap::gatherSet_##set)) all.push_back(part);
  FOURTAP_GATHERING_SETS(ADD_PARTS, )
#undef ADD_PARTS
  return all;
}

// No scheme is there for nothing, and the ratios above meet them all.
TEST(GatherSchemes, AllAreUsed) {
  for (fourtap::GatherSet const& set : AllParts()) {
    std::set<fourtap::GatherScheme const*> used;
    bool endsDiffer = false;
    for (Sizes const& sizes : SizesOfAllRatios()) {
      OwnedContext const context = MakeContext(Layout::RGB32, sizes);
      auto const plan = [&](fourtap::GatherLayout const& layout, fourtap::NeededRange* needed) {
        fourtap::GatherPlan const& made = fourtap::PlanGather(*context, set, layout, needed(*context, 0, sizes.cxOut));
        if (made.segmentCount == 0) used.insert(nullptr);
        for (int i = 0; i < made.segmentCount; ++i) {
          used.insert(made.segments[i].scheme);
          endsDiffer |= made.segments[i].scheme != made.segments[0].scheme;
        }
      };
      plan(fourtap::PixelLayout<1, 1>::gather, fourtap::PixelLayout<1, 1>::Needed);
      plan(fourtap::PixelLayout<3, 3>::gather, fourtap::PixelLayout<3, 3>::Needed);
    }
    EXPECT_EQ(used.size(), set.schemeCount + 1) << set.filterName;
    // Windows that are all alike reach the ends of a line wherever they reach its middle.
    bool const alike = std::all_of(set.schemes, set.schemes + set.schemeCount,
                                   [&](auto const& scheme) { return scheme.windowBytes == set.schemes->windowBytes; });
    EXPECT_EQ(endsDiffer, set.schemes->lastGroupEndsAtEnd && !alike) << set.filterName;
  }
}

TEST_P(Gather, LinesShorterThanAWindowInPlace) {
  for (int cxIn = 2; cxIn <= 130; cxIn += 2) {
    for (int const cxOut : {2, 18, 40, 66}) {
      Sizes const sizes{cxIn, 7, cxOut, 7};
      std::string const fault = RunTrial(GetParam(), Trial(CaseOfSizes(GetParam().layout, sizes, 2)));
      ASSERT_EQ(fault, "");
    }
  }
}

// Tables are kept for the next call of the same kind, and for no other.
TEST_P(Gather, OtherColumnsLayoutsAndSetsInOneContext) {
  Sizes const sizes{90, 11, 64, 9};
  OwnedContext const context = MakeContext(Layout::RGB32, sizes);
  for (Rect const& rect : {Rect{0, 0, 20, 9}, {4, 0, 20, 9}, {0, 0, 64, 9}}) {
    for (Variant const& other : Variants()) {
      if (!other.set->runnable) continue;
      int const bytesPerPixel = Traits(other.layout).BytesPerPixel();
      Bytes const source(static_cast<std::size_t>(sizes.cxIn * sizes.cyIn * bytesPerPixel), 7);
      Bytes output(static_cast<std::size_t>(rect.cx * rect.cy * bytesPerPixel));
      other.frame(context.get(), source.data(), sizes.cxIn * bytesPerPixel, output.data(), rect.cx * bytesPerPixel,
                  rect.x, rect.y, rect.cx, rect.cy);
      CheckFrame(context.get(), sizes);
      if (HasFatalFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, Gather, testing::ValuesIn(VariantsThatHoldNothingBack()), VariantName);

}  // namespace
