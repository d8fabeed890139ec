#include "Placement.h"

#include <algorithm>
#include <cstdlib>

namespace gstfourtap {

namespace {

// The length `numerator` / `denominator` of a frame's `frameLength`, in whole steps of `unit` pixels, about in the
// middle: it begins at a multiple of `unitOfFirst`. What comes after the picture begins with a step of its own, unless
// the frame ends there.
void PlaceAlong(int frameLength, gint64 numerator, gint64 denominator, int unit, int unitOfFirst, int& first,
                int& count) {
  gint64 const step = denominator * unit;
  gint64 const nearest = std::max<gint64>((numerator + step / 2) / step, 1) * unit;
  first = 0;
  count = static_cast<int>(std::min<gint64>(nearest, frameLength));
  if (count == frameLength) return;
  first = (frameLength - count) / 2;
  first -= first % unitOfFirst;
}

// Whether two pixels of a line share chroma and would have to part.
bool PartsPairs(Format const& format, int cxIn, int cxOut) {
  return format.pairs && cxIn != cxOut && (cxIn % 2 != 0 || cxOut % 2 != 0);
}

// Whether lines of two fields would have to mix, or fields to move against each other.
bool MixesFields(GstVideoInfo const& in, int cyOut) { return GST_VIDEO_INFO_IS_INTERLACED(&in) && in.height != cyOut; }

std::string SizeText(int cx, int cy) { return std::to_string(cx) + "x" + std::to_string(cy); }

}  // namespace

std::string SizeText(GstVideoInfo const& frame) { return SizeText(frame.width, frame.height); }

Placement PlacePicture(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, bool addBorders) {
  Placement placement{0, 0, out.width, out.height};
  // An aspect of 0 is one that nobody knows.
  if (!addBorders || in.par_n <= 0 || in.par_d <= 0 || out.par_n <= 0 || out.par_d <= 0) return placement;
  // Width by height of the picture in the frame's pixels.
  int shape[2], shapeOfPixel[2];
  if (!gst_util_fraction_multiply(in.width, in.height, in.par_n, in.par_d, &shape[0], &shape[1]) ||
      !gst_util_fraction_multiply(shape[0], shape[1], out.par_d, out.par_n, &shapeOfPixel[0], &shapeOfPixel[1])) {
    return placement;
  }
  gint64 const across = shapeOfPixel[0], down = shapeOfPixel[1];
  int unitX = format.pairs ? 2 : 1, unitY = 1;
  fourtap_format const& planes = format.Planes();
  for (int i = 0; i < planes.plane_count; ++i) {
    unitX = std::max(unitX, planes.planes[i].columns);
    unitY = std::max(unitY, planes.planes[i].lines);
  }
  // The frame's sizes as multiples of each other's: the picture is as wide where they are equal, else it is lower than
  // the frame, or narrower. A frame that misses its aspect by less than a pixel, or a pair of them, was rounded to it.
  gint64 const cx = out.width * down, cy = out.height * across;
  // But interlaced frames must not change their height.
  bool const interlaced = GST_VIDEO_INFO_IS_INTERLACED(&in);
  bool const wholeByRounding = std::abs(cy - cx) < across || std::abs(cy - cx) < (format.pairs ? 2 : 1) * down;
  if (cx == cy || (wholeByRounding && !(interlaced && in.height < out.height))) return placement;
  if (cx < cy) {
    // Lines of a field stay lines of that field, and with them their chroma.
    int const unitOfFirst = interlaced ? 2 * unitY : unitY;
    PlaceAlong(out.height, cx, across, unitY, unitOfFirst, placement.y, placement.cy);
  } else {
    PlaceAlong(out.width, cy, down, unitX, unitX, placement.x, placement.cx);
  }
  return placement;
}

std::string WhyNot(Format const& format, GstVideoInfo const& in, GstVideoInfo const& out, Placement const& placement,
                   std::string const& otherFeatures) {
  std::string said = std::string(gst_video_format_to_string(format.format)) + " of " + SizeText(in) + " can't become " +
                     SizeText(placement.cx, placement.cy);
  if (!placement.IsWhole(out)) said += " with borders to " + SizeText(out);
  if (!otherFeatures.empty()) {
    return said + ": the caps have the features " + otherFeatures + ", expected memory:SystemMemory alone";
  }
  if (PartsPairs(format, in.width, placement.cx)) {
    return said + ": two pixels share chroma, expected even widths, or the same";
  }
  if (MixesFields(in, placement.cy)) {
    return said + ": the frames are interlaced, expected the same height, or a deinterlacer before";
  }
  return {};
}

}  // namespace gstfourtap
