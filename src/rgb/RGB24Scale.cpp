// Three bytes per pixel, three channels in any order.
#include "plane/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<3, 3> RGB24Layout;
}

void FourTapScaleRGB24_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                            int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_sse2<RGB24Layout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleRGB24_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, unsigned char* dst,
                           int dstStride, int xDest, int yDest, int cxDest, int cyDest) {
  fourtap::ScaleFrame(fourtap::scalerOf_mmx<RGB24Layout>, *context, src, srcStride, dst, dstStride, xDest, yDest,
                      cxDest, cyDest);
}

void FourTapScaleRGB24Progressive_sse2(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                       unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_sse2<RGB24Layout>, *context, src, srcStride, cySlice, dst, dstStride,
                      cyWritten);
}

void FourTapScaleRGB24Progressive_mmx(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride, int cySlice,
                                      unsigned char* dst, int dstStride, int& cyWritten) {
  fourtap::ScaleSlice(fourtap::scalerOf_mmx<RGB24Layout>, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);
}
