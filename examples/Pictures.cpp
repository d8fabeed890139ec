// Makes a thumbnail of a picture with alpha while its lines arrive, 16 at a time, as from a decoder.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fourtapscale/fourtap.hpp>
#include <vector>

int main() {
  using namespace fourtapscale;
  Size const in{1200, 900}, out{120, 90};
  // Colours are multiplied by alpha before they are filtered, so those of transparent pixels don't show.
  PictureScaler scaler({Pixels::RGBAlpha}, in, out);
  std::vector<unsigned char> lines(4 * 1200 * 16), thumbnail(4 * 120 * 90);
  auto const target = TargetView::Within(scaler.TargetLayout(), out, thumbnail.data(), thumbnail.size());

  scaler.Begin();
  int written = 0;
  for (int y = 0; written < out.cy; y += 16) {
    int const cy = std::min(16, in.cy - y);
    // An orange disc; what lies around it is green, but can't be seen.
    for (int i = 0; i < in.cx * cy; ++i) {
      int const dx = i % in.cx - 600, dy = y + i / in.cx - 450;
      bool const inside = dx * dx + dy * dy < 400 * 400;
      unsigned char const pixel[] = {255, 128, 0, 255}, around[] = {0, 255, 0, 0};
      std::copy_n(inside ? pixel : around, 4, lines.begin() + 4 * i);
    }
    // There is room for all lines to come, so all of these are taken.
    auto const source = SourceView::Within(scaler.SourceLayout(), {in.cx, cy}, lines.data(), lines.size());
    written += scaler.Push(source, target.Part({0, written, out.cx, out.cy - written})).written;
  }

  int visible = 0;
  for (auto pixel = thumbnail.begin(); pixel != thumbnail.end(); pixel += 4) {
    if (pixel[3] == 0) continue;
    ++visible;
    // What is left of a colour that was multiplied by a small alpha is rounded.
    if (pixel[3] < 32 || (pixel[0] > 247 && std::abs(pixel[1] - 128) < 8 && pixel[2] == 0)) continue;
    std::fprintf(stderr, "Pictures: a pixel became %d %d %d, expected orange\n", pixel[0], pixel[1], pixel[2]);
    return 1;
  }
  if (visible > 5000 && visible < 5500) return 0;
  std::fprintf(stderr, "Pictures: %d pixels can be seen, expected a disc of 40 pixels around the middle\n", visible);
  return 1;
}
