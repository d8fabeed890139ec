// The little of EXIF and XMP that a picture's size and orientation concern. All bytes are taken from anybody: what does
// not make sense is left as it is.
#pragma once

#include <string>
#include <vector>

#include "fourtap/SizeGrammar.h"

namespace tool {

// How a picture as it is stored comes upright: 1 as it is, 2 to 8 as EXIF numbers them. 1 also where nothing is said.
int ExifOrientation(std::vector<unsigned char> const& exif);

// Corrects what scaling makes stale: the picture's size becomes `size`; a thumbnail goes, and with it its bytes where
// they are the last.
//   turned  the picture has been turned upright: the orientation becomes 1
void RefreshExif(std::vector<unsigned char>& exif, PictureSize size, bool turned);

// The orientation becomes 1.
void SetXmpUpright(std::string& xmp);

}  // namespace tool
