// Pictures from and to uncompressed BMP files of 24 or 32 bits per pixel.
#pragma once

#include <string>

#include "fourtap/Picture.h"

namespace tool {

// Throws a Failure that says what is wrong with the file.
Picture ReadBitmap(std::string const& name);

// Throws a Failure unless a file `name` can hold such a picture.
void CheckBitmapSize(std::string const& name, int cx, int cy, int bitsPerPixel);

// Replaces an existing file only by a whole one; throws a Failure otherwise. The size has been checked.
void WriteBitmap(std::string const& name, Picture const& picture);

}  // namespace tool
