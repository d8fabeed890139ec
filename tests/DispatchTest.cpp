// Dispatch under a host's own processor detection, which takes the place of the library's.
#include <fourtapscale/FourTapScale.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

int detected;

// The sets whose scaler a pointer may lead to, by FourTapSet; the first one is none.
template <class Scaler>
int SetOf(Scaler* pointer, Scaler* sse2, Scaler* avx2, Scaler* avx512) {
  Scaler* const scalers[] = {nullptr, sse2, avx2, avx512};
  return static_cast<int>(std::find(scalers, scalers + 4, pointer) - scalers);
}

#define SET_OF(pointer, stem) SetOf(pointer, stem##_sse2, stem##_avx2, stem##_avx512)

// The set that all ten pointers lead to, or -1 where they disagree.
int InstalledSet() {
  std::vector<int> const sets = {SET_OF(FourTapScalePlane, FourTapScalePlane),
                                 SET_OF(FourTapScaleRGB24, FourTapScaleRGB24),
                                 SET_OF(FourTapScaleRGB32, FourTapScaleRGB32),
                                 SET_OF(FourTapScaleYXYX, FourTapScaleYXYX),
                                 SET_OF(FourTapScaleXYXY, FourTapScaleXYXY),
                                 SET_OF(FourTapScaleProgressivePlane, FourTapScalePlaneProgressive),
                                 SET_OF(FourTapScaleProgressiveRGB24, FourTapScaleRGB24Progressive),
                                 SET_OF(FourTapScaleProgressiveRGB32, FourTapScaleRGB32Progressive),
                                 SET_OF(FourTapScaleProgressiveYXYX, FourTapScaleYXYXProgressive),
                                 SET_OF(FourTapScaleProgressiveXYXY, FourTapScaleXYXYProgressive)};
  return std::count(sets.begin(), sets.end(), sets[0]) == 10 ? sets[0] : -1;
}

int WidestSet() {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2")) return FourTapSetSSE2;
  bool const avx512 = __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni") &&
                      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  return avx512 ? FourTapSetAVX512 : FourTapSetAVX2;
}

TEST(Dispatch, InstallsAllScalersOfASetOrNone) {
  EXPECT_EQ(InstalledSet(), FourTapSetNone);
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_EQ(InitFourTapScaleBest(FourTapSetAVX512), FourTapSetNone);
  EXPECT_EQ(InstalledSet(), FourTapSetNone);
  for (int const answer : {7, 1, 1}) {
    detected = answer;
    EXPECT_EQ(InitFourTapScale(), 1);
    EXPECT_EQ(InstalledSet(), FourTapSetSSE2);
  }
  for (int widest = FourTapSetSSE2; widest <= FourTapSetAVX512 + 1; ++widest) {
    int const expected = std::min(widest, WidestSet());
    EXPECT_EQ(InitFourTapScaleBest(widest), expected);
    EXPECT_EQ(InstalledSet(), expected);
    EXPECT_EQ(InitFourTapScaleBest(FourTapSetNone), FourTapSetNone);
    EXPECT_EQ(InstalledSet(), expected);
  }
  detected = 0;
  EXPECT_EQ(InitFourTapScale(), 0);
  EXPECT_EQ(InitFourTapScaleBest(FourTapSetSSE2), FourTapSetNone);
  EXPECT_EQ(InstalledSet(), WidestSet());
}

}  // namespace

int cpuid_detect_accel(void) { return detected; }
