// libyuv. It has no packed 4:2:2 scaler: such a picture goes through three planes, as its users do it.
#include <libyuv.h>
#include <libyuv/scale_rgb.h>

#include "bench/Peers.h"

namespace bench {
namespace {

using conformance::Layout;

// A 4:2:2 picture as planes.
struct Planes {
  int cx, cy;
  std::vector<unsigned char> luma, chroma[2];

  Planes(int width, int height) : cx(width), cy(height) {
    std::size_t const count = static_cast<std::size_t>(cx) * static_cast<std::size_t>(cy);
    luma.resize(count);
    for (auto& plane : chroma) plane.resize(count / 2);
  }
};

Scale PreparePacked(Job const& job) {
  auto const from = std::make_shared<Planes>(job.in.cx, job.in.cy);
  auto const to = std::make_shared<Planes>(job.out.cx, job.out.cy);
  bool const lumaFirst = job.layout == Layout::YXYX;
  auto const split = lumaFirst ? libyuv::YUY2ToI422 : libyuv::UYVYToI422;
  auto const merge = lumaFirst ? libyuv::I422ToYUY2 : libyuv::I422ToUYVY;
  return [=, in = job.in, out = job.out] {
    split(in.Line(0), in.stride, from->luma.data(), from->cx, from->chroma[0].data(), from->cx / 2,
          from->chroma[1].data(), from->cx / 2, in.cx, in.cy);
    libyuv::ScalePlane(from->luma.data(), from->cx, from->cx, from->cy, to->luma.data(), to->cx, to->cx, to->cy,
                       libyuv::kFilterBilinear);
    for (int k : {0, 1}) {
      libyuv::ScalePlane(from->chroma[k].data(), from->cx / 2, from->cx / 2, from->cy, to->chroma[k].data(), to->cx / 2,
                         to->cx / 2, to->cy, libyuv::kFilterBilinear);
    }
    merge(to->luma.data(), to->cx, to->chroma[0].data(), to->cx / 2, to->chroma[1].data(), to->cx / 2, out.Line(0),
          out.stride, out.cx, out.cy);
  };
}

Scale Prepare(Job const& job) {
  if (job.layout == Layout::XYXY || job.layout == Layout::YXYX) return PreparePacked(job);
  if (job.layout != Layout::Plane && job.layout != Layout::RGB24 && job.layout != Layout::RGB32) return {};
  return [layout = job.layout, in = job.in, out = job.out] {
    switch (layout) {
      case Layout::Plane:
        libyuv::ScalePlane(in.Line(0), in.stride, in.cx, in.cy, out.Line(0), out.stride, out.cx, out.cy,
                           libyuv::kFilterBilinear);
        break;
      case Layout::RGB24:
        libyuv::RGBScale(in.Line(0), in.stride, in.cx, in.cy, out.Line(0), out.stride, out.cx, out.cy,
                         libyuv::kFilterBilinear);
        break;
      default:
        libyuv::ARGBScale(in.Line(0), in.stride, in.cx, in.cy, out.Line(0), out.stride, out.cx, out.cy,
                          libyuv::kFilterBilinear);
    }
  };
}

}  // namespace

std::vector<Peer> LibyuvPeers() { return {{"libyuv-bilinear", 2, false, Prepare}}; }

}  // namespace bench
