// What the scalers mean, in closed form and one sample at a time. Shares no code with the library.
#pragma once

#include <cstdint>
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

// Where output sample i of nOut lies among nIn source samples.
struct Place {
  int64_t before;  // the source sample at or before it, the second of its four
  int phase;       // sixteenths of the way to the next one
};
Place PlaceOf(int nIn, int nOut, int i);

// The weights of a phase, which sum to 64.
int const (&WeightsOf(int phase))[4];

// The samples of a line that belong together: one channel, luma, or one chroma component.
struct Component {
  int firstByte;
  int distance;  // bytes between samples
  int pixelsPerSample;
};

// Bytes of no component come out as 0.
std::vector<Component> ComponentsOf(Layout layout);

// The whole output picture; lines follow each other without gaps, on both sides.
Bytes ModelFrame(Layout layout, Sizes const& sizes, Bytes const& picture);

// A rectangle of a picture cx pixels wide.
Bytes Crop(Layout layout, Bytes const& picture, int cx, Rect const& rect);

// How many output lines a progressive scaler has written once it has been handed the first cyInDone lines of a frame.
//   blockLines  of its Variant
int ModelLinesWritten(Sizes const& sizes, int blockLines, int cyInDone);

}  // namespace conformance
