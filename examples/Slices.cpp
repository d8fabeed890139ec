// Scales lines as they arrive, 16 at a time, as from a decoder that never holds the whole picture.
#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

int main() {
  constexpr int cxIn = 200, cyIn = 150, cxOut = 120, cyOut = 90, strideIn = 3 * cxIn, strideOut = 3 * cxOut;
  constexpr int cySlice = 16;
  std::vector<unsigned char> picture(strideIn * cyIn), whole(strideOut * cyOut, 1), sliced;
  std::iota(picture.begin(), picture.end(), 0);

  FourTapSliceScaler* const scaleSlice = FourTapSliceScalerFor(FourTapLayoutRGB24, FourTapSetWidest);
  FourTapFrameScaler* const scaleFrame = FourTapFrameScalerFor(FourTapLayoutRGB24, FourTapSetWidest);
  _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 24);
  if (!scaleSlice || !context) return 1;

  // Room for what one slice gives at the most; a host would pass it on, this one collects it.
  int const room = FourTapScaleMostLinesWritten(cyIn, cyOut, cySlice);
  std::vector<unsigned char> lines(static_cast<std::size_t>(room * strideOut));
  FourTapScaleProgressiveReset(context);
  for (int y = 0; y < cyIn; y += cySlice) {
    int written;
    scaleSlice(context, picture.data() + y * strideIn, strideIn, std::min(cySlice, cyIn - y), lines.data(), strideOut,
               written);
    sliced.insert(sliced.end(), lines.begin(), lines.begin() + written * strideOut);
  }
  scaleFrame(context, picture.data(), strideIn, whole.data(), strideOut, 0, 0, cxOut, cyOut);
  DoneScaleContext(context);

  if (sliced == whole) return 0;
  std::fputs("Slices: the slices do not add up to the whole frame\n", stderr);
  return 1;
}
