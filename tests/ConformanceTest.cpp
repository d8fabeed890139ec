// The model against samples worked out by hand, and the checks against scalers that are wrong on purpose: a check that
// has never failed proves nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <regex>
#include <string>

#include "ThisProcessor.h"
#include "conformance/CaseText.h"
#include "conformance/Cases.h"
#include "conformance/Model.h"
#include "conformance/QuadCycle.h"
#include "conformance/SelfTest.h"

namespace {

using conformance::Bytes;
using conformance::Case;
using conformance::Flush;
using conformance::Layout;
using conformance::ModelFrame;
using conformance::RunTrial;
using conformance::Trial;
using conformance::Variant;

TEST(Model, SamplesWorkedOutByHand) {
  // Equal sizes smooth with 14, 36, 14.
  EXPECT_EQ(ModelFrame(Layout::Plane, {6, 1, 6, 1}, {68, 32, 130, 60, 253, 230}), Bytes({60, 61, 93, 117, 205, 235}));
  // 2 to 3: positions 0, 2/3 and 4/3, phases 0, 10 and 5.
  EXPECT_EQ(ModelFrame(Layout::Plane, {2, 1, 3, 1}, {0, 255}), Bytes({55, 147, 231}));
  // 1920 to 1: from the middle, samples 958 to 961 at phase 0, vertically and horizontally alike.
  Bytes middle(1920);
  middle[958] = 64, middle[959] = 128, middle[960] = 32, middle[961] = 255;
  EXPECT_EQ(ModelFrame(Layout::Plane, {1920, 1, 1, 1}, middle), Bytes({93}));
  EXPECT_EQ(ModelFrame(Layout::Plane, {1, 1920, 1, 1}, middle), Bytes({93}));
  // Two pairs to one: luma at phase 8 from pixels -1 to 2 and 1 to 4, chroma at phase 0 from pairs -1 to 2.
  EXPECT_EQ(ModelFrame(Layout::XYXY, {4, 1, 2, 1}, {10, 64, 20, 128, 200, 32, 100, 255}), Bytes({51, 91, 37, 148}));
  // The fourth byte survives where the height alone changes.
  EXPECT_EQ(ModelFrame(Layout::RGB32, {1, 1, 1, 2}, {1, 2, 3, 4}), Bytes({1, 2, 3, 4, 1, 2, 3, 4}));
  EXPECT_EQ(ModelFrame(Layout::RGB32, {1, 1, 2, 1}, {1, 2, 3, 4}), Bytes({1, 2, 3, 0, 1, 2, 3, 0}));
}

TEST(QuadCycle, IsOneAndTheSameFromEverywhere) {
  EXPECT_TRUE(conformance::QuadCycleIsWhole());
  Bytes cycle(5000), part(2000);
  conformance::ReadQuadCycle(conformance::quadCycleBytes - 3000, cycle.data(), cycle.size());
  for (std::size_t const from : {0U, 1U, 1023U, 2999U, 3000U}) {
    conformance::ReadQuadCycle(conformance::quadCycleBytes - 3000 + from, part.data(), part.size());
    EXPECT_TRUE(std::equal(part.begin(), part.end(), cycle.begin() + static_cast<std::ptrdiff_t>(from))) << from;
  }
}

unsigned char const* firstSlice;

unsigned char Read(unsigned char const* byte) { return *static_cast<unsigned char const volatile*>(byte); }

#define FRAME_ARGUMENTS                                                                                           \
  _SCALE_CONTEXT *context, unsigned char const *src, int srcStride, unsigned char *dst, int dstStride, int xDest, \
      int yDest, int cxDest, int cyDest
#define SLICE_ARGUMENTS                                                                                             \
  _SCALE_CONTEXT *context, unsigned char const *src, int srcStride, int cySlice, unsigned char *dst, int dstStride, \
      int &cyWritten
#define SCALE_FRAME FourTapScalePlane_c(context, src, srcStride, dst, dstStride, xDest, yDest, cxDest, cyDest)
#define SCALE_SLICE FourTapScalePlaneProgressive_c(context, src, srcStride, cySlice, dst, dstStride, cyWritten)

constexpr int cxIn = 20, cyIn = 12, cxOut = 30, cyOut = 20;

struct Fault {
  char const* report;
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
} const faults[] = {
    {"whole frame: line 19, byte 29 is ",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       dst[(cyOut - 1) * dstStride + cxOut - 1] ^= 1;
     },
     nullptr},
    {"rectangle: line 0, byte 0 is ",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       if (xDest > 0) dst[0] ^= 1;
     },
     nullptr},
    {"whole frame: writes between or around the lines",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       dst[cxOut] = 0;
     },
     nullptr},
    {"whole frame: writes where it must not",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       dst[(cyOut - 1) * dstStride + cxOut] = 0;
     },
     nullptr},
    {"whole frame: writes where it must not",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       const_cast<unsigned char*>(src)[0] = 0;
     },
     nullptr},
    {"whole frame: reads where it must not",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       Read(src + (cyIn - 1) * srcStride + cxIn);
     },
     nullptr},
    {"rectangle from a part: reads where it must not",
     [](FRAME_ARGUMENTS) {
       SCALE_FRAME;
       Read(src + (cyIn - 1) * srcStride + cxIn - 1);
     },
     nullptr},
    {"progressive frame, slice 1: reads where it must not", nullptr,
     [](SLICE_ARGUMENTS) {
       if (firstSlice) Read(firstSlice);
       firstSlice = firstSlice ? nullptr : src;
       SCALE_SLICE;
     }},
    {"progressive frame, slice 3: reads where it must not", nullptr,
     [](SLICE_ARGUMENTS) {
       if (cySlice == 0) Read(src);
       SCALE_SLICE;
     }},
    {"progressive frame, slice 1: cyWritten is 9, not 8", nullptr,
     [](SLICE_ARGUMENTS) {
       SCALE_SLICE;
       if (cyWritten == 8) ++cyWritten;
     }},
    {"progressive frame, slice 1: line 8, byte 0 is ", nullptr,
     [](SLICE_ARGUMENTS) {
       SCALE_SLICE;
       if (cyWritten == 8) dst[8 * dstStride] = 0;
     }},
    {"progressive frame, slice 0: writes where it must not", nullptr,
     [](SLICE_ARGUMENTS) {
       SCALE_SLICE;
       if (cyWritten == 0) dst[0] = 0;
     }},
    {"second progressive frame, slice 1: line 0, byte 0 is ", nullptr,
     [](SLICE_ARGUMENTS) {
       static int calls = 0;
       SCALE_SLICE;
       if (++calls == 7) dst[0] ^= 1;
     }},
};

TEST(Checks, EveryFaultIsReported) {
  conformance::Placement const beforeGuard{0, false, Flush::end, 0};
  Case what{
      1, Layout::Plane, {cxIn, cyIn, cxOut, cyOut}, {3, 4, 20, 9}, {{3, 5, 4, 0}, {5, 7}}, beforeGuard, beforeGuard,
      {}};
  what.destination.gap = 5;
  Trial const trial(what);
  conformance::Set const set{"wrong", FourTapSetNone, 8, true};
  for (Fault const& fault : faults) {
    Variant const wrong{Layout::Plane, &set, fault.frame ? fault.frame : FourTapScalePlane_c,
                        fault.slice ? fault.slice : FourTapScalePlaneProgressive_c};
    firstSlice = nullptr;
    std::string const report = RunTrial(wrong, trial);
    std::string expected = fault.report;
    if (!processor::refusalsTellWrites) {
      expected = std::regex_replace(expected, std::regex("(reads|writes) where"), "reads or writes where");
    }
    EXPECT_NE(report.find(expected), std::string::npos) << "expected: " << expected << "\nreported: " << report;
  }
}

// What a report has in brackets runs the same case again.
TEST(Checks, EveryCaseCanBeReadFromItsReport) {
  for (conformance::LayoutTraits const& traits : conformance::Layouts()) {
    for (uint64_t seed = 0; seed < 200; ++seed) {
      std::string const text = conformance::TextOf(conformance::RandomCase(traits.layout, seed));
      auto const read = conformance::CaseOfText(text);
      ASSERT_TRUE(read) << text;
      EXPECT_EQ(conformance::TextOf(*read), text);
    }
  }
  EXPECT_FALSE(conformance::CaseOfText("17"));
  EXPECT_FALSE(conformance::CaseOfText("layout=Plain in=6x4 out=10x9"));
}

// The digest keeps library and model from changing together. Without fences, as in somebody else's process, it is the
// same.
TEST(SelfTest, AgreesAndGivesTheKnownDigest) {
  for (conformance::Fences const fences : {conformance::Fences::pages, conformance::Fences::none}) {
    std::string text;
    int lastDone = 0;
    EXPECT_TRUE(conformance::RunSelfTest({.say = [&text](std::string const& line) { text += line + "\n"; },
                                          .goOn =
                                              [&lastDone](int done, int all) {
                                                EXPECT_TRUE(lastDone < done && done <= all);
                                                lastDone = done;
                                                return true;
                                              },
                                          .fences = fences}));
    EXPECT_GT(lastDone, 1000);
    EXPECT_NE(text.find("\ndigest 429570acda699749\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\ndigest of pictures 15dbbb59afe30d7d\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\ndigest of all 1a4d311cb705f90c\n"), std::string::npos) << text;
  }
  EXPECT_FALSE(conformance::RunSelfTest(
      {.say = [](std::string const& line) { ADD_FAILURE() << line; }, .goOn = [](int, int) { return false; }}));
}

TEST(Checks, WhatIsWrittenBesideAnImageIsFoundWithoutFences) {
  Case what{1, Layout::Plane, {cxIn, cyIn, cxOut, cyOut}, {3, 4, 20, 9}, {{3, 5, 4, 0}, {}}, {}, {}, {}};
  conformance::Set const set{"wrong", FourTapSetNone, 8, true};
  Variant const wrong{Layout::Plane, &set,
                      [](FRAME_ARGUMENTS) {
                        SCALE_FRAME;
                        dst[(cyOut - 1) * dstStride + cxOut] = 0;
                      },
                      FourTapScalePlaneProgressive_c};
  for (conformance::Flush const flush : {conformance::Flush::start, conformance::Flush::end}) {
    what.destination.flush = flush;
    EXPECT_NE(RunTrial(wrong, Trial(what), conformance::Fences::none).find("writes between or around the lines"),
              std::string::npos);
  }
}

}  // namespace
