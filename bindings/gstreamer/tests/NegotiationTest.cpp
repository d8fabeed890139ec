// Sizes and pixel aspects that are agreed on, and what is said where none can be.
#include <gst/base/gstbasetransform.h>
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "Frames.h"

namespace {

Element MakeElement(char const* name) {
  return Element(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make(name, nullptr))));
}

// What an element of that name makes of caps that are still open, as "640x480 1/1".
std::string Fixated(char const* name, GstPadDirection direction, std::string const& fixed, std::string const& open) {
  Element const element = MakeElement(name);
  auto* const transform = GST_BASE_TRANSFORM(element.get());
  Caps const caps = CapsOf(fixed);
  Caps const result(
      GST_BASE_TRANSFORM_GET_CLASS(transform)->fixate_caps(transform, direction, caps.get(), CapsOf(open).release()));
  GstStructure* const structure = gst_caps_get_structure(result.get(), 0);
  int cx = 0, cy = 0, numerator = 1, denominator = 1;
  gst_structure_get_int(structure, "width", &cx);
  gst_structure_get_int(structure, "height", &cy);
  gst_structure_get_fraction(structure, "pixel-aspect-ratio", &numerator, &denominator);
  std::ostringstream text;
  text << cx << "x" << cy << " " << numerator << "/" << denominator;
  return text.str();
}

bool IsFixed(std::string const& value) { return std::isdigit(static_cast<unsigned char>(value[0])); }

// But where only the pixels are given, and are not square: it takes their aspect the wrong way round.
TEST(Negotiation, FixatesAsVideoscaleDoes) {
  std::vector<std::string> const pixels{
      "", "1/1", "16/15", "12/11", "{ 1/1, 4/3, 64/45 }", "[ 1/2, 2/1 ]", "[ 1/2147483647, 2147483647/1 ]"};
  std::vector<std::string> const lengths{"[ 1, 2147483647 ]", "480",           "101",
                                         "[ 100, 400 ]",      "[ 700, 5000 ]", "{ 320, 480, 960 }"};
  int tried = 0;
  for (auto const& [cx, cy] : {std::pair{1920, 1080}, {720, 576}, {321, 199}}) {
    for (std::string const pixel : {"", "1/1", "16/15", "64/45"}) {
      auto const aspect = [](std::string const& text) {
        return text.empty() ? "" : "pixel-aspect-ratio=(fraction)" + text;
      };
      std::string const fixed = CapsText("I420", cx, cy, aspect(pixel));
      for (std::string const& width : lengths) {
        for (std::string const& height : lengths) {
          for (std::string const& openPixel : pixels) {
            bool const pixelsAlone = !IsFixed(width) && !IsFixed(height) && IsFixed(openPixel);
            if (pixelsAlone && openPixel != "1/1") continue;
            std::string open = "video/x-raw,format=I420,width=(int)" + width + ",height=(int)" + height;
            if (!openPixel.empty()) open.append(",").append(aspect(openPixel));
            for (GstPadDirection const direction : {GST_PAD_SINK, GST_PAD_SRC}) {
              EXPECT_EQ(Fixated("fourtapscale", direction, fixed, open), Fixated("videoscale", direction, fixed, open))
                  << fixed << " with " << open << (direction == GST_PAD_SINK ? " forwards" : " backwards");
              ++tried;
            }
          }
        }
      }
    }
  }
  EXPECT_GT(tried, 5000);
}

TEST(Negotiation, KeepsTheAspectWithGivenPixels) {
  std::string const open = "video/x-raw,format=I420,width=(int)[1,5000],height=(int)[1,5000],pixel-aspect-ratio=16/15";
  EXPECT_EQ(Fixated("fourtapscale", GST_PAD_SINK, CapsText("I420", 1920, 1080), open), "1800x1080 16/15");
}

// The caps of what comes out, in short, or the sentence of the error.
std::string Outcome(std::string const& launch) {
  GError* error = nullptr;
  Element const pipeline(
      GST_ELEMENT(gst_object_ref_sink(gst_parse_launch((launch + " ! fakesink name=end").c_str(), &error))));
  if (error) {
    std::string const text = error->message;
    g_error_free(error);
    return text;
  }
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  Bus const bus(gst_element_get_bus(pipeline.get()));
  Message const message(gst_bus_timed_pop_filtered(bus.get(), 20 * GST_SECOND,
                                                   static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
  std::string outcome = "nothing for 20 s";
  if (message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
    gst_message_parse_error(message.get(), &error, nullptr);
    outcome = error->message;
    g_error_free(error);
  } else if (message) {
    Element const end(gst_bin_get_by_name(GST_BIN(pipeline.get()), "end"));
    Pad const pad(gst_element_get_static_pad(end.get(), "sink"));
    Caps const caps(gst_pad_get_current_caps(pad.get()));
    GstVideoInfo info;
    if (gst_video_info_from_caps(&info, caps.get())) {
      outcome = std::string(gst_video_format_to_string(GST_VIDEO_INFO_FORMAT(&info))) + " " +
                std::to_string(info.width) + "x" + std::to_string(info.height);
    }
  }
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  return outcome;
}

std::string Source(std::string const& caps) { return std::string("videotestsrc num-buffers=2 ! video/x-raw,") + caps; }

TEST(Negotiation, WidthsInPairsAreEven) {
  std::string const uyvy = Source("format=UYVY,width=320,height=240") + " ! fourtapscale ! video/x-raw,";
  EXPECT_EQ(Outcome(uyvy + "width=160"), "UYVY 160x240");
  EXPECT_EQ(Outcome(uyvy + "height=121,pixel-aspect-ratio=1/1"), "UYVY 162x121");
  EXPECT_EQ(Outcome(uyvy + "width=[1,161],height=100,pixel-aspect-ratio=1/1"), "UYVY 134x100");
  EXPECT_EQ(Outcome(uyvy + "width={161,170},height=100"), "UYVY 170x100");
  EXPECT_EQ(Outcome(uyvy + "width=161,height=100;video/x-raw,width=170,height=100"), "UYVY 170x100");
  // Where only the height changes, or nothing, any width will do.
  std::string const odd = Source("format=YUY2,width=321,height=240");
  EXPECT_EQ(Outcome(odd + " ! fourtapscale ! video/x-raw,width=321,height=100"), "YUY2 321x100");
  EXPECT_EQ(Outcome(odd + " ! fourtapscale"), "YUY2 321x240");
  // Another format that can be had is preferred to one that can't.
  EXPECT_EQ(Outcome(Source("format={UYVY,GRAY8},width=320,height=240") + " ! fourtapscale ! video/x-raw,width=161"),
            "GRAY8 161x240");
  EXPECT_EQ(Outcome("videotestsrc num-buffers=2 ! fourtapscale ! video/x-raw,width=161,height=99").substr(4),
            " 161x99");
}

// Of what a source offers, what can be had is taken, though it would rather give what can't.
TEST(Negotiation, AlternativesThatCanBeHadAreTaken) {
  EXPECT_EQ(Outcome(Source("format=UYVY,width=320,height=240;video/x-raw,format=GRAY8,width=320,height=240") +
                    " ! fourtapscale ! video/x-raw,width=161,height=100"),
            "GRAY8 161x100");
  EXPECT_EQ(Outcome(Source("format=I420,width=320,height=240,interlace-mode=interleaved;"
                           "video/x-raw,format=I420,width=320,height=240,interlace-mode=progressive") +
                    " ! fourtapscale ! video/x-raw,width=160,height=100"),
            "I420 160x100");
  Harness const harness(gst_harness_new("fourtapscale"));
  gst_harness_set_sink_caps_str(harness.get(), "video/x-raw(ANY),width=160,height=100");
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Pad const pad(gst_element_get_static_pad(element.get(), "sink"));
  std::string const size = "format=I420,width=320,height=240";
  Caps const offered = CapsOf("video/x-raw(memory:DMABuf)," + size + ";video/x-raw," + size);
  Caps const taken(gst_pad_query_caps(pad.get(), offered.get()));
  Caps const plain = CapsOf("video/x-raw,framerate=[0/1,2147483647/1]," + size);
  EXPECT_TRUE(gst_caps_is_equal(taken.get(), plain.get()));
}

TEST(Negotiation, WhatCantBeHadGetsASentence) {
  EXPECT_EQ(Outcome(Source("format=UYVY,width=320,height=240") + " ! fourtapscale ! video/x-raw,width=161,height=120"),
            "UYVY of 320x240 can't become 161x120: two pixels share chroma, expected even widths, or the same");
  EXPECT_EQ(Outcome(Source("format=YVYU,width=321,height=240") + " ! fourtapscale ! video/x-raw,width=160,height=120"),
            "YVYU of 321x240 can't become 160x120: two pixels share chroma, expected even widths, or the same");
  EXPECT_EQ(Outcome(Source("format=I420,width=320,height=240,interlace-mode=interleaved") +
                    " ! fourtapscale add-borders=false ! video/x-raw,width=160,height=120"),
            "I420 of 320x240 can't become 160x120: the frames are interlaced, expected the same height, or a "
            "deinterlacer before");
  EXPECT_EQ(
      Outcome(Source("format=I420,width=320,height=240,interlace-mode=interleaved") +
              " ! fourtapscale ! video/x-raw,width=160,height=240,pixel-aspect-ratio=1/1"),
      "I420 of 320x240 can't become 160x120 with borders to 160x240: the frames are interlaced, expected the same "
      "height, or a deinterlacer before");
  std::string const tooLarge = Outcome(Source("format=GRAY8,width=8,height=8") +
                                       " ! fourtapscale ! video/x-raw,width=2147483647,height=2147483647");
  EXPECT_NE(tooLarge.find("height=(int)2147483647"), std::string::npos) << tooLarge;
  EXPECT_NE(tooLarge.find(" can't be had, expected frames below 2 GiB"), std::string::npos) << tooLarge;
}

TEST(Negotiation, InterlacedFramesKeepTheirHeight) {
  std::string const source = Source("format=I420,width=320,height=240,interlace-mode=interleaved");
  EXPECT_EQ(Outcome(source + " ! fourtapscale ! video/x-raw,width=160"), "I420 160x240");
  std::string const interleaved = "interlace-mode=interleaved";
  std::string const in = CapsText("I420", 64, 48, interleaved), out = CapsText("I420", 40, 48, interleaved);
  Harness const harness = MakeHarness("add-borders=false", in, out);
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, 1), "");
}

// Memory that is none of ours.
TEST(Negotiation, OtherMemoryPasses) {
  std::string const memory = "video/x-raw(memory:GLMemory),format=I420,width=64,height=48,framerate=30/1";
  Harness const harness = MakeHarness("", memory, memory);
  Buffer const passed(gst_harness_push_and_pull(harness.get(), gst_buffer_new()));
  EXPECT_TRUE(passed);
}

// The sentences on the bus when frames of `ins`, one after the other, are to become
// `out`.
std::string Refusals(std::vector<std::string> const& ins, std::string const& out) {
  Harness const harness(gst_harness_new("fourtapscale"));
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Bus const bus(gst_bus_new());
  gst_element_set_bus(element.get(), bus.get());
  gst_harness_set_sink_caps_str(harness.get(), out.c_str());
  for (std::string const& in : ins) {
    gst_harness_set_src_caps_str(harness.get(), in.c_str());
    for (int i = 0; i < 3; ++i)
      gst_harness_push(harness.get(), gst_buffer_new_allocate(nullptr, 320 * 240 * 2, nullptr));
  }
  std::string said;
  while (Message const message{gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR)}) {
    GError* error = nullptr;
    gst_message_parse_error(message.get(), &error, nullptr);
    said.append(said.empty() ? "" : "\n").append(error->message);
    g_error_free(error);
  }
  gst_element_set_bus(element.get(), nullptr);
  return said;
}

// However often the caps are tried.
TEST(Negotiation, RefusalsAreSaidOnce) {
  std::string const uyvy = CapsText("UYVY", 64, 48), half = "video/x-raw,width=33,height=24";
  std::string const odd =
      "UYVY of 64x48 can't become 33x24: two pixels share chroma, expected even widths, or the same";
  EXPECT_EQ(Refusals({uyvy}, half), odd);
  EXPECT_EQ(Refusals({uyvy, CapsText("I420", 64, 48), uyvy}, half), odd + "\n" + odd);
  std::string const mixed = CapsText("I420", 64, 48, "interlace-mode=mixed");
  EXPECT_EQ(Refusals({mixed, uyvy}, half),
            "I420 of 64x48 can't become 33x24: the frames are interlaced, expected the same height, or a deinterlacer "
            "before\n" +
                odd);
}

// What was found, and what was expected.
TEST(Negotiation, OtherFeaturesAreNamed) {
  std::string const plain = "memory:SystemMemory", expected = ", expected " + plain + " alone";
  for (std::string const features :
       {"memory:GLMemory", "format:Interlaced", "memory:SystemMemory, meta:GstVideoOverlayComposition"}) {
    std::string const mode = features == "format:Interlaced" ? ",interlace-mode=alternate" : "";
    std::string const video = "video/x-raw(" + features + "),framerate=30/1,format=I420" + mode;
    EXPECT_EQ(Refusals({video + ",width=64,height=48"}, video + ",width=32,height=48"),
              "I420 of 64x48 can't become 32x48: the caps have the features " + features + expected);
  }
  std::string const without = Refusals({CapsText("I420", 64, 48, "interlace-mode=alternate")}, "video/x-raw,width=32");
  EXPECT_NE(without.find("expected alternating fields to have the feature format:Interlaced"), std::string::npos)
      << without;
  EXPECT_EQ(without.find('\n'), std::string::npos) << without;
}

// Pixels of an aspect of 0 are of one that nobody knows, and nothing is reckoned with it.
TEST(Negotiation, UnknownAspectsAreKept) {
  std::string const unknown = "pixel-aspect-ratio=0/1";
  for (GstPadDirection const direction : {GST_PAD_SINK, GST_PAD_SRC}) {
    std::string const sizes = "video/x-raw,format=I420,width=[1,100],height=24";
    EXPECT_EQ(Fixated("fourtapscale", direction, CapsText("I420", 64, 48, unknown), sizes + "," + unknown),
              "32x24 0/1");
    EXPECT_EQ(Fixated("fourtapscale", direction, CapsText("I420", 64, 48), sizes + "," + unknown), "32x24 0/1");
    EXPECT_EQ(Fixated("fourtapscale", direction, CapsText("I420", 64, 48, unknown), sizes + ",pixel-aspect-ratio=1/1"),
              "32x24 1/1");
  }
  std::string const in = CapsText("I420", 64, 48, unknown);
  std::string const out = CapsText("I420", 40, 40);
  EXPECT_EQ(ScaleAndCompare(MakeHarness("", in, out).get(), in, out, {}, 1), "");
  EXPECT_EQ(ScaleAndCompare(MakeHarness("", out, in).get(), out, in, {}, 1), "");
}

}  // namespace
