#include "fourtap/ScalePicture.h"

#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <memory>
#include <new>

namespace tool {

namespace {

struct PictureScaler {
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
};

PictureScaler ScalerFor(int bitsPerPixel) {
  bool const rgb32 = bitsPerPixel == 32;
  if (InitFourTapScale()) {
    return rgb32 ? PictureScaler{FourTapScaleRGB32, FourTapScaleProgressiveRGB32}
                 : PictureScaler{FourTapScaleRGB24, FourTapScaleProgressiveRGB24};
  }
  return rgb32 ? PictureScaler{FourTapScaleRGB32_mmx, FourTapScaleRGB32Progressive_mmx}
               : PictureScaler{FourTapScaleRGB24_mmx, FourTapScaleRGB24Progressive_mmx};
}

struct ReleaseContext {
  void operator()(_SCALE_CONTEXT* context) const { DoneScaleContext(context); }
};

}  // namespace

Picture ScalePicture(Picture const& source, int cx, int cy, int linesPerSlice) {
  PictureScaler const scaler = ScalerFor(source.bitsPerPixel);
  std::unique_ptr<_SCALE_CONTEXT, ReleaseContext> const context(
      InitScaleContext(source.cx, source.cy, cx, cy, source.bitsPerPixel));
  if (!context) throw std::bad_alloc();
  Picture scaled = MakePicture(cx, cy, source.bitsPerPixel);

  if (linesPerSlice == 0) {
    scaler.frame(context.get(), source.pixels.data(), source.stride, scaled.pixels.data(), scaled.stride, 0, 0, cx, cy);
    return scaled;
  }
  unsigned char const* src = source.pixels.data();
  unsigned char* dst = scaled.pixels.data();
  for (int y = 0, cySlice = 0; y < source.cy; y += cySlice) {
    cySlice = std::min(linesPerSlice, source.cy - y);
    int cyWritten = 0;
    scaler.slice(context.get(), src, source.stride, cySlice, dst, scaled.stride, cyWritten);
    src += ptrdiff_t{cySlice} * source.stride;
    dst += ptrdiff_t{cyWritten} * scaled.stride;
  }
  return scaled;
}

}  // namespace tool
