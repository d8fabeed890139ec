// Every format, as the model of the library has it, component by component.
#include <gst/video/gstvideofilter.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Frames.h"
#include "conformance/Cases.h"

namespace {

struct Sizes {
  int cxIn, cyIn, cxOut, cyOut;
};

std::vector<std::string> FormatNames() {
  return {"GRAY8", "RGB",  "BGR",  "RGBx", "BGRx", "xRGB", "xBGR", "RGBA", "BGRA", "ARGB", "ABGR", "UYVY", "VYUY",
          "YUY2",  "YVYU", "I420", "YV12", "Y41B", "Y42B", "Y444", "NV12", "NV21", "NV16", "NV61", "NV24", "GBR"};
}

bool InPairs(std::string const& format) {
  return format == "UYVY" || format == "VYUY" || format == "YUY2" || format == "YVYU";
}

class Formats : public testing::TestWithParam<std::string> {};

TEST_P(Formats, HaveTheLibrarysBytes) {
  std::vector<Sizes> sizes{{34, 18, 62, 40}, {64, 48, 40, 30}, {200, 120, 40, 21}, {120, 50, 50, 80},
                           {64, 48, 64, 30}, {64, 48, 40, 48}, {35, 27, 35, 41},   {2, 3, 6, 2}};
  if (!InPairs(GetParam())) sizes.insert(sizes.end(), {{35, 27, 23, 41}, {9, 150, 35, 7}, {1, 1, 3, 5}, {7, 7, 1, 1}});
  uint64_t seed = 1;
  for (Sizes const& size : sizes) {
    std::string const in = CapsText(GetParam(), size.cxIn, size.cyIn),
                      out = CapsText(GetParam(), size.cxOut, size.cyOut);
    for (auto const& [settings, rules] : {std::pair{"", Rules{}},
                                          {"steps=false premultiplied=true threads=3", Rules{false, true}},
                                          {"threads=2 set=c", Rules{}},
                                          {"premultiplied=true threads=0 set=sse2", Rules{true, true}}}) {
      Harness const harness = MakeHarness(std::string("add-borders=false ") + settings, in, out);
      for (Lying const lying : {Lying::tight, Lying::padded, Lying::upsideDown}) {
        EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, rules, seed++, lying), "")
            << in << " to " << out << " " << settings << ", memory " << static_cast<int>(lying);
      }
    }
  }
}

// The memory around the lines that come out is somebody else's.
TEST_P(Formats, TouchNothingElse) {
  for (char const* const settings : {"threads=2 add-borders=false", ""}) {
    std::string const square = "pixel-aspect-ratio=1/1";
    std::string const in = CapsText(GetParam(), 64, 48, square), out = CapsText(GetParam(), 42, 51, square);
    Harness const harness = MakeHarness(settings, in, out);
    Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
    Buffer const frame = NoiseFrame(InfoOf(in), 1);
    Buffer const expected(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
    ASSERT_TRUE(expected);
    for (Lying const lying : {Lying::padded, Lying::upsideDown}) {
      Buffer const before = NoiseFrame(InfoOf(out), 2, lying), after = NoiseFrame(InfoOf(out), 2, lying);
      MappedFrame from(InfoOf(in), frame.get()), to(InfoOf(out), after.get(), GST_MAP_READWRITE);
      auto* const filter = GST_VIDEO_FILTER(element.get());
      ASSERT_EQ(GST_VIDEO_FILTER_GET_CLASS(filter)->transform_frame(filter, &from.frame, &to.frame), GST_FLOW_OK);
      MappedFrame const untouched(InfoOf(out), before.get()), same(InfoOf(out), expected.get());
      for (int c = 0; c < to.ComponentCount(); ++c) EXPECT_TRUE(to.Component(c) == same.Component(c)) << c;
      for (guint i = 0; i < GST_VIDEO_FRAME_N_PLANES(&to.frame); ++i) {
        EXPECT_TRUE(to.Gaps(i) == untouched.Gaps(i)) << "plane " << i;
      }
    }
  }
}

uint64_t NumberIn(char const* variable, uint64_t otherwise) {
  char const* const text = std::getenv(variable);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// The environment says how many cases: FOURTAP_CASES of FOURTAP_SEED, from FOURTAP_FIRST on.
TEST(RandomFrames, AreThoseOfTheModel) {
  std::vector<std::string> const formats = FormatNames();
  uint64_t const first = NumberIn("FOURTAP_FIRST", 0), seed = NumberIn("FOURTAP_SEED", 1);
  for (uint64_t number = first; number < first + NumberIn("FOURTAP_CASES", 100); ++number) {
    conformance::Random random(seed * 1000000007 + number);
    auto const oneOf = [&random](auto const& all) { return all[size_t(random.Between(0, int(std::size(all)) - 1))]; };
    std::string const format = oneOf(formats);
    auto const side = [&random](int unit) { return random.Between(1, random.OneIn(4) ? 120 : 24) * unit; };
    int const unit = InPairs(format) ? 2 : 1;
    std::string const in = CapsText(format, side(unit), side(1)), out = CapsText(format, side(unit), side(1));
    Rules const rules{random.OneIn(2), random.OneIn(2)};
    std::string const settings = std::string("add-borders=false steps=") + (rules.steps ? "true" : "false") +
                                 " premultiplied=" + (rules.premultiplied ? "true" : "false") +
                                 " threads=" + std::to_string(random.Between(0, 3)) +
                                 oneOf(std::vector<std::string>{"", " set=c", " set=sse2"});
    Harness const harness = MakeHarness(settings, in, out);
    EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, rules, random.Next(),
                              oneOf(std::vector{Lying::tight, Lying::padded, Lying::upsideDown})),
              "")
        << in << " to " << out << " " << settings << ": FOURTAP_SEED=" << seed << " FOURTAP_FIRST=" << number;
  }
}

// What is no colour stays what it is where it is the same everywhere.
TEST(FourthByte, StaysOpaque) {
  for (std::string const format : {"RGBx", "BGRx", "xRGB", "xBGR"}) {
    for (Sizes const& size : {Sizes{64, 48, 100, 30}, {64, 48, 64, 30}, {640, 480, 100, 75}}) {
      std::string const in = CapsText(format, size.cxIn, size.cyIn), out = CapsText(format, size.cxOut, size.cyOut);
      Harness const harness = MakeHarness("add-borders=false", in, out);
      Buffer white(gst_buffer_new_allocate(nullptr, InfoOf(in).size, nullptr));
      gst_buffer_memset(white.get(), 0, 255, InfoOf(in).size);
      Buffer const scaled(gst_harness_push_and_pull(harness.get(), white.release()));
      ASSERT_TRUE(scaled);
      for (unsigned char const byte : MappedFrame(InfoOf(out), scaled.get()).Component(3)) ASSERT_EQ(byte, 255);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(GStreamer, Formats, testing::ValuesIn(FormatNames()),
                         [](auto const& named) { return named.param; });

}  // namespace
