// Scales into memory that others laid out: bottom line first, lines an odd number of bytes apart, at an odd address.
#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

int main() {
  constexpr int cxIn = 50, cyIn = 40, cxOut = 75, cyOut = 60, bytes = 4 * cxOut, stride = bytes + 7;
  std::vector<unsigned char> picture(4 * cxIn * cyIn), plain(bytes * cyOut), surface(1 + stride * cyOut, 0xEE);
  std::iota(picture.begin(), picture.end(), 0);
  unsigned char* const topLine = surface.data() + 1 + (cyOut - 1) * stride;

  FourTapFrameScaler* const scale = FourTapFrameScalerFor(FourTapLayoutRGB32, FourTapSetWidest);
  _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 32);
  if (!scale || !context) return 1;
  scale(context, picture.data(), 4 * cxIn, topLine, -stride, 0, 0, cxOut, cyOut);
  scale(context, picture.data(), 4 * cxIn, plain.data(), bytes, 0, 0, cxOut, cyOut);
  DoneScaleContext(context);

  for (int y = 0; y < cyOut; ++y) {
    unsigned char const* const line = topLine - y * stride;
    bool const between = std::all_of(line + bytes, line + stride, [](unsigned char byte) { return byte == 0xEE; });
    if (between && std::equal(line, line + bytes, plain.data() + y * bytes)) continue;
    std::fprintf(stderr, "ForeignSurface: line %d is not the plain picture's, or spills over\n", y);
    return 1;
  }
}
