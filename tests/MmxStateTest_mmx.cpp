// That the checks see an MMX state which a call has left in use.
#include <gtest/gtest.h>

#include <string>

#include "conformance/Cases.h"

namespace {

using namespace conformance;

TEST(Checks, MmxStateInUseIsReported) {
  Set const set{"wrong", FourTapSetNone, 8, true};
  Variant const wrong{Layout::Plane, &set,
                      [](_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                         int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
                        FourTapScalePlane_c(context, src, srcStride, dst, dstStride, xDest, yDest, cxDest, cyDest);
                        asm volatile("pxor %%mm0, %%mm0" ::: "mm0");
                      },
                      FourTapScalePlaneProgressive_c};
  std::string const report = RunTrial(wrong, Trial(RandomCase(Layout::Plane, 1)));
  EXPECT_NE(report.find("whole frame: leaves the MMX state in use"), std::string::npos) << report;
}

}  // namespace
