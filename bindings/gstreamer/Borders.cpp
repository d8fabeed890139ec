#include "Borders.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace gstfourtap {

namespace {

int const anyByte = 255;  // of a pixel, where no component lies

// The bytes of a black pixel, or of the pixels that share chroma.
std::vector<guint8> BlackOf(GstVideoInfo const& frame, int plane) {
  GstVideoFormatInfo const* const info = frame.finfo;
  gint offset[GST_VIDEO_MAX_COMPONENTS], scale[GST_VIDEO_MAX_COMPONENTS];
  gst_video_color_range_offsets(frame.colorimetry.range, info, offset, scale);
  int unit = 1;
  for (int c = 0; c < static_cast<int>(info->n_components); ++c) {
    if (static_cast<int>(info->plane[c]) == plane) unit = std::max(unit, info->pixel_stride[c]);
  }
  std::vector<guint8> black(static_cast<size_t>(unit), anyByte);
  for (int c = 0; c < static_cast<int>(info->n_components); ++c) {
    if (static_cast<int>(info->plane[c]) != plane) continue;
    for (int at = static_cast<int>(info->poffset[c]); at < unit; at += info->pixel_stride[c]) {
      black[static_cast<size_t>(at)] = c == GST_VIDEO_COMP_A ? 255 : static_cast<guint8>(offset[c]);
    }
  }
  return black;
}

}  // namespace

Borders::Borders(Format const& format, GstVideoInfo const& frame, Placement const& placement) {
  fourtap_format const& formatOfPlanes = format.Planes();
  for (int i = 0; i < formatOfPlanes.plane_count; ++i) {
    fourtap_plane const& measures = formatOfPlanes.planes[i];
    std::vector<guint8> const black = BlackOf(frame, i);
    size_t const bytesPerPixel = format.pairs ? 2 : black.size();
    auto const bytes = [&](int pixels) { return static_cast<size_t>(ColumnsOf(measures, pixels)) * bytesPerPixel; };
    Plane plane;
    plane.lines = LinesOf(measures, frame.height);
    plane.firstLine = LinesOf(measures, placement.y);
    plane.endLine = LinesOf(measures, placement.y + placement.cy);
    plane.firstByte = bytes(placement.x);
    plane.endByte = bytes(placement.x + placement.cx);
    plane.line.resize(bytes(format.PixelsInMemory(frame.width)));
    for (size_t at = 0; at < plane.line.size(); ++at) plane.line[at] = black[at % black.size()];
    planes.push_back(std::move(plane));
  }
}

bool Borders::Paint(TargetLines const* frame) const {
  for (size_t i = 0; i < planes.size(); ++i) {
    Plane const& plane = planes[i];
    guint8* line = frame[i].top;
    for (int y = 0; y < plane.lines; ++y, line += frame[i].stride) {
      if (line >= frame[i].end || static_cast<size_t>(frame[i].end - line) < plane.line.size()) return false;
      if (plane.firstLine <= y && y < plane.endLine) {
        std::memcpy(line, plane.line.data(), plane.firstByte);
        std::memcpy(line + plane.endByte, plane.line.data() + plane.endByte, plane.line.size() - plane.endByte);
      } else {
        std::memcpy(line, plane.line.data(), plane.line.size());
      }
    }
  }
  return true;
}

}  // namespace gstfourtap
