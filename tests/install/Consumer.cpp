// Uses each public header, so that it links only where headers and library belong together.
#include <fourtapscale/FourTapFilters.h>
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/ImageUtil.h>

#include <cstdio>
#include <fourtapscale/fourtap.hpp>

int main() {
  unsigned char pixels[] = {10, 20, 30, 40, 50, 60};
  unsigned char planes[3][2];
  GetPlanes(pixels, 2, 1, 6, 24, planes[0], planes[1], planes[2], 2);

  // At equal sizes the taps are 14, 36 and 14 of 64.
  unsigned char scaled[2] = {};
  _SCALE_CONTEXT* const context = InitScaleContext(2, 1, 2, 1, 8);
  if (!context || !InitFourTapScale()) return 1;
  FourTapScalePlane(context, planes[0], 2, scaled, 2, 0, 0, 2, 1);
  DoneScaleContext(context);

  using fourtapscale::Layout;
  unsigned char checked[2] = {};
  fourtapscale::Scaler(Layout::Plane, {2, 1}, {2, 1})
      .Scale(fourtapscale::SourceView::Within(Layout::Plane, {2, 1}, planes[0], sizeof planes[0]),
             fourtapscale::TargetView::Within(Layout::Plane, {2, 1}, checked, sizeof checked));

  unsigned char filtered[2] = {};
  short coefs[4] = {0, 64, 0, 0};
  FourTapVertFilter_c(filtered, planes[0], planes[1], planes[2], planes[2], 2, coefs);

  if (scaled[0] == (50 * 10 + 14 * 40) / 64 && scaled[1] == (14 * 10 + 50 * 40) / 64 && filtered[0] == 20 &&
      filtered[1] == 50 && checked[0] == scaled[0] && checked[1] == scaled[1]) {
    return 0;
  }
  std::fprintf(stderr, "Consumer: scaled to %d %d and %d %d, filtered to %d %d, expected 16 33 and 20 50\n", scaled[0],
               scaled[1], checked[0], checked[1], filtered[0], filtered[1]);
  return 1;
}
