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
      {Layout::plane, "avx2", 1, FourTapScalePlane_avx2, FourTapScalePlaneProgressive_avx2},
      {Layout::plane, "avx512", 1, FourTapScalePlane_avx512, FourTapScalePlaneProgressive_avx512},
      {Layout::rgb24, "mmx", 4, FourTapScaleRGB24_mmx, FourTapScaleRGB24Progressive_mmx},
      {Layout::rgb24, "sse2", 8, FourTapScaleRGB24_sse2, FourTapScaleRGB24Progressive_sse2},
      {Layout::rgb24, "avx2", 1, FourTapScaleRGB24_avx2, FourTapScaleRGB24Progressive_avx2},
      {Layout::rgb24, "avx512", 1, FourTapScaleRGB24_avx512, FourTapScaleRGB24Progressive_avx512},
      {Layout::rgb32, "mmx", 4, FourTapScaleRGB32_mmx, FourTapScaleRGB32Progressive_mmx},
      {Layout::rgb32, "sse2", 8, FourTapScaleRGB32_sse2, FourTapScaleRGB32Progressive_sse2},
      {Layout::rgb32, "avx2", 1, FourTapScaleRGB32_avx2, FourTapScaleRGB32Progressive_avx2},
      {Layout::rgb32, "avx512", 1, FourTapScaleRGB32_avx512, FourTapScaleRGB32Progressive_avx512},
      {Layout::xyxy, "mmx", 4, FourTapScaleXYXY_mmx, FourTapScaleXYXYProgressive_mmx},
      {Layout::xyxy, "sse2", 8, FourTapScaleXYXY_sse2, FourTapScaleXYXYProgressive_sse2},
      {Layout::xyxy, "avx2", 1, FourTapScaleXYXY_avx2, FourTapScaleXYXYProgressive_avx2},
      {Layout::xyxy, "avx512", 1, FourTapScaleXYXY_avx512, FourTapScaleXYXYProgressive_avx512},
      {Layout::yxyx, "mmx", 4, FourTapScaleYXYX_mmx, FourTapScaleYXYXProgressive_mmx},
      {Layout::yxyx, "sse2", 8, FourTapScaleYXYX_sse2, FourTapScaleYXYXProgressive_sse2},
      {Layout::yxyx, "avx2", 1, FourTapScaleYXYX_avx2, FourTapScaleYXYXProgressive_avx2},
      {Layout::yxyx, "avx512", 1, FourTapScaleYXYX_avx512, FourTapScaleYXYXProgressive_avx512},
  };
  return variants;
}

bool Runnable(std::string_view set) {
  __builtin_cpu_init();
  if (set == "avx2") return __builtin_cpu_supports("avx2");
  if (set == "avx512") {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512vnni");
  }
  // Every x86-64 processor has MMX and SSE2.
  return true;
}

}  // namespace conformance
