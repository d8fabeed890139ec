// What the packed scalers require to be even: the report names expression, filter and layout, in release builds too.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OwnedContext.h"
#include "conformance/Variants.h"

namespace {

struct Case {
  int cxIn, cxOut, xDest, cxDest;
  char const* odd;  // the first one that is
};

Case const cases[] = {
    {13, 21, 1, 5, "cxIn"}, {12, 21, 1, 5, "cxOut"}, {12, 20, 1, 5, "xDest"}, {12, 20, 2, 5, "cxDest"},
    {13, 20, 2, 6, "cxIn"}, {12, 21, 2, 6, "cxOut"}, {12, 20, 1, 6, "xDest"}, {13, 13, 0, 4, "cxIn"},
};

void Scale(conformance::Variant const& variant, Case const& sizes, int cyIn, int cyOut, int cyDest) {
  OwnedContext const context = MakeContext({sizes.cxIn, cyIn, sizes.cxOut, cyOut, 16});
  std::vector<unsigned char> const source(static_cast<size_t>(2 * sizes.cxIn * cyIn));
  std::vector<unsigned char> output(64 * 32);
  variant.frame(context.get(), source.data(), 2 * sizes.cxIn, output.data(), 64, sizes.xDest, 0, sizes.cxDest, cyDest);
}

// Of the filters that a set brings along, the one whose block is full first.
std::string FirstFilter(conformance::Set const& set, int cyDest) {
  if (set.blockLines == 1) return "FourTapHorzFilterLines_[a-z0-9]+";
  std::string const name = set.name;
  if (set.blockLines == 8 && cyDest >= 8) return "FourTapHorzFilter8Lines_" + name;
  return cyDest >= 4 && name != "c" ? "FourTapHorzFilter4Lines_mmx" : "FourTapHorzFilterLine_c";
}

std::vector<conformance::Variant> PackedVariants() {
  std::vector<conformance::Variant> packed;
  for (conformance::Variant const& variant : conformance::Variants()) {
    if (conformance::Traits(variant.layout).pairs && variant.set->runnable) packed.push_back(variant);
  }
  return packed;
}

TEST(PairAssertions, NameTheFirstOddNumber) {
  for (conformance::Variant const& variant : PackedVariants()) {
    std::string const file = std::string(conformance::Traits(variant.layout).name) + "Scale";
    for (Case const& sizes : cases) {
      for (int const cyDest : {9, 8, 7, 4, 3, 1}) {
        std::string const filter = FirstFilter(*variant.set, cyDest);
        std::string const report = file + ".*" + filter + ".*\\(" + sizes.odd + " & 1\\) == 0";
        EXPECT_DEATH(Scale(variant, sizes, 16, 16, cyDest), report);
        if (sizes.cxIn != sizes.cxOut) {
          EXPECT_DEATH(Scale(variant, sizes, 20, 16, cyDest), report);
        }
      }
    }
  }
}

// Without a horizontal pass, without lines, without columns; and with all even.
TEST(PairAssertions, AskForNothingElse) {
  for (conformance::Variant const& variant : PackedVariants()) {
    Scale(variant, {13, 13, 1, 5, ""}, 16, 9, 9);
    Scale(variant, {13, 21, 1, 5, ""}, 16, 16, 0);
    Scale(variant, {13, 21, 1, 0, ""}, 16, 9, 9);
    Scale(variant, {12, 20, 2, 6, ""}, 16, 9, 9);
  }
}

}  // namespace
