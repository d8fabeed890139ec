#include <fourtapscale/ImageUtil.h>

namespace {

template <class Move>
void ForEachPixel(unsigned char* pixels, int cx, int cy, int stride, int bitsPerPixel, unsigned char* plane0,
                  unsigned char* plane1, unsigned char* plane2, int planeStride, Move move) {
  if (bitsPerPixel != 24) return;
  for (int y = 0; y < cy; ++y) {
    for (int x = 0; x < cx; ++x) {
      unsigned char* const pixel = pixels + 3L * x;
      move(pixel[0], plane0[x]);
      move(pixel[1], plane1[x]);
      move(pixel[2], plane2[x]);
    }
    pixels += stride;
    plane0 += planeStride;
    plane1 += planeStride;
    plane2 += planeStride;
  }
}

}  // namespace

void GetPlanes(unsigned char* pixels, int cx, int cy, int stride, int bitsPerPixel, unsigned char* plane0,
               unsigned char* plane1, unsigned char* plane2, int planeStride) {
  ForEachPixel(pixels, cx, cy, stride, bitsPerPixel, plane0, plane1, plane2, planeStride,
               [](unsigned char const& pixelByte, unsigned char& planeByte) { planeByte = pixelByte; });
}

void SetPlanes(unsigned char* pixels, int cx, int cy, int stride, int bitsPerPixel, unsigned char* plane0,
               unsigned char* plane1, unsigned char* plane2, int planeStride) {
  ForEachPixel(pixels, cx, cy, stride, bitsPerPixel, plane0, plane1, plane2, planeStride,
               [](unsigned char& pixelByte, unsigned char const& planeByte) { pixelByte = planeByte; });
}
