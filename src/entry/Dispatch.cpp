#include <fourtapscale/FourTapScale.h>

FourTapFrameScaler* FourTapScalePlane;
FourTapFrameScaler* FourTapScaleRGB24;
FourTapFrameScaler* FourTapScaleRGB32;
FourTapFrameScaler* FourTapScaleYXYX;
FourTapFrameScaler* FourTapScaleXYXY;
FourTapSliceScaler* FourTapScaleProgressivePlane;
FourTapSliceScaler* FourTapScaleProgressiveRGB24;
FourTapSliceScaler* FourTapScaleProgressiveRGB32;
FourTapSliceScaler* FourTapScaleProgressiveYXYX;
FourTapSliceScaler* FourTapScaleProgressiveXYXY;

namespace {

struct Scalers {
  FourTapFrameScaler *plane, *rgb24, *rgb32, *yxyx, *xyxy;
  FourTapSliceScaler *progressivePlane, *progressiveRGB24, *progressiveRGB32, *progressiveYXYX, *progressiveXYXY;
};

void Install(Scalers const& scalers) {
  FourTapScalePlane = scalers.plane;
  FourTapScaleRGB24 = scalers.rgb24;
  FourTapScaleRGB32 = scalers.rgb32;
  FourTapScaleYXYX = scalers.yxyx;
  FourTapScaleXYXY = scalers.xyxy;
  FourTapScaleProgressivePlane = scalers.progressivePlane;
  FourTapScaleProgressiveRGB24 = scalers.progressiveRGB24;
  FourTapScaleProgressiveRGB32 = scalers.progressiveRGB32;
  FourTapScaleProgressiveYXYX = scalers.progressiveYXYX;
  FourTapScaleProgressiveXYXY = scalers.progressiveXYXY;
}

Scalers const scalers_sse2 = {
    FourTapScalePlane_sse2,
    FourTapScaleRGB24_sse2,
    FourTapScaleRGB32_sse2,
    FourTapScaleYXYX_sse2,
    FourTapScaleXYXY_sse2,
    FourTapScalePlaneProgressive_sse2,
    FourTapScaleRGB24Progressive_sse2,
    FourTapScaleRGB32Progressive_sse2,
    FourTapScaleYXYXProgressive_sse2,
    FourTapScaleXYXYProgressive_sse2,
};

Scalers const scalers_avx2 = {
    FourTapScalePlane_avx2,
    FourTapScaleRGB24_avx2,
    FourTapScaleRGB32_avx2,
    FourTapScaleYXYX_avx2,
    FourTapScaleXYXY_avx2,
    FourTapScalePlaneProgressive_avx2,
    FourTapScaleRGB24Progressive_avx2,
    FourTapScaleRGB32Progressive_avx2,
    FourTapScaleYXYXProgressive_avx2,
    FourTapScaleXYXYProgressive_avx2,
};

Scalers const scalers_avx512 = {
    FourTapScalePlane_avx512,
    FourTapScaleRGB24_avx512,
    FourTapScaleRGB32_avx512,
    FourTapScaleYXYX_avx512,
    FourTapScaleXYXY_avx512,
    FourTapScalePlaneProgressive_avx512,
    FourTapScaleRGB24Progressive_avx512,
    FourTapScaleRGB32Progressive_avx512,
    FourTapScaleYXYXProgressive_avx512,
    FourTapScaleXYXYProgressive_avx512,
};

// The compiler's run-time library looks at the processor's features and at the state that the system saves.
bool HasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

bool HasAvx512() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
         __builtin_cpu_supports("avx512vnni");
}

}  // namespace

int InitFourTapScale() {
  if (!cpuid_detect_accel()) return 0;
  Install(scalers_sse2);
  return 1;
}

int InitFourTapScaleBest(int widest) {
  if (widest <= FourTapSetNone || !cpuid_detect_accel()) return FourTapSetNone;
  if (widest >= FourTapSetAVX512 && HasAvx512()) {
    Install(scalers_avx512);
    return FourTapSetAVX512;
  }
  if (widest >= FourTapSetAVX2 && HasAvx2()) {
    Install(scalers_avx2);
    return FourTapSetAVX2;
  }
  Install(scalers_sse2);
  return FourTapSetSSE2;
}
