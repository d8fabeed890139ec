#include <cstdint>

#include "chart/Drawing.h"

namespace chart {

Drawing ZonePlate(tool::PictureSize size) {
  return {size, tool::PixelKind::gray, [size](int y, unsigned char* line) {
            // cos(pi * r^2 / n) for the longer side n, with r in half pixels.
            int64_t const turn = int64_t{8} * std::max(size.cx, size.cy);
            int64_t const down = int64_t{2} * y + 1 - size.cy;
            for (int x = 0; x < size.cx; ++x) {
              int64_t const across = int64_t{2} * x + 1 - size.cx;
              int64_t const part = (across * across + down * down) % turn;
              line[x] = Byte(0.5 + 0.5 * Cosine(static_cast<double>(part) / static_cast<double>(turn)));
            }
          }};
}

}  // namespace chart
