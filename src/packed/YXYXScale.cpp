// Packed 4:2:2, luma first.
#include "packed/PairLayout.h"

namespace {
constexpr fourtap::PairOrder order{"YXYXScale.cpp", __LINE__, 0, 1};
typedef fourtap::PairLayout<order> YXYXLayout;
}  // namespace

void FourTapScaleYXYX_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                           int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_sse2<YXYXLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleYXYX_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                          int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_mmx<YXYXLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest, cxDest,
                      cyDest);
}

void FourTapScaleYXYXProgressive_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                      unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_sse2<YXYXLayout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}

void FourTapScaleYXYXProgressive_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                     unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_mmx<YXYXLayout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}
