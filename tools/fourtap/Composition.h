// What the size options come to: how large a picture or frame is scaled, and which part of that lies where in the
// result.
#pragma once

#include <string>

#include "fourtap/Options.h"

namespace tool {

struct Composition {
  PictureSize asked;  // what it is scaled to, before that was rounded
  PictureSize scaled;
  PictureRect rect;    // that is made, of the scaled picture
  PictureSize canvas;  // the result: the size of the rectangle, or larger
  int x, y;            // of the rectangle there

  PictureSize Part() const { return {rect.cx, rect.cy}; }
};

// Leaves options.rect to the caller: the rectangle is the whole, or what fills a box.
//   sharing  neighbouring pixels that can't be parted: what is not named exactly is rounded to that
// Throws a Failure for what can't be had.
Composition Compose(Options const& options, PictureSize picture, PictureSize sharing);

// For users: ", cropped to 100x100" and the like, or nothing.
std::string FramingText(Composition const& composition);

}  // namespace tool
