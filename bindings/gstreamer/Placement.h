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

// Such as "640x480".
std::string SizeText(GstVideoInfo const& frame);

// Why frames of `in` can't become such pictures: a sentence, or nothing if they can. `otherFeatures` are those of caps
// of other than plain frames, or nothing.
std::string WhyNot(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, Placement const& placement,
                   std::string const& otherFeatures);

}  // namespace gstfourtap
