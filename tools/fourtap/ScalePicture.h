// The way of a picture through the scaler.
#pragma once

#include "fourtap/Picture.h"

namespace tool {

// The picture at cx x cy pixels, handed to the scaler in slices of `linesPerSlice` lines, or whole when that is 0. Both
// give the same bytes. Throws std::bad_alloc when there is no memory for it.
Picture ScalePicture(Picture const& source, int cx, int cy, int linesPerSlice);

}  // namespace tool
