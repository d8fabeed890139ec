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

int InitFourTapScale() {
  if (!cpuid_detect_accel()) return 0;
  FourTapScalePlane = FourTapScalePlane_sse2;
  FourTapScaleRGB24 = FourTapScaleRGB24_sse2;
  FourTapScaleRGB32 = FourTapScaleRGB32_sse2;
  FourTapScaleYXYX = FourTapScaleYXYX_sse2;
  FourTapScaleXYXY = FourTapScaleXYXY_sse2;
  FourTapScaleProgressivePlane = FourTapScalePlaneProgressive_sse2;
  FourTapScaleProgressiveRGB24 = FourTapScaleRGB24Progressive_sse2;
  FourTapScaleProgressiveRGB32 = FourTapScaleRGB32Progressive_sse2;
  FourTapScaleProgressiveYXYX = FourTapScaleYXYXProgressive_sse2;
  FourTapScaleProgressiveXYXY = FourTapScaleXYXYProgressive_sse2;
  return 1;
}
