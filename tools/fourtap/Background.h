// Pictures on a background: their alpha goes, and what lies behind it shows through.
#pragma once

#include <memory>

#include "fourtap/Options.h"
#include "fourtap/Picture.h"

namespace tool {

// Of a picture with alpha that is laid on a colour.
PixelKind KindOnColour(PixelKind kind, Colour colour);

// The lines of a picture with alpha as they look on a colour, without alpha.
//   premultiplied  its colours are multiplied by alpha already
std::unique_ptr<PictureReader> OnColour(std::unique_ptr<PictureReader> reader, Colour colour, bool premultiplied);

}  // namespace tool
