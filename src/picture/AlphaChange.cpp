#include "picture/AlphaChange.h"

#include <algorithm>
#include <cstdint>

namespace fourtap {

namespace {

// Over 255, rounded to nearest: without dividing. Products of two bytes, and sums of such by weights that give 255.
int Over255(int product) {
  int const rounded = product + 128;
  return (rounded + (rounded >> 8)) >> 8;
}

// 255 / alpha in 1 / 65536, rounded up by so little that the quotients below are those of a division.
struct Reciprocals {
  uint32_t of[256] = {};

  constexpr Reciprocals() {
    for (uint32_t alpha = 1; alpha < 256; ++alpha) of[alpha] = ((255U << 17) + alpha - 1) / alpha;
  }
};
constexpr Reciprocals reciprocals;

unsigned char Divided(int colour, int alpha) {
  // (2 * 255 * colour + alpha) / (2 * alpha), rounded down.
  uint64_t const scaled = uint64_t{reciprocals.of[alpha]} * static_cast<uint32_t>(colour) + (1U << 16);
  return static_cast<unsigned char>(std::min<uint64_t>(255, scaled >> 17));
}

template <int colours, class Change>
void ForPixels(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to, Change const& change) {
  for (size_t x = 0; x < cx; ++x, from += colours + 1, to += colours + 1) {
    int const alpha = from[pixel.alpha];
    for (int c = pixel.firstColour; c < pixel.firstColour + colours; ++c) {
      to[c] = static_cast<unsigned char>(change(from[c], alpha));
    }
    to[pixel.alpha] = static_cast<unsigned char>(alpha);
  }
}

template <class Change>
void ChangeColours(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to,
                   Change const& change) {
  pixel.colours == 1 ? ForPixels<1>(pixel, from, cx, to, change) : ForPixels<3>(pixel, from, cx, to, change);
}

}  // namespace

void MultiplyByAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  ChangeColours(pixel, from, cx, to, [](int colour, int alpha) { return Over255(colour * alpha); });
}

void DivideByAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  ChangeColours(pixel, from, cx, to, [](int colour, int alpha) { return alpha == 0 ? 0 : Divided(colour, alpha); });
}

void DropAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  for (size_t x = 0; x < cx; ++x, from += pixel.Bytes(), to += pixel.colours) {
    for (int c = 0; c < pixel.colours; ++c) to[c] = from[pixel.firstColour + c];
  }
}

void LayOnto(AlphaPixel const& pixel, unsigned char const* background, unsigned char const* from, size_t cx,
             unsigned char* to) {
  for (size_t x = 0; x < cx; ++x, from += pixel.Bytes(), to += pixel.colours) {
    int const alpha = from[pixel.alpha];
    for (int c = 0; c < pixel.colours; ++c) {
      to[c] = static_cast<unsigned char>(Over255(from[pixel.firstColour + c] * alpha + background[c] * (255 - alpha)));
    }
  }
}

}  // namespace fourtap
