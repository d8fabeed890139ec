#include "Frames.h"

#include <gst/video/gstvideometa.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "conformance/Cases.h"
#include "conformance/GuardedImage.h"
#include "conformance/PictureModel.h"

using conformance::Bytes;

std::string CapsText(std::string const& format, int cx, int cy, std::string const& more) {
  return "video/x-raw,format=" + format + ",width=" + std::to_string(cx) + ",height=" + std::to_string(cy) +
         ",framerate=30/1" + (more.empty() ? "" : "," + more);
}

Caps CapsOf(std::string const& text) {
  Caps caps(gst_caps_from_string(text.c_str()));
  if (!caps) throw std::invalid_argument("no caps: " + text);
  return caps;
}

GstVideoInfo InfoOf(std::string const& capsText) {
  GstVideoInfo info;
  if (!gst_video_info_from_caps(&info, CapsOf(capsText).get())) throw std::invalid_argument("no video: " + capsText);
  return info;
}

Harness MakeHarness(std::string const& settings, std::string const& in, std::string const& out) {
  Harness harness(gst_harness_new_parse(("fourtapscale " + settings).c_str()));
  gst_harness_set_caps_str(harness.get(), in.c_str(), out.c_str());
  return harness;
}

Buffer NoiseFrame(GstVideoInfo const& info, uint64_t seed, Lying lying) {
  // Each plane for itself, so that none may be read beyond its end.
  Buffer buffer(gst_buffer_new());
  conformance::Random random(seed);
  gsize offsets[GST_VIDEO_MAX_PLANES] = {};
  gint strides[GST_VIDEO_MAX_PLANES] = {};
  gsize offset = 0;
  for (guint i = 0; i < GST_VIDEO_INFO_N_PLANES(&info); ++i) {
    gint components[GST_VIDEO_MAX_COMPONENTS];
    gst_video_format_info_component(info.finfo, i, components);
    gsize const lines = static_cast<gsize>(GST_VIDEO_INFO_COMP_HEIGHT(&info, components[0]));
    gsize const stride = static_cast<gsize>(info.stride[i]) + (lying == Lying::tight ? 0 : 24 + 8 * i);
    auto* const bytes = new conformance::GuardedBytes(stride * lines);
    for (gsize at = 0; at < bytes->Size(); ++at) bytes->Contents()[at] = static_cast<unsigned char>(random.Next());
    gst_buffer_append_memory(
        buffer.get(),
        gst_memory_new_wrapped(static_cast<GstMemoryFlags>(0), bytes->Data(), bytes->Size(), 0, bytes->Size(), bytes,
                               [](gpointer owned) { delete static_cast<conformance::GuardedBytes*>(owned); }));
    offsets[i] = offset;
    strides[i] = static_cast<gint>(stride);
    if (lying == Lying::upsideDown) {
      offsets[i] += stride * (lines - 1);
      strides[i] = -strides[i];
    }
    offset += bytes->Size();
  }
  gst_buffer_add_video_meta_full(buffer.get(), GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&info),
                                 static_cast<guint>(info.width), static_cast<guint>(info.height),
                                 GST_VIDEO_INFO_N_PLANES(&info), offsets, strides);
  return buffer;
}

MappedFrame::MappedFrame(GstVideoInfo const& info, GstBuffer* buffer, GstMapFlags flags) {
  if (!gst_video_frame_map(&frame, &info, buffer, flags)) throw std::runtime_error("the frame can't be mapped");
}

MappedFrame::~MappedFrame() { gst_video_frame_unmap(&frame); }

int MappedFrame::ComponentCount() const {
  bool const hasFourthByte = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, 0) == 4 && GST_VIDEO_FRAME_N_PLANES(&frame) == 1 &&
                             GST_VIDEO_INFO_IS_RGB(&frame.info);
  return hasFourthByte ? 4 : static_cast<int>(GST_VIDEO_FRAME_N_COMPONENTS(&frame));
}

int MappedFrame::Width(int number) const {
  return number < static_cast<int>(GST_VIDEO_FRAME_N_COMPONENTS(&frame)) ? GST_VIDEO_FRAME_COMP_WIDTH(&frame, number)
                                                                         : frame.info.width;
}

int MappedFrame::Height(int number) const {
  return number < static_cast<int>(GST_VIDEO_FRAME_N_COMPONENTS(&frame)) ? GST_VIDEO_FRAME_COMP_HEIGHT(&frame, number)
                                                                         : frame.info.height;
}

Bytes MappedFrame::Component(int number) const {
  bool const isComponent = number < static_cast<int>(GST_VIDEO_FRAME_N_COMPONENTS(&frame));
  auto const* line = static_cast<guint8 const*>(frame.data[0]);
  int stride = frame.info.stride[0], step = 4;
  if (isComponent) {
    line = static_cast<guint8 const*>(GST_VIDEO_FRAME_COMP_DATA(&frame, number));
    stride = GST_VIDEO_FRAME_COMP_STRIDE(&frame, number);
    step = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, number);
  } else {
    // The byte of the four that no component has.
    for (int c = 0; c < 3; ++c) line -= GST_VIDEO_FRAME_COMP_POFFSET(&frame, c);
    line += 0 + 1 + 2 + 3;
  }
  Bytes samples;
  for (int y = 0; y < Height(number); ++y, line += stride) {
    for (int x = 0; x < Width(number); ++x) samples.push_back(line[x * step]);
  }
  return samples;
}

Bytes MappedFrame::Gaps(guint plane) const {
  gint components[GST_VIDEO_MAX_COMPONENTS];
  gst_video_format_info_component(frame.info.finfo, plane, components);
  int const pixels = GST_VIDEO_FRAME_COMP_WIDTH(&frame, components[0]);
  int const lineBytes = pixels * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, components[0]);
  auto const* line = static_cast<guint8 const*>(frame.data[plane]);
  Bytes gaps;
  for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, components[0]); ++y, line += frame.info.stride[plane]) {
    gaps.insert(gaps.end(), line + lineBytes, line + std::abs(frame.info.stride[plane]));
  }
  return gaps;
}

namespace {

using conformance::Sizes;

Bytes ModelOf(int pixels, Rules const& rules, Sizes const& sizes, Bytes const& picture) {
  if (sizes.cxIn == sizes.cxOut && sizes.cyIn == sizes.cyOut) return picture;
  return conformance::ModelPicture({pixels,
                                    rules.steps ? FOURTAP_REDUCE_WIDELY : FOURTAP_REDUCE_BY_FOUR_TAPS,
                                    rules.premultiplied ? FOURTAP_ALPHA_STRAIGHT : FOURTAP_ALPHA_MULTIPLY,
                                    {}},
                                   sizes, picture);
}

// Pixels of a component for those of the frame.
int Shared(int length, int whole, int component) {
  int together = 1;
  while ((whole + together - 1) / together != component) together *= 2;
  return (length + together - 1) / together;
}

}  // namespace

std::string Difference(MappedFrame const& in, MappedFrame const& out, Rules const& rules, int x, int y, int cx,
                       int cy) {
  if (cx == 0) {
    cx = out.frame.info.width;
    cy = out.frame.info.height;
  }
  int const count = in.ComponentCount();
  bool const alpha = GST_VIDEO_FORMAT_INFO_HAS_ALPHA(in.frame.info.finfo);
  std::vector<Bytes> from, expected;
  for (int c = 0; c < count; ++c) from.push_back(in.Component(c));
  if (alpha) {
    Bytes pixels;
    for (size_t i = 0; i < from[0].size(); ++i) {
      for (Bytes const& component : from) pixels.push_back(component[i]);
    }
    Bytes const scaled = ModelOf(FOURTAP_RGB_ALPHA, rules, {in.frame.info.width, in.frame.info.height, cx, cy}, pixels);
    expected.resize(from.size());
    for (size_t i = 0; i < scaled.size(); ++i) expected[i % from.size()].push_back(scaled[i]);
  }
  for (int c = 0; c < count; ++c) {
    int const width = Shared(cx, out.frame.info.width, out.Width(c)),
              height = Shared(cy, out.frame.info.height, out.Height(c)),
              left = Shared(x, out.frame.info.width, out.Width(c)),
              top = Shared(y, out.frame.info.height, out.Height(c));
    if (!alpha) {
      expected.push_back(ModelOf(FOURTAP_PLANE, rules, {in.Width(c), in.Height(c), width, height}, from[size_t(c)]));
    }
    Bytes const all = out.Component(c);
    for (int line = 0; line < height; ++line) {
      for (int column = 0; column < width; ++column) {
        int const got = all[static_cast<size_t>((top + line) * out.Width(c) + left + column)];
        int const wanted = expected[size_t(c)][static_cast<size_t>(line * width + column)];
        if (got != wanted) {
          return "component " + std::to_string(c) + " is " + std::to_string(got) + " at " + std::to_string(column) +
                 "," + std::to_string(line) + ", expected " + std::to_string(wanted);
        }
      }
    }
  }
  return "";
}

std::string ScaleAndCompare(GstHarness* harness, std::string const& in, std::string const& out, Rules const& rules,
                            uint64_t seed, Lying lying) {
  GstVideoInfo const inInfo = InfoOf(in), outInfo = InfoOf(out);
  Buffer const frame = NoiseFrame(inInfo, seed, lying);
  Buffer const scaled(gst_harness_push_and_pull(harness, gst_buffer_ref(frame.get())));
  if (!scaled) return "nothing came out";
  return Difference(MappedFrame(inInfo, frame.get()), MappedFrame(outInfo, scaled.get()), rules);
}
