// Dispatch and look-up under a host's own processor detection, which takes the place of the library's.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <fourtapscale/fourtap.hpp>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "variants/Variants.h"

namespace {

int detected;

struct Scalers {
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;

  bool operator==(Scalers const&) const = default;
};

struct NamedSet {
  char const* name;
  int number;
  bool isHere;
  std::vector<Scalers> scalers;  // by layout
};

#define SCALERS_OF(set, layout, ...) {FourTapScale##layout##_##set, FourTapScale##layout##Progressive_##set},
#define SET_OF(with, set, number, ...) {#set, number, FOURTAP_PROCESSOR_HAS(set), {FOURTAP_LAYOUTS(SCALERS_OF, set)}},
std::vector<NamedSet> const& Sets() {
  static std::vector<NamedSet> const sets = {FOURTAP_SETS(SET_OF, )};
  return sets;
}

// Where the pointers lead.
#define POINTERS_OF(with, layout, ...) {FourTapScale##layout, FourTapScaleProgressive##layout},
std::vector<Scalers> Installed() { return {FOURTAP_LAYOUTS(POINTERS_OF, )}; }

// What the look-up gives for each layout's number.
#define FOUND_OF(widest, layout, ...) \
  {FourTapFrameScalerFor(FourTapLayout##layout, widest), FourTapSliceScalerFor(FourTapLayout##layout, widest)},
std::vector<Scalers> Found(int widest) { return {FOURTAP_LAYOUTS(FOUND_OF, widest)}; }

std::vector<Scalers> const none(Installed().size());

// The set that a limit comes to on this processor: the last one here of those up to it, in the order of the list.
NamedSet const& Expected(int widest) {
  NamedSet const* expected = nullptr;
  for (NamedSet const& set : Sets()) {
    if (set.number != FourTapSetNone && set.isHere) expected = &set;
    if (set.number == widest) break;
  }
  return *expected;
}

TEST(Dispatch, NumbersStayWhatTheyArePublishedAs) {
  EXPECT_EQ(std::vector<int>({FourTapSetNone, FourTapSetSSE2, FourTapSetAVX2, FourTapSetAVX512, FourTapSetPlain,
                              FourTapSetNEON, FourTapSetSIMD128}),
            std::vector<int>({0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(FourTapSetWidest, std::numeric_limits<int>::max());
  EXPECT_EQ(std::vector<int>({FourTapLayoutPlane, FourTapLayoutRGB24, FourTapLayoutRGB32, FourTapLayoutXYXY,
                              FourTapLayoutYXYX, FourTapLayoutUV16, FourTapLayoutRGBA32}),
            std::vector<int>({0, 1, 2, 3, 4, 5, 6}));
}

TEST(Dispatch, FindsAndInstallsAllScalersOfASetOrNone) {
  int const beyond = static_cast<int>(none.size());
  EXPECT_EQ(Installed(), none);
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_EQ(InitFourTapScaleBest(FourTapSetWidest), FourTapSetNone);
  EXPECT_EQ(FourTapSetFor(FourTapSetWidest), FourTapSetNone);
  EXPECT_EQ(Found(FourTapSetWidest), none);
  EXPECT_EQ(Installed(), none);
  for (int const answer : {7, 1, 1}) {
    detected = answer;
    EXPECT_EQ(InitFourTapScale(), 1);
    EXPECT_EQ(Installed(), Expected(FOURTAP_BASE_SET).scalers);
  }
  // A number that no set has stands for the widest.
  std::vector<int> limits{1000, FourTapSetWidest};
  for (NamedSet const& set : Sets()) {
    if (set.number != FourTapSetNone) limits.push_back(set.number);
  }
  for (int const widest : limits) {
    SCOPED_TRACE(widest);
    NamedSet const& expected = Expected(widest);
    std::vector<Scalers> const before = Installed();
    EXPECT_EQ(FourTapSetFor(widest), expected.number);
    EXPECT_EQ(Found(widest), expected.scalers);
    EXPECT_EQ(Installed(), before) << "looking up sets nothing";
    EXPECT_EQ(InitFourTapScaleBest(widest), expected.number);
    EXPECT_EQ(Installed(), expected.scalers);
    for (int const nothing : {+FourTapSetNone, -1}) {
      EXPECT_EQ(InitFourTapScaleBest(nothing), FourTapSetNone);
      EXPECT_EQ(Found(nothing), none);
    }
    for (int const noLayout : {-1, beyond, std::numeric_limits<int>::max()}) {
      EXPECT_EQ(FourTapFrameScalerFor(noLayout, widest), nullptr);
      EXPECT_EQ(FourTapSliceScalerFor(noLayout, widest), nullptr);
    }
    EXPECT_EQ(Installed(), expected.scalers);
  }
  detected = 0;
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_EQ(InitFourTapScaleBest(FOURTAP_BASE_SET), FourTapSetNone);
  EXPECT_EQ(Found(FOURTAP_BASE_SET), none);
  EXPECT_EQ(Installed(), Expected(limits.back()).scalers);
}

TEST(Dispatch, FunctionsForCNeedAProcessorToo) {
  fourtap_scaler* scaler = nullptr;
  fourtap_picture* picture = nullptr;
  fourtap_rules const rules{};
  detected = 0;
  EXPECT_EQ(fourtap_open(&scaler, FOURTAP_PLANE, 2, 2, 3, 3), FOURTAP_PROCESSOR);
  EXPECT_EQ(fourtap_error(), "processor: none of the scalers runs here, expected " +
                                 std::string(fourtap_set_name(FOURTAP_BASE_SET)) + " at least");
  EXPECT_EQ(fourtap_picture_open(&picture, &rules, 9, 9, 3, 3), FOURTAP_PROCESSOR);
  EXPECT_TRUE(!scaler && !picture);
  detected = 1;
  ASSERT_EQ(fourtap_open(&scaler, FOURTAP_PLANE, 2, 2, 3, 3), FOURTAP_OK);
  ASSERT_EQ(fourtap_picture_open(&picture, &rules, 9, 9, 3, 3), FOURTAP_OK);
  EXPECT_EQ(fourtap_set(scaler), Expected(FourTapSetWidest).number);
  EXPECT_EQ(fourtap_picture_set(picture), Expected(FourTapSetWidest).number);
  // A host may change its mind.
  detected = 0;
  EXPECT_EQ(fourtap_picture_use_set(picture, FOURTAP_SET_PLAIN), FOURTAP_PROCESSOR);
  EXPECT_EQ(fourtap_picture_set(picture), Expected(FourTapSetWidest).number);
  fourtap_close(scaler);
  fourtap_picture_close(picture);
}

TEST(Dispatch, TellsTheVersion) {
  EXPECT_EQ(FourTapScaleVersion(), FOURTAP_VERSION);
  EXPECT_EQ(PROJECT_VERSION, std::to_string(FOURTAP_VERSION_MAJOR) + "." + std::to_string(FOURTAP_VERSION_MINOR) + "." +
                                 std::to_string(FOURTAP_VERSION_PATCH));
}

TEST(Dispatch, ClassesThrowWhatIsNoFaultOfTheArguments) {
  detected = 0;
  EXPECT_THROW(fourtapscale::Scaler(fourtapscale::Layout::Plane, {4, 4}, {2, 2}), std::runtime_error);
  detected = 1;
  EXPECT_EQ(static_cast<int>(fourtapscale::Scaler(fourtapscale::Layout::Plane, {4, 4}, {2, 2}).Set()),
            FourTapSetFor(FourTapSetWidest));
}

}  // namespace

int cpuid_detect_accel(void) { return detected; }
