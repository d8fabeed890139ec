// GStreamer's video scaler, the library behind its elements; the number of taps is given, so it does not widen.
#include <gst/video/video.h>

#include "bench/Peers.h"

namespace bench {
namespace {

using Scaler = std::shared_ptr<GstVideoScaler>;

GstVideoFormat FormatOf(conformance::Layout layout) {
  using enum conformance::Layout;
  switch (layout) {
    case Plane:
      return GST_VIDEO_FORMAT_GRAY8;
    case RGB24:
      return GST_VIDEO_FORMAT_RGB;
    case RGB32:
      return GST_VIDEO_FORMAT_RGBx;
    case XYXY:
      return GST_VIDEO_FORMAT_UYVY;
    case YXYX:
      return GST_VIDEO_FORMAT_YUY2;
    default:
      return GST_VIDEO_FORMAT_UNKNOWN;
  }
}

Scale Prepare(Job const& job, GstVideoResamplerMethod method, unsigned taps) {
  GstVideoFormat const format = FormatOf(job.layout);
  if (format == GST_VIDEO_FORMAT_UNKNOWN) return {};
  // Null where the size stays: that direction is then left out.
  auto const direction = [=](int from, int to) -> Scaler {
    if (from == to) return nullptr;
    return {gst_video_scaler_new(method, GST_VIDEO_SCALER_FLAG_NONE, taps, static_cast<unsigned>(from),
                                 static_cast<unsigned>(to), nullptr),
            gst_video_scaler_free};
  };
  Scaler horizontal = direction(job.in.cx, job.out.cx);
  if (horizontal && conformance::Traits(job.layout).pairs) {
    Scaler const chroma = direction(job.in.cx / 2, job.out.cx / 2);
    horizontal = {gst_video_scaler_combine_packed_YUV(horizontal.get(), chroma.get(), format, format),
                  gst_video_scaler_free};
  }
  return [horizontal, vertical = direction(job.in.cy, job.out.cy), format, in = job.in, out = job.out] {
    gst_video_scaler_2d(horizontal.get(), vertical.get(), format, in.Line(0), in.stride, out.Line(0), out.stride, 0, 0,
                        static_cast<unsigned>(out.cx), static_cast<unsigned>(out.cy));
  };
}

}  // namespace

std::vector<Peer> GStreamerPeers() {
  return {
      {"gstreamer-cubic", 4, false, [](Job const& job) { return Prepare(job, GST_VIDEO_RESAMPLER_METHOD_CUBIC, 4); }},
      {"gstreamer-linear", 2, false,
       [](Job const& job) { return Prepare(job, GST_VIDEO_RESAMPLER_METHOD_LINEAR, 2); }}};
}

}  // namespace bench
