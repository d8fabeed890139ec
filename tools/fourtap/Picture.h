// A picture in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

struct Picture {
  int cx, cy;                         // pixels, lines
  int bitsPerPixel;                   // 24 or 32
  int stride;                         // bytes from line to line: the line rounded up to a multiple of 4
  std::vector<unsigned char> pixels;  // stride * cy bytes, the top line first
};

// Bytes of a picture's line, padding included.
inline int64_t LineBytes(int64_t cx, int bitsPerPixel) { return (cx * bitsPerPixel + 31) / 32 * 4; }

// A picture of zeros; a line must fit an int.
inline Picture MakePicture(int cx, int cy, int bitsPerPixel) {
  auto const stride = static_cast<int>(LineBytes(cx, bitsPerPixel));
  return {cx, cy, bitsPerPixel, stride,
          std::vector<unsigned char>(static_cast<size_t>(stride) * static_cast<size_t>(cy))};
}

}  // namespace tool
