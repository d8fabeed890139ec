// The arithmetic page tells the truth: its table of weights, and its worked samples by every scaler of their layout.
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "conformance/Variants.h"
#include "core/FilterCoefs.h"

namespace {

using conformance::Variant;

std::vector<std::string> PageLines() {
  std::ifstream page(SOURCE_FOLDER "/docs/arithmetic.md");
  std::vector<std::string> lines;
  for (std::string line; std::getline(page, line);) lines.push_back(line);
  return lines;
}

std::vector<unsigned char> ReadBytes(std::string const& text) {
  std::istringstream in(text);
  std::vector<unsigned char> bytes;
  for (int value; in >> value;) bytes.push_back(static_cast<unsigned char>(value));
  return bytes;
}

struct Sample {
  std::string layout;
  int cxIn, cyIn, cxOut, cyOut;
  std::vector<unsigned char> picture;
  int x, y;
  std::vector<unsigned char> pixels;
};

// From the line behind the block's opening fence.
Sample ReadSample(std::vector<std::string>::const_iterator line) {
  Sample sample;
  char layout[16];
  EXPECT_EQ(std::sscanf(line->c_str(), "%15s %dx%d to %dx%d", layout, &sample.cxIn, &sample.cyIn, &sample.cxOut,
                        &sample.cyOut),
            5)
      << *line;
  sample.layout = layout;
  for (++line; !line->starts_with('('); ++line) {
    auto const bytes = ReadBytes(*line);
    sample.picture.insert(sample.picture.end(), bytes.begin(), bytes.end());
  }
  EXPECT_EQ(std::sscanf(line->c_str(), "(%d, %d) =", &sample.x, &sample.y), 2) << *line;
  sample.pixels = ReadBytes(line->substr(line->find('=') + 1));
  return sample;
}

// The sample's pixels as the variant scales them, out of the whole frame.
std::vector<unsigned char> Scale(Variant const& variant, Sample const& sample) {
  int const bitsPerPixel = Traits(variant.layout).bitsPerPixel;
  int const strideOut = sample.cxOut * bitsPerPixel / 8;
  std::vector<unsigned char> scaled(static_cast<size_t>(strideOut * sample.cyOut));
  _SCALE_CONTEXT* const context = InitScaleContext(sample.cxIn, sample.cyIn, sample.cxOut, sample.cyOut, bitsPerPixel);
  variant.frame(context, sample.picture.data(), sample.cxIn * bitsPerPixel / 8, scaled.data(), strideOut, 0, 0,
                sample.cxOut, sample.cyOut);
  DoneScaleContext(context);
  auto const pixel = scaled.begin() + sample.y * strideOut + sample.x * bitsPerPixel / 8;
  return {pixel, pixel + static_cast<std::ptrdiff_t>(sample.pixels.size())};
}

TEST(ArithmeticPage, WorkedSamplesAreWhatTheLibraryComputes) {
  auto const lines = PageLines();
  int checked = 0;
  for (auto line = lines.begin(); line != lines.end(); ++line) {
    if (*line != "```sample") continue;
    Sample const sample = ReadSample(line + 1);
    for (Variant const& variant : conformance::Variants()) {
      if (sample.layout != Traits(variant.layout).name || !variant.set->runnable) continue;
      EXPECT_EQ(Scale(variant, sample), sample.pixels) << sample.layout << " " << variant.set->name;
      ++checked;
    }
  }
  EXPECT_GE(checked, 6) << "three samples, two sets or more";
}

TEST(ArithmeticPage, WorkedPicturesAreWhatTheLibraryComputes) {
  auto const lines = PageLines();
  auto const fence = std::find(lines.begin(), lines.end(), "```picture");
  ASSERT_NE(fence, lines.end());
  Sample const sample = ReadSample(fence + 1);
  ASSERT_EQ(sample.layout, "Plane");
  fourtap_rules const rules{FOURTAP_PLANE, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  fourtap_picture* picture = nullptr;
  ASSERT_EQ(fourtap_picture_open(&picture, &rules, sample.cxIn, sample.cyIn, sample.cxOut, sample.cyOut), FOURTAP_OK);
  std::vector<unsigned char> scaled(sample.pixels.size());
  EXPECT_EQ(fourtap_picture_scale(picture, {sample.picture.data(), sample.picture.size(), 0}, nullptr,
                                  {scaled.data(), scaled.size(), 0}, nullptr),
            FOURTAP_OK);
  fourtap_picture_close(picture);
  EXPECT_EQ(scaled, sample.pixels);
}

TEST(ArithmeticPage, TableOfWeightsIsTheLibrarys) {
  short coefs[16][4];
  fourtap::ComputeFilterCoefs(1, coefs[0]);
  int nextPhase = 0;
  for (std::string const& line : PageLines()) {
    int phase, taps[4];
    if (std::sscanf(line.c_str(), "| %d | %d | %d | %d | %d |", &phase, &taps[0], &taps[1], &taps[2], &taps[3]) != 5) {
      continue;
    }
    ASSERT_EQ(phase, nextPhase);
    EXPECT_TRUE(std::equal(taps, taps + 4, coefs[phase])) << line;
    ++nextPhase;
  }
  EXPECT_EQ(nextPhase, 16);
}

}  // namespace
