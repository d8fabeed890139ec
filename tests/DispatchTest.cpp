// Dispatch under a host's own processor detection, which takes the place of the library's.
#include <fourtapscale/FourTapScale.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

int detected;

struct Pointer {
  bool null;
  bool sse2;
};

template <class Scaler>
Pointer Look(Scaler* pointer, Scaler* sse2) {
  return {!pointer, pointer == sse2};
}

std::vector<Pointer> Pointers() {
  return {Look(FourTapScalePlane, FourTapScalePlane_sse2),
          Look(FourTapScaleRGB24, FourTapScaleRGB24_sse2),
          Look(FourTapScaleRGB32, FourTapScaleRGB32_sse2),
          Look(FourTapScaleYXYX, FourTapScaleYXYX_sse2),
          Look(FourTapScaleXYXY, FourTapScaleXYXY_sse2),
          Look(FourTapScaleProgressivePlane, FourTapScalePlaneProgressive_sse2),
          Look(FourTapScaleProgressiveRGB24, FourTapScaleRGB24Progressive_sse2),
          Look(FourTapScaleProgressiveRGB32, FourTapScaleRGB32Progressive_sse2),
          Look(FourTapScaleProgressiveYXYX, FourTapScaleYXYXProgressive_sse2),
          Look(FourTapScaleProgressiveXYXY, FourTapScaleXYXYProgressive_sse2)};
}

bool All(bool Pointer::*answer) {
  std::vector<Pointer> const pointers = Pointers();
  return std::all_of(pointers.begin(), pointers.end(), [answer](Pointer const& each) { return each.*answer; });
}

TEST(Dispatch, InstallsAllScalersOrNone) {
  EXPECT_TRUE(All(&Pointer::null));
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_TRUE(All(&Pointer::null));
  for (int const answer : {7, 1, 1}) {
    detected = answer;
    EXPECT_EQ(InitFourTapScale(), 1);
    EXPECT_TRUE(All(&Pointer::sse2));
  }
  detected = 0;
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_TRUE(All(&Pointer::sse2));
}

}  // namespace

int cpuid_detect_accel(void) { return detected; }
