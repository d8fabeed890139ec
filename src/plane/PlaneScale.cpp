// One 8-bit plane: the simplest layout.
#include "plane/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<1, 1> PlaneLayout;
}

void FourTapScalePlane_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                            int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_sse2<PlaneLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScalePlane_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                           int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_mmx<PlaneLayout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScalePlaneProgressive_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                       unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_sse2<PlaneLayout>, *context, src, srcStride, cySlice, dst, dstStride,
                      cyWritten);
}

void FourTapScalePlaneProgressive_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                      unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_mmx<PlaneLayout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}
