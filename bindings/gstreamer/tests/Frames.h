// Frames of video to try the element with, and what must become of them.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <memory>
#include <string>

#include "conformance/Model.h"

// References that are given back.
struct Release {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
  void operator()(GstBus* bus) const { gst_object_unref(bus); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstElement* element) const { gst_object_unref(element); }
  void operator()(GstEvent* event) const { gst_event_unref(event); }
  void operator()(GstHarness* harness) const { gst_harness_teardown(harness); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
  void operator()(GstPad* pad) const { gst_object_unref(pad); }
};
using Buffer = std::unique_ptr<GstBuffer, Release>;
using Bus = std::unique_ptr<GstBus, Release>;
using Caps = std::unique_ptr<GstCaps, Release>;
using Element = std::unique_ptr<GstElement, Release>;
using Event = std::unique_ptr<GstEvent, Release>;
using Harness = std::unique_ptr<GstHarness, Release>;
using Message = std::unique_ptr<GstMessage, Release>;
using Pad = std::unique_ptr<GstPad, Release>;

// Caps of plain video; `more` as in "interlace-mode=interleaved".
std::string CapsText(std::string const& format, int cx, int cy, std::string const& more = "");
Caps CapsOf(std::string const& text);
GstVideoInfo InfoOf(std::string const& capsText);

// An element between caps, playing. Settings are those of a launch line, such as "threads=2 steps=false".
Harness MakeHarness(std::string const& settings, std::string const& in, std::string const& out);

// How a frame's planes lie in memory.
enum class Lying { tight, padded, upsideDown };

// A frame of noise. Its memory ends at a page that can't be touched, unless it is plain.
Buffer NoiseFrame(GstVideoInfo const& info, uint64_t seed, Lying lying = Lying::tight);

// A frame that is mapped as long as it lives.
class MappedFrame {
 public:
  MappedFrame(GstVideoInfo const& info, GstBuffer* buffer, GstMapFlags flags = GST_MAP_READ);
  ~MappedFrame();
  MappedFrame(MappedFrame const&) = delete;
  MappedFrame& operator=(MappedFrame const&) = delete;

  GstVideoFrame frame;

  // The samples of a component, or of what is no component in formats such as RGBx: number 3 of these.
  conformance::Bytes Component(int number) const;
  int Width(int number) const;
  int Height(int number) const;
  int ComponentCount() const;

  // What lies between a plane's lines.
  conformance::Bytes Gaps(guint plane) const;
};

// How frames are scaled: what the element's properties of these names say.
struct Rules {
  bool steps = true;
  bool premultiplied = false;
};

// What of the output, scaled from `in`, is not what the model of the library says; nothing if all is. The picture lies
// at x, y and is cx x cy pixels, all of the frame where cx is 0.
std::string Difference(MappedFrame const& in, MappedFrame const& out, Rules const& rules, int x = 0, int y = 0,
                       int cx = 0, int cy = 0);

// Pushes a frame of noise through, and compares it with the model.
std::string ScaleAndCompare(GstHarness* harness, std::string const& in, std::string const& out, Rules const& rules,
                            uint64_t seed, Lying lying = Lying::tight);
