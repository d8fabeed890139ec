// Scales only the part of an enlarged picture that a window shows, without scaling the rest.
#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

int main() {
  constexpr int cxIn = 300, cyIn = 200, cxOut = 900, cyOut = 600;
  constexpr int x = 411, y = 250, cx = 160, cy = 90;
  std::vector<unsigned char> picture(cxIn * cyIn), window(cx * cy), whole(cxOut * cyOut, 1);
  std::iota(picture.begin(), picture.end(), 0);

  // For a process that has the library to itself: pointers that all of it may use from now on.
  if (InitFourTapScaleBest(FourTapSetWidest) == FourTapSetNone) return 1;
  _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 8);
  if (!context) return 1;
  FourTapScalePlane(context, picture.data(), cxIn, window.data(), cx, x, y, cx, cy);
  FourTapScalePlane(context, picture.data(), cxIn, whole.data(), cxOut, 0, 0, cxOut, cyOut);
  DoneScaleContext(context);

  for (int line = 0; line < cy; ++line) {
    unsigned char const* const shown = window.data() + line * cx;
    if (std::equal(shown, shown + cx, whole.data() + (y + line) * cxOut + x)) continue;
    std::fprintf(stderr, "Rectangle: line %d is not that of the whole frame\n", line);
    return 1;
  }
}
