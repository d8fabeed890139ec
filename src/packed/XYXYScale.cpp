// Packed 4:2:2, chroma first.
#include "packed/PairLayout.h"

namespace {
constexpr fourtap::PairOrder order{"XYXYScale.cpp", __LINE__, 1, 0};
typedef fourtap::PairLayout<order> XYXYLayout;
}  // namespace

void FourTapScaleXYXY_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                           int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_sse2<XYXYLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleXYXY_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                          int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_mmx<XYXYLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest, cxDest,
                      cyDest);
}

void FourTapScaleXYXYProgressive_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                      unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_sse2<XYXYLayout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}

void FourTapScaleXYXYProgressive_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                     unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_mmx<XYXYLayout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}
