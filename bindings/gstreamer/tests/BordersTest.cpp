// Black where the picture does not fill its frame.
#include <gtest/gtest.h>

#include <string>

#include "Frames.h"

namespace {

struct Placed {
  int cxIn, cyIn, cxOut, cyOut;
  int x, y, cx, cy;  // of the picture
};

// What of a component lies outside the picture, the rest as zeros.
conformance::Bytes Outside(MappedFrame const& frame, int component, Placed const& placed) {
  conformance::Bytes samples = frame.Component(component);
  int const cx = frame.Width(component), cy = frame.Height(component);
  for (int y = 0; y < cy; ++y) {
    for (int x = 0; x < cx; ++x) {
      int const column = x * placed.cxOut / cx, line = y * placed.cyOut / cy;
      bool const inside =
          column >= placed.x && column < placed.x + placed.cx && line >= placed.y && line < placed.y + placed.cy;
      if (inside) samples[static_cast<size_t>(y * cx + x)] = 0;
    }
  }
  return samples;
}

TEST(Borders, AreAsVideoscalesAndThePictureIsTheLibrarys) {
  std::string const pixels = "pixel-aspect-ratio=1/1";
  for (std::string const format : {"GRAY8", "RGB", "BGRx", "xRGB", "RGBA", "ABGR", "UYVY", "YUY2", "I420", "YV12",
                                   "Y41B", "Y42B", "Y444", "NV12", "NV21", "NV16", "GBR"}) {
    for (Placed const& placed : {Placed{64, 48, 128, 48, 32, 0, 64, 48},
                                 {64, 48, 80, 160, 0, 50, 80, 60},
                                 {200, 100, 40, 40, 0, 10, 40, 20}}) {
      std::string const in = CapsText(format, placed.cxIn, placed.cyIn, pixels),
                        out = CapsText(format, placed.cxOut, placed.cyOut, pixels);
      Buffer const frame = NoiseFrame(InfoOf(in), 1);
      Harness const harness = MakeHarness("threads=2", in, out);
      Buffer const scaled(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
      Harness const other(gst_harness_new("videoscale"));
      gst_harness_set_caps_str(other.get(), in.c_str(), out.c_str());
      Buffer const otherScaled(gst_harness_push_and_pull(other.get(), gst_buffer_ref(frame.get())));
      ASSERT_TRUE(scaled && otherScaled);
      MappedFrame const from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get()),
          otherTo(InfoOf(out), otherScaled.get());
      EXPECT_EQ(Difference(from, to, {}, placed.x, placed.y, placed.cx, placed.cy), "") << in << " to " << out;
      for (int c = 0; c < static_cast<int>(GST_VIDEO_FRAME_N_COMPONENTS(&to.frame)); ++c) {
        EXPECT_EQ(Outside(to, c, placed), Outside(otherTo, c, placed)) << in << " to " << out << ", component " << c;
      }
    }
  }
}

// Chroma that is shared is not divided between picture and border, and odd frames are filled to their last column.
TEST(Borders, KeepSharedChromaTogether) {
  std::string const pixels = "pixel-aspect-ratio=1/1";
  for (auto const& [format, placed] : {std::pair<std::string, Placed>{"I420", {60, 40, 101, 40, 20, 0, 60, 40}},
                                       {"UYVY", {60, 40, 103, 40, 20, 0, 60, 40}},
                                       {"NV12", {60, 40, 60, 51, 0, 4, 60, 40}},
                                       {"I420", {61, 40, 90, 40, 14, 0, 62, 40}}}) {
    std::string const in = CapsText(format, placed.cxIn, placed.cyIn, pixels),
                      out = CapsText(format, placed.cxOut, placed.cyOut, pixels);
    Buffer const frame = NoiseFrame(InfoOf(in), 1);
    Harness const harness = MakeHarness("", in, out);
    Buffer const scaled(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
    ASSERT_TRUE(scaled);
    MappedFrame const from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get());
    EXPECT_EQ(Difference(from, to, {}, placed.x, placed.y, placed.cx, placed.cy), "") << in << " to " << out;
    for (int c = 0; c < 3; ++c) {
      conformance::Bytes const samples = to.Component(c);
      EXPECT_EQ(samples.front(), c == 0 ? 16 : 128) << in << " to " << out << ", component " << c;
      EXPECT_EQ(samples.back(), c == 0 ? 16 : 128) << in << " to " << out << ", component " << c;
    }
  }
}

// Sizes that are as near to the aspect as whole pixels can be, as caps settle on them, get no stripes; others do.
TEST(Borders, AreNotForWhatRoundingMissed) {
  struct Sizes {
    int cxIn, cyIn, cxOut, cyOut;
  };
  std::string const pixels = "pixel-aspect-ratio=1/1";
  for (std::string const format : {"I420", "UYVY", "GRAY8"}) {
    for (Sizes const& sizes : {Sizes{1920, 1080, 854, 480},
                               {1920, 1080, 853, 480},
                               {1920, 1080, 1366, 768},
                               {1920, 1080, 426, 240},
                               {320, 240, 162, 121},
                               {1080, 1920, 240, 427},
                               {1000, 20, 108, 2}}) {
      if (format == "UYVY" && sizes.cxOut % 2 != 0) continue;
      std::string const in = CapsText(format, sizes.cxIn, sizes.cyIn, pixels),
                        out = CapsText(format, sizes.cxOut, sizes.cyOut, pixels);
      EXPECT_EQ(ScaleAndCompare(MakeHarness("", in, out).get(), in, out, {}, 1), "") << in << " to " << out;
    }
  }
  for (Placed const& placed : {Placed{1920, 1080, 480, 271, 0, 0, 480, 270}, {1080, 1920, 272, 480, 1, 0, 270, 480}}) {
    std::string const in = CapsText("GRAY8", placed.cxIn, placed.cyIn, pixels),
                      out = CapsText("GRAY8", placed.cxOut, placed.cyOut, pixels);
    Buffer const frame = NoiseFrame(InfoOf(in), 1);
    Buffer const scaled(gst_harness_push_and_pull(MakeHarness("", in, out).get(), gst_buffer_ref(frame.get())));
    ASSERT_TRUE(scaled);
    EXPECT_EQ(Difference(MappedFrame(InfoOf(in), frame.get()), MappedFrame(InfoOf(out), scaled.get()), {}, placed.x,
                         placed.y, placed.cx, placed.cy),
              "");
  }
}

// Pictures that keep their height keep the lines of their fields, and of the fields' chroma, in the frame's.
TEST(Borders, KeepFields) {
  std::string const more = "pixel-aspect-ratio=1/1,interlace-mode=interleaved";
  for (auto const& [format, placed] : {std::pair<std::string, Placed>{"GRAY8", {64, 48, 64, 50, 0, 0, 64, 48}},
                                       {"GRAY8", {64, 48, 64, 55, 0, 2, 64, 48}},
                                       {"GRAY8", {300, 100, 301, 101, 0, 0, 301, 100}},
                                       {"I420", {64, 48, 64, 52, 0, 0, 64, 48}},
                                       {"NV12", {64, 48, 64, 62, 0, 4, 64, 48}},
                                       {"UYVY", {64, 48, 128, 54, 28, 0, 72, 54}}}) {
    std::string const in = CapsText(format, placed.cxIn, placed.cyIn, more),
                      out = CapsText(format, placed.cxOut, placed.cyOut, more);
    Buffer const frame = NoiseFrame(InfoOf(in), 1);
    Harness const harness = MakeHarness("", in, out);
    Buffer scaled;
    if (gst_harness_push(harness.get(), gst_buffer_ref(frame.get())) == GST_FLOW_OK) {
      scaled.reset(gst_harness_pull(harness.get()));
    }
    EXPECT_EQ(static_cast<bool>(scaled), placed.cy == placed.cyIn) << in << " to " << out;
    if (!scaled) continue;
    MappedFrame const from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get());
    EXPECT_EQ(Difference(from, to, {}, placed.x, placed.y, placed.cx, placed.cy), "") << in << " to " << out;
  }
}

// A picture that keeps its size keeps its bytes too, and so does a plane, whatever becomes of others.
TEST(Borders, FilterNothingThatKeepsItsSize) {
  std::string const pixels = "pixel-aspect-ratio=1/1";
  for (std::string const settings : {"steps=true", "steps=false"}) {
    for (std::string const format : {"GRAY8", "I420", "UYVY", "RGB", "RGBA"}) {
      std::string const in = CapsText(format, 64, 48, pixels), out = CapsText(format, 64, 60, pixels);
      Buffer const frame = NoiseFrame(InfoOf(in), 1);
      Harness const harness = MakeHarness(settings, in, out);
      Buffer const scaled(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
      ASSERT_TRUE(scaled);
      MappedFrame const from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get());
      EXPECT_EQ(Difference(from, to, {}, 0, 6, 64, 48), "") << settings << ", " << format;
    }
    // Of 47 lines and of 48, both have 24 of chroma.
    std::string const in = CapsText("I420", 64, 47), out = CapsText("I420", 64, 48);
    Harness const harness = MakeHarness("add-borders=false " + settings, in, out);
    EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {settings == "steps=true", false}, 1), "") << settings;
  }
}

// Black is 0 where the whole range is used.
TEST(Borders, AreBlackInTheFramesRange) {
  std::string const more = "pixel-aspect-ratio=1/1,colorimetry=1:4:5:1";
  for (std::string const format : {"I420", "YUY2"}) {
    std::string const in = CapsText(format, 64, 48, more), out = CapsText(format, 128, 48, more);
    Harness const harness = MakeHarness("", in, out);
    Buffer const scaled(gst_harness_push_and_pull(harness.get(), NoiseFrame(InfoOf(in), 1).release()));
    ASSERT_TRUE(scaled);
    MappedFrame const to(InfoOf(out), scaled.get());
    for (int c = 0; c < 3; ++c) EXPECT_EQ(to.Component(c).front(), c == 0 ? 0 : 128) << format;
  }
}

// At the same size too, where only the pixels change their aspect.
TEST(Borders, ComeAndGoWithTheProperty) {
  std::string const in = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=1/1"),
                    out = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=2/1");
  Harness const harness = MakeHarness("", in, out);
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  for (bool const add : {true, false, true, false}) {
    g_object_set(element.get(), "add-borders", add, nullptr);
    Buffer const frame = NoiseFrame(InfoOf(in), 1);
    Buffer const scaled(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled.get() == frame.get(), !add);
    MappedFrame const from(InfoOf(in), frame.get()), to(InfoOf(out), scaled.get());
    if (add) {
      EXPECT_EQ(Difference(from, to, {}, 16, 0, 32, 48), "");
    }
  }
}

}  // namespace
