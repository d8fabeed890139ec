// No frame takes memory, and what there is none for is refused.
#include <gst/video/gstvideofilter.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include "Frames.h"
#include "conformance/CountedAllocations.h"

namespace {
std::atomic<size_t> mostAtOnce{SIZE_MAX};
}

void* operator new(size_t size) {
  void* const memory = size > mostAtOnce ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

namespace {

// A line of the border is more than can be had.
TEST(NoMemory, IsSaid) {
  std::string const square = "pixel-aspect-ratio=1/1";
  std::string const in = CapsText("GRAY8", 64, 48, square), out = CapsText("GRAY8", 100000, 48, square);
  Harness const harness(gst_harness_new("fourtapscale"));
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Bus const bus(gst_bus_new());
  gst_element_set_bus(element.get(), bus.get());
  gst_harness_set_sink_caps_str(harness.get(), out.c_str());
  mostAtOnce = 99999;
  gst_harness_set_src_caps_str(harness.get(), in.c_str());
  mostAtOnce = SIZE_MAX;
  Message const message(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR));
  EXPECT_TRUE(message);
  if (message) {
    GError* error = nullptr;
    gst_message_parse_error(message.get(), &error, nullptr);
    EXPECT_STREQ(error->message, "There is not enough memory to scale frames of 64x48 to 100000x48");
    g_error_free(error);
  }
  gst_element_set_bus(element.get(), nullptr);
}

// What the base class calls for each frame, without what it does around it. With borders, far reductions, alpha,
// threads.
TEST(NoAllocation, FramesTakeNoMemory) {
  for (std::string const format : {"NV12", "UYVY", "BGRA"}) {
    for (auto const& [cx, cy] : {std::pair{100, 80}, {40, 20}, {30, 40}}) {
      std::string const square = "pixel-aspect-ratio=1/1";
      std::string const in = CapsText(format, 128, 96, square), out = CapsText(format, cx, cy, square);
      Harness const harness = MakeHarness("threads=3", in, out);
      Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
      // Settles the caps.
      Buffer(gst_harness_push_and_pull(harness.get(), NoiseFrame(InfoOf(in), 1).release()));

      Buffer const frame = NoiseFrame(InfoOf(in), 2), scaled = NoiseFrame(InfoOf(out), 3);
      MappedFrame from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get(), GST_MAP_WRITE);
      auto* const filter = GST_VIDEO_FILTER(element.get());
      auto const transform = GST_VIDEO_FILTER_GET_CLASS(filter)->transform_frame;
      int const before = allocations;
      EXPECT_GT(before, 0);
      for (int i = 0; i < 20; ++i) EXPECT_EQ(transform(filter, &from.frame, &to.frame), GST_FLOW_OK);
      EXPECT_EQ(allocations, before) << in << " to " << out;
    }
  }
}

}  // namespace
