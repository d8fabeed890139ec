// What becomes of pixels with alpha before and after they are scaled.
#pragma once

#include <cstddef>

namespace fourtap {

// How a pixel with alpha lies.
struct AlphaPixel {
  int colours;      // 1 or 3
  int firstColour;  // byte of the first one; they follow each other
  int alpha;        // byte of alpha

  int Bytes() const { return colours + 1; }
};

// Colour times alpha over 255, rounded to nearest. `to` may be `from`.
void MultiplyByAlpha(AlphaPixel const&, unsigned char const* from, size_t cx, unsigned char* to);
// What that undoes, rounded to nearest, as far as it can be known: 0 where alpha is 0, and at most 255.
void DivideByAlpha(AlphaPixel const&, unsigned char const* from, size_t cx, unsigned char* to);
// Leaves alpha away.
void DropAlpha(AlphaPixel const&, unsigned char const* from, size_t cx, unsigned char* to);
// Lays the pixels onto a colour, rounded to nearest, and leaves alpha away.
void LayOnto(AlphaPixel const&, unsigned char const* background, unsigned char const* from, size_t cx,
             unsigned char* to);

}  // namespace fourtap
