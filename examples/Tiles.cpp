// Scales a picture tile by tile, each from the part of the source that it needs: neither picture has to lie in memory.
#include <algorithm>
#include <cstdio>
#include <fourtapscale/fourtap.hpp>
#include <vector>

using namespace fourtapscale;

// Stands for a file that is read in parts.
std::vector<unsigned char> ReadPart(Rect const& part) {
  std::vector<unsigned char> pixels;
  for (int y = part.y; y < part.y + part.cy; ++y) {
    for (int x = part.x; x < part.x + part.cx; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        pixels.push_back(static_cast<unsigned char>(x * 7 ^ y * 5 ^ channel * 85));
      }
    }
  }
  return pixels;
}

int main() {
  Size const in{1200, 900}, out{800, 600};
  int const cxTile = 256, cyTile = 256;
  std::vector<unsigned char> tiled(3 * 800 * 600), whole(3 * 800 * 600, 1);
  TargetView const target = TargetView::Within(Layout::RGB24, out, tiled.data(), tiled.size());

  Scaler scaler(Layout::RGB24, in, out);
  // Column by column: the tables of one are kept as long as its tiles follow each other.
  for (int x = 0; x < out.cx; x += cxTile) {
    for (int y = 0; y < out.cy; y += cyTile) {
      Rect const tile{x, y, std::min(cxTile, out.cx - x), std::min(cyTile, out.cy - y)};
      Rect const needed = scaler.Needed(tile);
      std::vector<unsigned char> const part = ReadPart(needed);
      scaler.ScalePart(SourceView::Within(Layout::RGB24, {needed.cx, needed.cy}, part.data(), part.size()), needed.x,
                       needed.y, target.Part(tile), tile.x, tile.y);
    }
  }

  std::vector<unsigned char> const picture = ReadPart({0, 0, in.cx, in.cy});
  scaler.Scale(SourceView::Within(Layout::RGB24, in, picture.data(), picture.size()),
               TargetView::Within(Layout::RGB24, out, whole.data(), whole.size()));
  if (tiled == whole) return 0;
  std::fputs("Tiles: the tiles do not add up to the whole picture\n", stderr);
  return 1;
}
