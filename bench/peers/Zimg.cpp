// zimg: planes only.
#include <zimg.h>

#include <stdexcept>

#include "bench/Peers.h"

namespace bench {
namespace {

zimg_image_format FormatOf(Frame const& frame) {
  zimg_image_format format;
  zimg_image_format_default(&format, ZIMG_API_VERSION);
  format.width = static_cast<unsigned>(frame.cx);
  format.height = static_cast<unsigned>(frame.cy);
  format.pixel_type = ZIMG_PIXEL_BYTE;
  return format;
}

Scale Prepare(Job const& job) {
  if (job.layout != conformance::Layout::Plane) return {};
  zimg_graph_builder_params params;
  zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
  params.resample_filter = ZIMG_RESIZE_BICUBIC;
  params.filter_param_a = 0;
  params.filter_param_b = 0.5;
  params.cpu_type = ZIMG_CPU_AUTO_64B;  // AVX-512 too
  zimg_image_format const from = FormatOf(job.in);
  zimg_image_format const to = FormatOf(job.out);
  std::shared_ptr<zimg_filter_graph> const graph(zimg_filter_graph_build(&from, &to, &params), zimg_filter_graph_free);
  std::size_t scratchBytes = 0;
  if (!graph || zimg_filter_graph_get_tmp_size(graph.get(), &scratchBytes) != ZIMG_ERROR_SUCCESS) {
    throw std::runtime_error("zimg refuses " + SizesOf(job));
  }
  return [graph, scratch = AlignedBytes(scratchBytes), in = job.in, out = job.out] {
    zimg_image_buffer_const source{ZIMG_API_VERSION, {}};
    source.plane[0] = {in.Line(0), in.stride, ZIMG_BUFFER_MAX};
    zimg_image_buffer destination{ZIMG_API_VERSION, {}};
    destination.plane[0] = {out.Line(0), out.stride, ZIMG_BUFFER_MAX};
    zimg_filter_graph_process(graph.get(), &source, &destination, scratch.get(), nullptr, nullptr, nullptr, nullptr);
  };
}

}  // namespace

std::vector<Peer> ZimgPeers() { return {{"zimg-bicubic", 4, true, Prepare}}; }

}  // namespace bench
