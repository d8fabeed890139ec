#include "fourtap/Palette.h"

namespace tool {

PaletteNumbers::PaletteNumbers(Palette const& palette, PixelKind pixels) : bits(1), kind(pixels) {
  while (size_t{1} << bits < palette.size()) bits *= 2;
  for (unsigned number = 0; number < palette.size(); ++number) numbers.emplace(KeyOf(palette[number].data()), number);
}

uint32_t PaletteNumbers::KeyOf(unsigned char const* pixel) const {
  unsigned const alpha = kind == PixelKind::rgba ? pixel[3] : 255;
  return pixel[0] | uint32_t{pixel[1]} << 8 | uint32_t{pixel[2]} << 16 | alpha << 24;
}

void PaletteNumbers::Pack(unsigned char const* pixels, int cx, unsigned char* packed) const {
  uint32_t lastKey = 0;
  unsigned number = 0, byte = 0;
  int const perByte = 8 / bits;
  for (int x = 0; x < cx; ++x, pixels += BytesPerPixel(kind)) {
    uint32_t const key = KeyOf(pixels);
    if (x == 0 || key != lastKey) number = numbers.at(key);
    lastKey = key;
    byte = byte << bits | number;
    if ((x + 1) % perByte == 0) *packed++ = static_cast<unsigned char>(byte);
  }
  if (int const left = cx % perByte) *packed = static_cast<unsigned char>(byte << bits * (perByte - left));
}

}  // namespace tool
