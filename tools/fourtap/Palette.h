// Pixels of few colours as numbers of a palette.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "fourtap/Picture.h"

namespace tool {

// Finds the numbers of colours.
struct PaletteNumbers {
  // Of up to 256 colours, for pixels that are RGB or RGBA.
  PaletteNumbers(Palette const& palette, PixelKind pixels);

  // Packs the numbers of pixels, all of them of the palette's colours, into bytes, the first into the highest bits.
  void Pack(unsigned char const* pixels, int cx, unsigned char* packed) const;
  size_t LineBytes(int cx) const { return (static_cast<size_t>(cx) * static_cast<size_t>(bits) + 7) / 8; }

  int bits;  // of a number: 1, 2, 4 or 8

 private:
  uint32_t KeyOf(unsigned char const* pixel) const;

  PixelKind kind;
  std::unordered_map<uint32_t, unsigned> numbers;
};

}  // namespace tool
