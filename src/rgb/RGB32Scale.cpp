// Four bytes per pixel: three channels in any order, and a fourth byte that only a vertical filter alone lets through.
#include "plane/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<4, 3> RGB32Layout;
}

void FourTapScaleRGB32_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                            int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_sse2<RGB32Layout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleRGB32_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                           int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_mmx<RGB32Layout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleRGB32Progressive_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                       unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_sse2<RGB32Layout>, *context, src, srcStride, cySlice, dst, dstStride,
                      cyWritten);
}

void FourTapScaleRGB32Progressive_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                      unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_mmx<RGB32Layout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}
