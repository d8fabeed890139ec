// Scales a frame of a camera or a decoder as it is: a plane of luma, and one of chroma at half the size.
#include <cstdio>
#include <fourtapscale/fourtap.hpp>
#include <vector>

int main() {
  using namespace fourtapscale;
  Size const in{639, 359}, out{426, 240};
  FrameScaler scaler("nv12", in, out);

  // The decoder's lines are 640 bytes apart. Chroma of 639x359 pixels measures 320x180: half, rounded up.
  std::vector<unsigned char> luma(640 * 359, 90), chroma(640 * 180);
  for (std::size_t i = 0; i < chroma.size(); ++i) chroma[i] = i % 2 == 0 ? 60 : 200;
  Size const chromaSize = scaler.Format().PlaneSize(1, in);
  SourceFrame const source = {SourceView::Within(Layout::Plane, in, luma.data(), luma.size(), 640),
                              SourceView::Within(Layout::UV16, chromaSize, chroma.data(), chroma.size(), 640)};

  // What comes out lies in one block, as encoders take it.
  std::vector<unsigned char> scaled(scaler.Format().FrameBytes(out));
  TargetFrame const target = scaler.Format().Within(out, scaled.data(), scaled.size());
  scaler.Scale(source, target);

  std::size_t const chromaOffset = scaler.Format().PlaneOffset(1, out);
  for (std::size_t i = 0; i < scaled.size(); ++i) {
    int const expected = i < chromaOffset ? 90 : (i - chromaOffset) % 2 == 0 ? 60 : 200;
    if (scaled[i] == expected) continue;
    std::fprintf(stderr, "NV12: byte %zu of a flat frame became %d, expected %d\n", i, scaled[i], expected);
    return 1;
  }
}
