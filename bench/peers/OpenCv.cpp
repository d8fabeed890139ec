// OpenCV's cv::resize. It has no packed 4:2:2.
#include <opencv2/imgproc.hpp>

#include "bench/Peers.h"

namespace bench {
namespace {

Scale Prepare(Job const& job, cv::InterpolationFlags interpolation) {
  conformance::LayoutTraits const& traits = conformance::Traits(job.layout);
  if (traits.pairs) return {};
  cv::setNumThreads(1);
  auto const matrix = [&](Frame const& frame) {
    return cv::Mat(frame.cy, frame.cx, CV_8UC(traits.BytesPerPixel()), frame.Line(0),
                   static_cast<std::size_t>(frame.stride));
  };
  return [from = matrix(job.in), to = matrix(job.out), interpolation]() mutable {
    cv::resize(from, to, to.size(), 0, 0, interpolation);
  };
}

}  // namespace

std::vector<Peer> OpenCvPeers() {
  return {{"opencv-cubic", 4, false, [](Job const& job) { return Prepare(job, cv::INTER_CUBIC); }},
          {"opencv-linear", 2, false, [](Job const& job) { return Prepare(job, cv::INTER_LINEAR); }}};
}

}  // namespace bench
