// Scales lines as they arrive, 16 at a time, as from a decoder that never holds the whole picture.
#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

int main() {
  constexpr int cxIn = 200, cyIn = 150, cxOut = 120, cyOut = 90, strideIn = 3 * cxIn, strideOut = 3 * cxOut;
  std::vector<unsigned char> picture(strideIn * cyIn), whole(strideOut * cyOut, 1), sliced(strideOut * cyOut);
  std::iota(picture.begin(), picture.end(), 0);

  _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 24);
  if (!context || !InitFourTapScale()) return 1;
  FourTapScaleProgressiveReset(context);
  unsigned char* dst = sliced.data();
  for (int y = 0; y < cyIn; y += 16) {
    int written;
    FourTapScaleProgressiveRGB24(context, picture.data() + y * strideIn, strideIn, std::min(16, cyIn - y), dst,
                                 strideOut, written);
    dst += written * strideOut;
  }
  FourTapScaleRGB24(context, picture.data(), strideIn, whole.data(), strideOut, 0, 0, cxOut, cyOut);
  DoneScaleContext(context);

  if (sliced == whole) return 0;
  std::fputs("Slices: the slices do not add up to the whole frame\n", stderr);
  return 1;
}
