// The picture scaler: against the model, case by case; that its trial finds faults; and what the model itself means.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <numeric>
#include <string>

#include "conformance/PictureCases.h"
#include "picture/AlphaChange.h"
#include "reduced/ReducingTaps.h"

namespace {

using namespace conformance;

class Pictures : public testing::TestWithParam<Set> {};

TEST_P(Pictures, GiveTheModelsBytes) {
  if (!GetParam().runnable) GTEST_SKIP() << GetParam().name << " is not on this processor";
  for (uint64_t seed = 10000; seed < 11000; ++seed) {
    ASSERT_EQ(RunPictureTrial(GetParam(), PictureTrial(RandomPictureCase(seed))), "");
  }
}

// Wide enough for the loops over whole registers, and high enough for many halvings.
TEST_P(Pictures, GiveTheModelsBytesWhereTheyAreLarge) {
  if (!GetParam().runnable) GTEST_SKIP() << GetParam().name << " is not on this processor";
  Sizes const all[] = {{1200, 40, 500, 9}, {1600, 20, 3, 20},  {20, 5000, 20, 2},
                       {900, 90, 88, 30},  {777, 333, 100, 1}, {40, 9000, 10, 12000}};
  for (int pixels : {FOURTAP_PLANE, FOURTAP_RGB24, FOURTAP_RGB32, FOURTAP_XYXY, FOURTAP_UV16, FOURTAP_RGBA32}) {
    for (Sizes sizes : all) {
      if (pixels == FOURTAP_XYXY)
        sizes = {sizes.cxIn + (sizes.cxIn & 1), sizes.cyIn, sizes.cxOut + (sizes.cxOut & 1), sizes.cyOut};
      PictureCase drawn{CaseOfSizes(static_cast<Layout>(pixels), sizes, 5), {}};
      drawn.rules.pixels = pixels;
      drawn.what.rect = {sizes.cxOut / 3 & ~1, sizes.cyOut / 3, (sizes.cxOut + 5) / 6 * 2, (sizes.cyOut + 2) / 3};
      if (drawn.what.rect.x + drawn.what.rect.cx > sizes.cxOut) drawn.what.rect = {0, 0, sizes.cxOut, sizes.cyOut};
      ASSERT_EQ(RunPictureTrial(GetParam(), PictureTrial(drawn)), "");
    }
  }
}

std::vector<Set> ChosenSets() {
  std::vector<Set> chosen;
  for (Set const& set : Sets()) {
    if (set.number != FourTapSetNone) chosen.push_back(set);
  }
  return chosen;
}
INSTANTIATE_TEST_SUITE_P(Sets, Pictures, testing::ValuesIn(ChosenSets()),
                         [](auto const& set) { return std::string(set.param.name); });

TEST(PictureTrial, FindsAByteThatIsWrong) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    PictureTrial trial(RandomPictureCase(seed));
    trial.scaled[static_cast<std::size_t>(seed * 7919) % trial.scaled.size()] ^= 1;
    EXPECT_NE(RunPictureTrial(ChosenSets()[0], trial).find("byte"), std::string::npos) << seed;
  }
}

std::vector<std::pair<fourtap::Cubic, int>> CubicsAndSizes() {
  std::vector<std::pair<fourtap::Cubic, int>> all;
  for (int const nOut : {1, 2, 3, 7, 100, 1001}) {
    for (auto const cubic : {fourtap::Cubic::crisp, fourtap::Cubic::gentle}) all.push_back({cubic, nOut});
  }
  return all;
}

// The bounds that kernels of 16-bit sums stand on, and that a filter has to keep: all taps give 128, few are below
// zero, no pair leaves a signed product, and the middle of what they weigh is the output sample's.
TEST(ReducingTaps, StayWithinWhatKernelsHold) {
  for (auto const& [cubic, nOut] : CubicsAndSizes()) {
    for (int nIn = 2 * nOut + 1; nIn <= 70 * nOut + 9; nIn += 1 + nIn / 37) {
      fourtap::Reduction const reduction = fourtap::ReductionOf(nIn, nOut, cubic);
      for (int i = 0; i < nOut; i += 1 + nOut / 50) {
        fourtap::TapSpan const span = fourtap::SpanOf(reduction, i);
        ASSERT_LE(span.count, fourtap::mostTaps);
        signed char taps[fourtap::mostTaps + 1] = {};
        fourtap::ComputeTaps(reduction, i, span, taps);
        int all = 0, below = 0;
        double middle = 0;
        for (int t = 0; t < span.count; ++t) {
          all += taps[t];
          below += taps[t] < 0 ? taps[t] : 0;
          middle += taps[t] * (span.first + t + 0.5) * std::exp2(reduction.halvings) / 128;
          ASSERT_LE(taps[t] + taps[t + 1], 128);
        }
        ASSERT_EQ(all, 128);
        ASSERT_GE(below, cubic == fourtap::Cubic::gentle ? 0 : -16) << nIn << " to " << nOut << ", sample " << i;
        double const distance = double{1} * nIn / nOut;
        ASSERT_NEAR(middle, (i + 0.5) * distance, 0.05 * distance) << nIn << " to " << nOut << ", sample " << i;
      }
    }
  }
}

// What lies between two values is rounded up as often as down, also where one direction alone is reduced far.
TEST(PictureModel, StayAsLightAsTheyWere) {
  for (Sizes const& sizes : {Sizes{8192, 8, 16, 8}, Sizes{8, 8192, 8, 16}, Sizes{512, 256, 24, 12}}) {
    PictureTrial const trial({CaseOfSizes(Layout::Plane, sizes, 1), {}});
    auto const mean = [](Bytes const& bytes) {
      return std::accumulate(bytes.begin(), bytes.end(), 0.0) / static_cast<double>(bytes.size());
    };
    EXPECT_NEAR(mean(trial.scaled), mean(trial.picture), 0.6) << sizes.cxIn << "x" << sizes.cyIn;
  }
}

// Multiplied and divided again, and laid onto black, gray or white, colours are at most 1.14 from where they would be.
TEST(Alpha, IsRightWhereItIsLaidOntoSomething) {
  for (int alpha = 0; alpha < 256; ++alpha) {
    for (int colour = 0; colour < 256; ++colour) {
      unsigned char pixel[] = {static_cast<unsigned char>(colour), static_cast<unsigned char>(alpha)};
      fourtap::MultiplyByAlpha({1, 0, 1}, pixel, 1, pixel);
      fourtap::DivideByAlpha({1, 0, 1}, pixel, 1, pixel);
      ASSERT_NEAR(pixel[0] * alpha / 255.0, colour * alpha / 255.0, 1.14) << colour << " with alpha " << alpha;
      for (int const gray : {0, 128, 255}) {
        unsigned char const given[] = {static_cast<unsigned char>(colour), static_cast<unsigned char>(alpha)};
        unsigned char const background[] = {static_cast<unsigned char>(gray)};
        unsigned char laid;
        fourtap::LayOnto({1, 0, 1}, background, given, 1, &laid);
        ASSERT_NEAR(laid, (colour * alpha + gray * (255 - alpha)) / 255.0, 0.5);
      }
    }
  }
}

// Every colour with every alpha, in all places that they have, is rounded to nearest, whatever the host rounds floats
// to; a line's last pixels as all others.
TEST(Alpha, IsExactHoweverItLies) {
  for (int const mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    for (fourtap::AlphaPixel const& form : {fourtap::AlphaPixel{1, 0, 1}, {3, 0, 3}, {3, 1, 0}}) {
      for (int alpha = 0; alpha < 256; ++alpha) {
        Bytes line;
        for (int i = 0; i < 255 * form.Bytes(); ++i) {
          line.push_back(static_cast<unsigned char>(i % form.Bytes() == form.alpha ? alpha : i));
        }
        Bytes multiplied(line.size() + 1, 77), divided = multiplied;
        std::fesetround(mode);
        fourtap::MultiplyByAlpha(form, line.data(), 255, multiplied.data());
        fourtap::DivideByAlpha(form, line.data(), 255, divided.data());
        std::fesetround(FE_TONEAREST);
        ASSERT_EQ(multiplied.back(), 77);
        ASSERT_EQ(divided.back(), 77);
        for (std::size_t i = 0; i < line.size(); ++i) {
          bool const isAlpha = i % static_cast<std::size_t>(form.Bytes()) == static_cast<std::size_t>(form.alpha);
          int const byte = line[i];
          ASSERT_EQ(multiplied[i], isAlpha ? alpha : (2 * byte * alpha + 255) / 510) << byte << " by " << alpha;
          ASSERT_EQ(divided[i], isAlpha      ? alpha
                                : alpha == 0 ? 0
                                             : std::min(255, (510 * byte + alpha) / (2 * alpha)))
              << byte << " by " << alpha;
        }
      }
    }
  }
}

// One colour under any alpha stays that colour, whatever lies where alpha is 0.
TEST(Alpha, ShowsNoFringes) {
  Random random(3);
  for (Sizes const& sizes : {Sizes{120, 90, 17, 13}, Sizes{120, 90, 90, 50}, Sizes{40, 30, 90, 50}}) {
    Bytes picture;
    for (int i = 0; i < sizes.cxIn * sizes.cyIn; ++i) {
      bool const inside = (i / 20 + i / sizes.cxIn / 20) % 2 == 0;
      unsigned char const beside = static_cast<unsigned char>(random.Between(0, 255));
      picture.insert(picture.end(), {inside ? static_cast<unsigned char>(200) : beside,
                                     static_cast<unsigned char>(inside ? 255 - random.Between(0, 90) : 0)});
    }
    fourtap_rules rules{};
    rules.pixels = FOURTAP_GRAY_ALPHA;
    Bytes const scaled = ModelPicture(rules, sizes, picture);
    for (std::size_t i = 0; i < scaled.size(); i += 2) {
      if (scaled[i + 1] == 0) continue;
      ASSERT_NEAR(scaled[i], 200, 2.5 * 255 / scaled[i + 1]) << "alpha " << int{scaled[i + 1]};
    }
  }
}

}  // namespace
