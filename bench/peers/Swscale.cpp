// libswscale, the scaler of FFmpeg.
extern "C" {
#include <libswscale/swscale.h>
}

#include <stdexcept>

#include "bench/Peers.h"

namespace bench {
namespace {

AVPixelFormat FormatOf(conformance::Layout layout) {
  using enum conformance::Layout;
  switch (layout) {
    case Plane:
      return AV_PIX_FMT_GRAY8;
    case RGB24:
      return AV_PIX_FMT_RGB24;
    case RGB32:
      return AV_PIX_FMT_RGB0;
    case XYXY:
      return AV_PIX_FMT_UYVY422;
    case YXYX:
      return AV_PIX_FMT_YUYV422;
    default:
      return AV_PIX_FMT_NONE;
  }
}

Scale Prepare(Job const& job, int flags) {
  AVPixelFormat const format = FormatOf(job.layout);
  if (format == AV_PIX_FMT_NONE) return {};
  std::shared_ptr<SwsContext> const context(
      sws_getContext(job.in.cx, job.in.cy, format, job.out.cx, job.out.cy, format, flags, nullptr, nullptr, nullptr),
      sws_freeContext);
  if (!context) throw std::runtime_error("libswscale refuses " + SizesOf(job));
  return [context, in = job.in, out = job.out] {
    unsigned char const* const source[] = {in.Line(0)};
    unsigned char* const destination[] = {out.Line(0)};
    sws_scale(context.get(), source, &in.stride, 0, in.cy, destination, &out.stride);
  };
}

}  // namespace

std::vector<Peer> SwscalePeers() {
  return {{"swscale-bicubic", 4, true, [](Job const& job) { return Prepare(job, SWS_BICUBIC); }},
          {"swscale-fast-bilinear", 2, false, [](Job const& job) { return Prepare(job, SWS_FAST_BILINEAR); }}};
}

}  // namespace bench
