// Pictures that are stored on their side, and come upright: the scaled picture is turned.
#pragma once

#include <cstdint>
#include <memory>

#include "fourtap/Options.h"
#include "fourtap/Picture.h"

namespace tool {

// Orientations are EXIF's: 1 is upright.
//   5 to 8  width and height change places
inline bool SwapsSides(int orientation) { return orientation >= 5; }
inline PictureSize Turned(PictureSize size, int orientation) {
  return SwapsSides(orientation) ? PictureSize{size.cy, size.cx} : size;
}
// Where a part of an upright picture of some size lies in the stored one.
PictureRect Stored(PictureRect const& upright, PictureSize uprightSize, int orientation);

// What TurningWriter holds in memory of a picture of that size; nothing where each line can leave as soon as it comes.
int64_t TurningBytes(PictureSize size, PixelKind kind, int orientation);

// Takes the lines of a picture as it is stored, `size` large, and gives them upright to `writer`.
std::unique_ptr<PictureWriter> TurningWriter(std::unique_ptr<PictureWriter> writer, PictureSize size, PixelKind kind,
                                             int orientation);

}  // namespace tool
