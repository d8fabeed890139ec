// No frame takes memory.
#include <gst/video/gstvideofilter.h>
#include <gtest/gtest.h>

#include <string>

#include "Frames.h"
#include "conformance/CountedAllocations.h"

namespace {

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
