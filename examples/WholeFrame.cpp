// Halves a picture of 24-bit pixels.
#include <fourtapscale/FourTapScale.h>

#include <cstdio>
#include <numeric>
#include <vector>

int main() {
  constexpr int cxIn = 8, cyIn = 8, cxOut = 4, cyOut = 4;
  std::vector<unsigned char> picture(3 * cxIn * cyIn), half(3 * cxOut * cyOut);
  std::iota(picture.begin(), picture.end(), 0);  // each channel rises by 3 a pixel and by 24 a line

  FourTapFrameScaler* const scale = FourTapFrameScalerFor(FourTapLayoutRGB24, FourTapSetWidest);
  _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 24);
  if (!scale || !context) return 1;
  scale(context, picture.data(), 3 * cxIn, half.data(), 3 * cxOut, 0, 0, cxOut, cyOut);
  DoneScaleContext(context);

  // Output pixel (2, 1) lies in the middle of source pixels (4, 2) to (5, 3).
  unsigned char const* const pixel = half.data() + 3 * (1 * cxOut + 2);
  int const middle = (3 * (4 + 5) + 24 * (2 + 3)) / 2;
  if (pixel[0] == middle && pixel[1] == middle + 1 && pixel[2] == middle + 2) return 0;
  std::fprintf(stderr, "WholeFrame: pixel (2, 1) begins with %d, expected %d\n", pixel[0], middle);
  return 1;
}
