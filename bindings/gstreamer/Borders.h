// The black around a picture that does not fill its frame.
#pragma once

#include <gst/video/video.h>

#include <vector>

#include "Formats.h"
#include "FrameScaler.h"
#include "Placement.h"

namespace gstfourtap {

class Borders {
 public:
  Borders(Format const& format, GstVideoInfo const& frame, Placement const& placement);

  // Writes them, and nothing of the picture, to the planes of a frame; whether the memory is as long as its lines.
  // Nothing is allocated.
  bool Paint(TargetLines const* frame) const;

 private:
  struct Plane {
    std::vector<guint8> line;  // a black one
    int lines;
    int firstLine, endLine;  // of the picture
    size_t firstByte, endByte;
  };
  std::vector<Plane> planes;
};

}  // namespace gstfourtap
