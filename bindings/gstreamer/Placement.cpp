#include "Placement.h"

#include <algorithm>

namespace gstfourtap {

namespace {

// `length` of a frame's `frameLength`, in the middle, in steps of `unit` pixels. The one after the picture begins with
// a step of its own, unless the frame ends there.
void PlaceAlong(int frameLength, int length, int unit, int& first, int& count) {
  count = std::max(length - length % unit, unit);
  if (count >= frameLength) {
    first = 0;
    count = frameLength;
    return;
  }
  first = (frameLength - count) / 2;
  first -= first % unit;
}

// Whether two pixels of a line share chroma and would have to part.
bool PartsPairs(Format const& format, int cxIn, int cxOut) {
  return format.pairs && cxIn != cxOut && (cxIn % 2 != 0 || cxOut % 2 != 0);
}

// Whether lines of two fields would have to mix, or fields to move against each other.
bool MixesFields(GstVideoInfo const& in, int cyOut) { return GST_VIDEO_INFO_IS_INTERLACED(&in) && in.height != cyOut; }

std::string SizeText(int cx, int cy) { return std::to_string(cx) + "x" + std::to_string(cy); }

}  // namespace

Placement PlacePicture(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, bool addBorders) {
  Placement placement{0, 0, out.width, out.height};
  if (!addBorders) return placement;
  // Width by height of the picture in the frame's pixels.
  int shape[2], shapeOfPixel[2];
  if (!gst_util_fraction_multiply(in.width, in.height, in.par_n, in.par_d, &shape[0], &shape[1]) ||
      !gst_util_fraction_multiply(shape[0], shape[1], out.par_d, out.par_n, &shapeOfPixel[0], &shapeOfPixel[1])) {
    return placement;
  }
  auto const scaled = [](int value, int numerator, int denominator) {
    guint64 const result = gst_util_uint64_scale_int(static_cast<guint64>(value), numerator, denominator);
    return static_cast<int>(std::min<guint64>(result, G_MAXINT));
  };
  int unitX = format.pairs ? 2 : 1, unitY = 1;
  fourtap_format const& planes = format.Planes();
  for (int i = 0; i < planes.plane_count; ++i) {
    unitX = std::max(unitX, planes.planes[i].columns);
    unitY = std::max(unitY, planes.planes[i].lines);
  }
  int const cy = scaled(out.width, shapeOfPixel[1], shapeOfPixel[0]);
  if (cy < out.height) {
    PlaceAlong(out.height, cy, unitY, placement.y, placement.cy);
  } else {
    int const cx = scaled(out.height, shapeOfPixel[0], shapeOfPixel[1]);
    if (cx < out.width) PlaceAlong(out.width, cx, unitX, placement.x, placement.cx);
  }
  return placement;
}

std::string WhyNot(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, Placement const& placement) {
  std::string said = std::string(gst_video_format_to_string(format.format)) + " of " + SizeText(in.width, in.height) +
                     " can't become " + SizeText(placement.cx, placement.cy);
  if (!placement.IsWhole(out)) said += " with borders to " + SizeText(out.width, out.height);
  if (PartsPairs(format, in.width, placement.cx)) {
    return said + ": two pixels share chroma, expected even widths, or the same";
  }
  if (MixesFields(in, placement.cy)) {
    return said + ": the frames are interlaced, expected the same height, or a deinterlacer before";
  }
  return {};
}

}  // namespace gstfourtap
