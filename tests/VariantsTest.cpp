// Every scaler against the model: sizes, rectangles, slicings, strides, alignments.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Scaling.h"
#include "conformance/Cases.h"
#include "core/ScaleContext.h"

namespace {

using conformance::Case;
using conformance::CaseOfSizes;
using conformance::RandomCase;
using conformance::RunTrial;
using conformance::Sizes;
using conformance::Trial;
using conformance::Variant;

#ifdef FOURTAP_SANITIZED
constexpr uint64_t randomCases = 1000;
#else
constexpr uint64_t randomCases = 20000;
#endif

class Variants : public PerVariantTest {
 protected:
  static std::string FaultOf(Case const& what) { return RunTrial(GetParam(), Trial(what)); }

  static Case CaseOf(Sizes const& sizes) {
    static uint64_t seed = 0;
    return CaseOfSizes(GetParam().layout, sizes, seed++);
  }

  static bool Fits(Sizes const& sizes) {
    return !conformance::Traits(GetParam().layout).pairs || !sizes.HorzPass() ||
           (sizes.cxIn % 2 == 0 && sizes.cxOut % 2 == 0);
  }
};

TEST_P(Variants, RandomCases) {
  for (uint64_t seed = 0; seed < randomCases; ++seed) {
    ASSERT_EQ(FaultOf(RandomCase(GetParam().layout, seed)), "");
  }
}

TEST_P(Variants, AllTinySizes) {
  for (int number = 0; number < 6 * 6 * 6 * 6; ++number) {
    Sizes const sizes{number % 6 + 1, number / 6 % 6 + 1, number / 36 % 6 + 1, number / 216 + 1};
    if (!Fits(sizes)) continue;
    ASSERT_EQ(FaultOf(CaseOf(sizes)), "");
  }
}

// Where the last tap falls beside the picture, or the last column beside a vector.
TEST_P(Variants, NearlyEqualWidths) {
  for (int n = 9; n <= 70; ++n) {
    for (int less = 1; less <= 8; ++less) {
      for (Sizes const& sizes : {Sizes{n, 9, n - less, 13}, Sizes{n - less, 9, n, 9}}) {
        if (!Fits(sizes)) continue;
        ASSERT_EQ(FaultOf(CaseOf(sizes)), "");
      }
    }
  }
}

// Wide lines, around the widths at which code cuts them into pieces.
TEST_P(Variants, WideLines) {
  for (int power = 64; power <= 2048; power *= 2) {
    for (int const beside : {-4, -2, -1, 0, 1, 2, 6}) {
      for (int const cxIn : {power / 3, power / 2, 2 * power, 6 * power}) {
        Sizes const sizes{cxIn & ~1, 9, power + beside, beside > 0 ? 9 : 13};
        if (!Fits(sizes)) continue;
        ASSERT_EQ(FaultOf(CaseOf(sizes)), "");
      }
    }
  }
}

TEST_P(Variants, PositionsBeyond31Bits) {
  for (Sizes const& sizes : {Sizes{4, 60000, 2, 50000}, Sizes{60000, 4, 50000, 3}, Sizes{50000, 2, 60000, 2}}) {
    Case what = CaseOf(sizes);
    what.rect = {sizes.cxOut - 2, sizes.cyOut - 2, 2, 2};
    what.slices[0] = {sizes.cyIn - sizes.cyIn / 3, sizes.cyIn / 3};
    ASSERT_EQ(FaultOf(what), "");
  }
}

// Nothing that was never written reaches the output.
TEST_P(Variants, ScratchMemoryDoesNotShow) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    Trial const trial(RandomCase(GetParam().layout, seed));
    Sizes const& sizes = trial.what.sizes;
    for (int const filling : {0x00, 0xff}) {
      OwnedContext const context = MakeContext(GetParam().layout, sizes);
      for (void* const buffer : {static_cast<void*>(context->tempBuf), static_cast<void*>(context->savedLineBuf),
                                 static_cast<void*>(context->colsIn_mmx), static_cast<void*>(context->colsOut_mmx),
                                 static_cast<void*>(context->colsIn_sse2), static_cast<void*>(context->colsOut_sse2)}) {
        std::memset(buffer, filling, malloc_usable_size(buffer));
      }
      ASSERT_EQ(ScaleFrame(GetParam(), context.get(), sizes, trial.picture), trial.frame) << "case " << seed;
      ASSERT_EQ(ScaleSlices(GetParam(), context.get(), sizes, trial.picture, {sizes.cyIn}), trial.frame)
          << "case " << seed;
    }
  }
}

// Frame by frame, any variant of a layout may use a context of that layout.
TEST_P(Variants, ContextServesOtherSetsToo) {
  for (uint64_t seed = 0; seed < 100; ++seed) {
    Trial const trial(RandomCase(GetParam().layout, seed));
    Sizes const& sizes = trial.what.sizes;
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    for (conformance::Set const& set : conformance::Sets()) {
      if (!set.runnable) continue;
      Variant const& other = conformance::VariantOf(GetParam().layout, set);
      for (Variant const& variant : {GetParam(), other}) {
        ASSERT_EQ(
            ScaleSlices(variant, context.get(), sizes, trial.picture, {sizes.cyIn / 2, sizes.cyIn - sizes.cyIn / 2}),
            trial.frame)
            << variant.set->name << " with " << other.set->name << ", case " << seed;
        ASSERT_EQ(ScaleFrame(variant, context.get(), sizes, trial.picture), trial.frame)
            << variant.set->name << " with " << other.set->name << ", case " << seed;
      }
    }
  }
}

TEST_P(Variants, WholeFrameLeavesProgressAlone) {
  for (uint64_t seed = 0; seed < 100; ++seed) {
    Trial const trial(RandomCase(GetParam().layout, seed));
    Sizes const& sizes = trial.what.sizes;
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    ScaleSlices(GetParam(), context.get(), sizes, trial.picture, {sizes.cyIn / 2});
    _SCALE_CONTEXT const before = *context;
    ASSERT_EQ(ScaleFrame(GetParam(), context.get(), sizes, trial.picture), trial.frame) << "case " << seed;
    ASSERT_EQ(context->cyInDone, before.cyInDone) << "case " << seed;
    ASSERT_EQ(context->cyOutDone, before.cyOutDone) << "case " << seed;
    ASSERT_TRUE(std::ranges::equal(context->savedLines, before.savedLines)) << "case " << seed;
  }
}

class VariantsInBlocks : public PerVariantTest {};

// The sets that wait for blocks list the whole picture's lines at every call, whatever it asks for; of a part, the
// nearest needed line in place of all others.
TEST_P(VariantsInBlocks, ListAllSourceLines) {
  int const bytesPerPixel = conformance::Traits(GetParam().layout).BytesPerPixel();
  for (Sizes const& sizes : {Sizes{6, 9, 10, 14}, {6, 14, 10, 9}, {6, 14, 6, 1}, {6, 1, 10, 5}}) {
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    int const stride = sizes.cxIn * bytesPerPixel, strideOut = sizes.cxOut * bytesPerPixel;
    int const y = sizes.cyOut / 2, first = FourTapScaleFirstLineNeeded(sizes.cyIn, sizes.cyOut, y);
    int const last = FourTapScaleLinesNeeded(sizes.cyIn, sizes.cyOut, y) - 1;
    std::vector<unsigned char> pictures[3], line(static_cast<std::size_t>(strideOut));
    int const noOrigins[][2] = {{-1, -1}, {-1, 3}, {3, -1}};
    for (std::size_t i = 0; i < 3; ++i) {
      pictures[i].resize(static_cast<std::size_t>(stride * sizes.cyIn));
      unsigned char const* const src = pictures[i].data();
      auto const expectLines = [&](unsigned char const* from, int firstListed, int lastListed) {
        GetParam().frame(context.get(), from, stride, line.data(), strideOut, 0, y, sizes.cxOut, 1);
        for (int entry = 0; entry < sizes.cyIn + 3; ++entry) {
          int const wanted = std::clamp(entry - 1, firstListed, lastListed);
          ASSERT_EQ(context->srcLines[entry] - src, wanted * stride) << "entry " << entry;
        }
      };
      FourTapScaleSourceOrigin(context.get(), 0, first);
      expectLines(src + first * stride, first, last);
      FourTapScaleSourceOrigin(context.get(), noOrigins[i][0], noOrigins[i][1]);
      expectLines(src, 0, sizes.cyIn - 1);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, VariantsInBlocks, testing::ValuesIn(VariantsThatHoldLinesBack()), VariantName);
FOR_EACH_VARIANT(Variants);

}  // namespace
