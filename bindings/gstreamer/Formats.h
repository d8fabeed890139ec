// The formats of video that can be scaled, and what the library calls them.
#pragma once

#include <fourtapscale/fourtap.h>
#include <gst/video/video.h>

#include <span>

namespace gstfourtap {

struct Format {
  GstVideoFormat format;
  char const* name;  // of the library's format with the same planes
  int alphaPixels;   // FOURTAP_RGB_ALPHA or FOURTAP_ALPHA_RGB where there is alpha, else 0
  bool pairs;        // two pixels of a line share chroma: they are scaled together, so widths are even

  fourtap_format const& Planes() const { return *fourtap_format_named(name); }
  // Pixels of a line in memory, where a last one without a partner has one too.
  int PixelsInMemory(int cx) const { return pairs ? cx + cx % 2 : cx; }
};

// What a plane measures, in its own pixels, for so many pixels of the frame across and down.
inline int ColumnsOf(fourtap_plane const& plane, int cx) { return (cx + plane.columns - 1) / plane.columns; }
inline int LinesOf(fourtap_plane const& plane, int cy) { return (cy + plane.lines - 1) / plane.lines; }

std::span<Format const> Formats();

// Null for any other.
Format const* FormatOf(GstVideoFormat format);

}  // namespace gstfourtap
