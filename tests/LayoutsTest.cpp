// What one layout's scalers say of another's, within each instruction set: pixels are made of planes.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "Scaling.h"
#include "conformance/Cases.h"

namespace {

using conformance::Bytes;
using conformance::Layout;
using conformance::RandomCase;
using conformance::Sizes;
using conformance::Trial;
using conformance::Variant;

constexpr uint64_t caseCount = 500;

// Every distance-th byte: a plane of the picture.
Bytes Plane(Bytes const& picture, std::size_t first, std::size_t distance) {
  Bytes plane;
  for (std::size_t i = first; i < picture.size(); i += distance) plane.push_back(picture[i]);
  return plane;
}

Bytes WithBytesSwapped(Bytes picture) {
  for (std::size_t i = 0; i + 1 < picture.size(); i += 2) std::swap(picture[i], picture[i + 1]);
  return picture;
}

// Once for each instruction set, which the plane's variant names.
class Layouts : public PerVariantTest {
 protected:
  // By this set's scalers of the layout; whole frame and slices agree.
  static Bytes Scale(Layout layout, Sizes const& sizes, Bytes const& picture) {
    Variant const& variant = conformance::VariantOf(layout, *GetParam().set);
    OwnedContext const context = MakeContext(layout, sizes);
    Bytes frame = ScaleFrame(variant, context.get(), sizes, picture);
    int const third = sizes.cyIn / 3;
    EXPECT_EQ(ScaleSlices(variant, context.get(), sizes, picture, {third, third, sizes.cyIn - 2 * third}), frame);
    return frame;
  }
};

TEST_P(Layouts, RgbChannelsArePlanes) {
  for (uint64_t seed = 0; seed < caseCount; ++seed) {
    Trial const trial(RandomCase(Layout::RGB32, seed));
    Sizes const& sizes = trial.what.sizes;
    Bytes picture24;
    for (std::size_t i = 0; i < trial.picture.size(); ++i) {
      if (i % 4 != 3) picture24.push_back(trial.picture[i]);
    }
    Bytes const output24 = Scale(Layout::RGB24, sizes, picture24);
    Bytes const output32 = Scale(Layout::RGB32, sizes, trial.picture);
    for (std::size_t channel = 0; channel < 3; ++channel) {
      Bytes const plane = Scale(Layout::Plane, sizes, Plane(trial.picture, channel, 4));
      ASSERT_EQ(Plane(output24, channel, 3), plane) << "case " << seed;
      ASSERT_EQ(Plane(output32, channel, 4), plane) << "case " << seed;
    }
    Bytes const fourth = Plane(trial.picture, 3, 4);
    Bytes const fourthOut = Plane(output32, 3, 4);
    ASSERT_EQ(fourthOut, sizes.HorzPass() ? Bytes(fourthOut.size()) : Scale(Layout::Plane, sizes, fourth))
        << "case " << seed;
  }
}

TEST_P(Layouts, LumaAndChromaArePlanes) {
  for (uint64_t seed = 0; seed < caseCount; ++seed) {
    Trial const trial(RandomCase(Layout::XYXY, seed));
    Sizes const& sizes = trial.what.sizes;
    Bytes const output = Scale(Layout::XYXY, sizes, trial.picture);
    ASSERT_EQ(Scale(Layout::YXYX, sizes, WithBytesSwapped(trial.picture)), WithBytesSwapped(output)) << "case " << seed;
    ASSERT_EQ(Plane(output, 1, 2), Scale(Layout::Plane, sizes, Plane(trial.picture, 1, 2))) << "case " << seed;
    if (sizes.cxIn % 2 != 0) continue;  // the height alone changes, and lines hold half a pair more
    Sizes const chromaSizes{sizes.cxIn / 2, sizes.cyIn, sizes.cxOut / 2, sizes.cyOut};
    for (std::size_t const component : {0u, 2u}) {
      ASSERT_EQ(Plane(output, component, 4), Scale(Layout::Plane, chromaSizes, Plane(trial.picture, component, 4)))
          << "case " << seed;
    }
  }
}

// Where the height alone changes, bytes are bytes.
TEST_P(Layouts, HeightAloneKnowsNoPixels) {
  for (int cx = 1; cx <= 40; ++cx) {
    for (Layout const layout : {Layout::RGB24, Layout::RGB32, Layout::XYXY, Layout::YXYX}) {
      Sizes const sizes{cx, 11, cx, cx % 2 ? 17 : 7};
      Bytes const picture = Trial(CaseOfSizes(layout, sizes, static_cast<uint64_t>(cx))).picture;
      int const cxBytes = cx * conformance::Traits(layout).BytesPerPixel();
      ASSERT_EQ(Scale(layout, sizes, picture),
                Scale(Layout::Plane, {cxBytes, sizes.cyIn, cxBytes, sizes.cyOut}, picture))
          << conformance::Traits(layout).name << ", " << cx << " pixels wide";
    }
  }
}

std::vector<Variant> PlaneVariants() {
  std::vector<Variant> planes;
  std::ranges::copy_if(conformance::Variants(), std::back_inserter(planes),
                       [](Variant const& variant) { return variant.layout == Layout::Plane; });
  return planes;
}

INSTANTIATE_TEST_SUITE_P(, Layouts, testing::ValuesIn(PlaneVariants()), VariantName);

}  // namespace
