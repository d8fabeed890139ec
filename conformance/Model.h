// What the scalers mean, in closed form and one sample at a time. Shares no code with the library.
#pragma once

#include <vector>

#include "conformance/Variants.h"

namespace conformance {

using Bytes = std::vector<unsigned char>;

struct Sizes {
  int cxIn, cyIn, cxOut, cyOut;

  bool VertPass() const { return cyIn != cyOut; }
  bool HorzPass() const { return cxIn != cxOut || cyIn == cyOut; }
};

struct Rect {
  int x, y, cx, cy;
};

// The whole output picture; lines follow each other without gaps, on both sides.
Bytes ModelFrame(Layout layout, Sizes const& sizes, Bytes const& picture);

// A rectangle of a picture cx pixels wide.
Bytes Crop(Layout layout, Bytes const& picture, int cx, Rect const& rect);

// How many output lines a progressive scaler has written once it has been handed the first cyInDone lines of a frame.
//   blockLines  of its Variant
int ModelLinesWritten(Sizes const& sizes, int blockLines, int cyInDone);

}  // namespace conformance
