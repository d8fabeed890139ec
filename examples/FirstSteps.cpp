// Scales packed 4:2:2 frames by the functions that trust their arguments: lines of the README, as a program.
#include <fourtapscale/FourTapScale.h>

#include <cstdio>
#include <vector>

int main() {
  std::vector<unsigned char> picture(2 * 1920 * 1080, 100), smaller(2 * 1280 * 720);
  unsigned char const* const frame = picture.data();
  unsigned char* const scaled = smaller.data();

  // Once: the fastest scaler for the layout on this processor, and a context for the sizes.
  FourTapFrameScaler* const scale = FourTapFrameScalerFor(FourTapLayoutXYXY, FourTapSetWidest);
  _SCALE_CONTEXT* const context = InitScaleContext(1920, 1080, 1280, 720, 16);  // 16 bits per pixel: packed
  if (!scale || !context) return 1;
  // For each frame: pointers, bytes from line to line, and a rectangle of the output.
  scale(context, frame, 2 * 1920, scaled, 2 * 1280, 0, 0, 1280, 720);
  DoneScaleContext(context);  // at the end

  for (unsigned char const byte : smaller) {
    if (byte == 100) continue;
    std::fprintf(stderr, "FirstSteps: a flat picture became %d, expected 100\n", byte);
    return 1;
  }
}
