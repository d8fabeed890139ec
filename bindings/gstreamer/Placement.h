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

}  // namespace gstfourtap
