// Plain calls of a variant, and tests that run once for each variant.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "OwnedContext.h"
#include "conformance/CaseText.h"
#include "conformance/Model.h"
#include "conformance/Variants.h"

namespace conformance {
inline void PrintTo(Variant const& variant, std::ostream* out) {
  *out << Traits(variant.layout).name << '_' << variant.set->name;
}
}  // namespace conformance

inline OwnedContext MakeContext(conformance::Layout layout, conformance::Sizes const& sizes) {
  return MakeContext({sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, conformance::Traits(layout).bitsPerPixel});
}

// Whole pictures, without gaps between their lines.
inline conformance::Bytes ScaleFrame(conformance::Variant const& variant, _SCALE_CONTEXT* context,
                                     conformance::Sizes const& sizes, conformance::Bytes const& picture) {
  int const bytesPerPixel = conformance::Traits(variant.layout).BytesPerPixel();
  int const strideOut = sizes.cxOut * bytesPerPixel;
  conformance::Bytes output(static_cast<std::size_t>(strideOut) * static_cast<std::size_t>(sizes.cyOut), 0x5a);
  variant.frame(context, picture.data(), sizes.cxIn * bytesPerPixel, output.data(), strideOut, 0, 0, sizes.cxOut,
                sizes.cyOut);
  return output;
}

// The same from slices, as a new frame. Tells the lines that each call has written, if asked.
inline conformance::Bytes ScaleSlices(conformance::Variant const& variant, _SCALE_CONTEXT* context,
                                      conformance::Sizes const& sizes, conformance::Bytes const& picture,
                                      std::vector<int> const& slices, std::vector<int>* cyWrittenByCall = nullptr) {
  int const bytesPerPixel = conformance::Traits(variant.layout).BytesPerPixel();
  int const strideIn = sizes.cxIn * bytesPerPixel;
  int const strideOut = sizes.cxOut * bytesPerPixel;
  conformance::Bytes output(static_cast<std::size_t>(strideOut) * static_cast<std::size_t>(sizes.cyOut), 0x5a);
  unsigned char const* from = picture.data();
  unsigned char* to = output.data();
  FourTapScaleProgressiveReset(context);
  for (int const cySlice : slices) {
    int cyWritten = -1;
    variant.slice(context, from, strideIn, cySlice, to, strideOut, cyWritten);
    from += std::ptrdiff_t{cySlice} * strideIn;
    to += std::ptrdiff_t{cyWritten} * strideOut;
    if (cyWrittenByCall) cyWrittenByCall->push_back(cyWritten);
  }
  return output;
}

inline void SkipUnlessRunnable(conformance::Set const& set) {
  if (!set.runnable) GTEST_SKIP() << "this processor has no " << set.name;
}

// A test of each variant that this processor can run. FOURTAP_CASE='layout=...', with what a report has in brackets,
// runs just that case instead of the test's own.
class PerVariantTest : public testing::TestWithParam<conformance::Variant> {
 protected:
  void SetUp() override {
    SkipUnlessRunnable(*GetParam().set);
    char const* const text = std::getenv("FOURTAP_CASE");
    if (!text || IsSkipped()) return;
    auto const what = conformance::CaseOfText(text);
    ASSERT_TRUE(what) << "FOURTAP_CASE is not as a report has it: " << text;
    if (what->layout == GetParam().layout) {
      EXPECT_EQ(conformance::RunTrial(GetParam(), conformance::Trial(*what)), "");
    }
    GTEST_SKIP() << "instead of the test, FOURTAP_CASE was run on its layout";
  }
};

inline std::string VariantName(testing::TestParamInfo<conformance::Variant> const& info) {
  return testing::PrintToString(info.param);
}

// Those of the wide sets.
inline std::vector<conformance::Variant> VariantsThatHoldNothingBack() {
  std::vector<conformance::Variant> variants(conformance::Variants().begin(), conformance::Variants().end());
  std::erase_if(variants, [](conformance::Variant const& variant) { return variant.set->blockLines != 1; });
  return variants;
}

inline std::vector<conformance::Variant> VariantsThatHoldLinesBack() {
  std::vector<conformance::Variant> variants(conformance::Variants().begin(), conformance::Variants().end());
  std::erase_if(variants, [](conformance::Variant const& variant) { return variant.set->blockLines == 1; });
  return variants;
}

#define FOR_EACH_VARIANT(Suite) \
  INSTANTIATE_TEST_SUITE_P(, Suite, testing::ValuesIn(conformance::Variants()), VariantName)
