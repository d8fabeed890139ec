// Where the scaled picture lies in its frame, and whether it can be had.
#pragma once

#include <gst/video/video.h>

#include <string>

#include "Formats.h"

namespace gstfourtap {

struct Placement {
  int x, y, cx, cy;  // pixels of the frame

  bool IsWhole(GstVideoInfo const& frame) const { return cx == frame.width && cy == frame.height; }
};

// The whole frame; or, with borders, as much of it as has the display aspect of `in`, in the middle. There columns and
// lines that share chroma stay together.
Placement PlacePicture(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, bool addBorders);

// Why frames of `in` can't become such pictures: a sentence, or nothing if they can.
std::string WhyNot(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, Placement const& placement);

// Whether two pixels of a line share chroma and would have to part.
bool PartsPairs(Format const& format, int cxIn, int cxOut);

// Whether lines of two fields would have to mix, or fields to move against each other.
bool MixesFields(GstVideoInfo const& in, int cyOut);

}  // namespace gstfourtap
