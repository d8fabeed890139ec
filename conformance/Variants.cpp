#include "conformance/Variants.h"

namespace conformance {

LayoutTraits const layouts[5] = {
    {Layout::plane, "Plane", 8, false}, {Layout::rgb24, "RGB24", 24, false}, {Layout::rgb32, "RGB32", 32, false},
    {Layout::xyxy, "XYXY", 16, true},   {Layout::yxyx, "YXYX", 16, true},
};

std::span<Variant const> Variants() {
  static Variant const variants[] = {
      {Layout::plane, "mmx", 4, FourTapScalePlane_mmx, FourTapScalePlaneProgressive_mmx},
      {Layout::plane, "sse2", 8, FourTapScalePlane_sse2, FourTapScalePlaneProgressive_sse2},
      {Layout::rgb24, "mmx", 4, FourTapScaleRGB24_mmx, FourTapScaleRGB24Progressive_mmx},
      {Layout::rgb24, "sse2", 8, FourTapScaleRGB24_sse2, FourTapScaleRGB24Progressive_sse2},
      {Layout::rgb32, "mmx", 4, FourTapScaleRGB32_mmx, FourTapScaleRGB32Progressive_mmx},
      {Layout::rgb32, "sse2", 8, FourTapScaleRGB32_sse2, FourTapScaleRGB32Progressive_sse2},
      {Layout::xyxy, "mmx", 4, FourTapScaleXYXY_mmx, FourTapScaleXYXYProgressive_mmx},
      {Layout::xyxy, "sse2", 8, FourTapScaleXYXY_sse2, FourTapScaleXYXYProgressive_sse2},
      {Layout::yxyx, "mmx", 4, FourTapScaleYXYX_mmx, FourTapScaleYXYXProgressive_mmx},
      {Layout::yxyx, "sse2", 8, FourTapScaleYXYX_sse2, FourTapScaleYXYXProgressive_sse2},
  };
  return variants;
}

// Every x86-64 processor has MMX and SSE2.
bool Runnable(char const*) { return true; }

}  // namespace conformance
