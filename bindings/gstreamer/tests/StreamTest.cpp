// Frames in a row, and what happens to streams: new caps, new settings, flushes, seeks, ends, and what goes along with
// frames.
#include <dirent.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/gstvideometa.h>
#include <gst/video/navigation.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Frames.h"

namespace {

constexpr char plain[] = "add-borders=false";

TEST(Stream, CapsMayChangeInTheMiddle) {
  std::string const any = "video/x-raw";
  Harness const harness = MakeHarness("add-borders=false threads=2", CapsText("I420", 64, 48),
                                      "video/x-raw,width=40,height=100,pixel-aspect-ratio=(fraction)[1/100,100/1]");
  uint64_t seed = 1;
  for (std::string const format : {"I420", "UYVY", "I420", "RGBA", "GRAY8"}) {
    for (auto const& [cx, cy] : {std::pair{64, 48}, {32, 200}, {40, 100}}) {
      std::string const in = CapsText(format, cx, cy), out = CapsText(format, 40, 100);
      gst_harness_set_src_caps_str(harness.get(), in.c_str());
      if (cx == 40) {
        // Nothing is left to do.
        Buffer const passed(gst_harness_push_and_pull(harness.get(), NoiseFrame(InfoOf(in), seed).release()));
        ASSERT_TRUE(passed);
        continue;
      }
      for (int frame = 0; frame < 3; ++frame) EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, seed++), "") << in;
    }
  }
  // And what comes behind may ask for another size.
  std::string const in = CapsText("NV12", 64, 48), out = CapsText("NV12", 100, 20);
  gst_harness_set_src_caps_str(harness.get(), in.c_str());
  gst_harness_set_sink_caps_str(harness.get(), out.c_str());
  gst_harness_push_upstream_event(harness.get(), gst_event_new_reconfigure());
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, seed), "");
}

TEST(Stream, PropertiesMayChangeInTheMiddle) {
  std::string const in = CapsText("RGBA", 200, 120), out = CapsText("RGBA", 60, 40);
  Harness const harness = MakeHarness(plain, in, out);
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {true, false}, 1), "");
  g_object_set(element.get(), "steps", FALSE, nullptr);
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {false, false}, 2), "");
  g_object_set(element.get(), "threads", 2, "premultiplied", TRUE, nullptr);
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {false, true}, 3), "");
  gst_util_set_object_arg(G_OBJECT(element.get()), "set", "c");
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {false, true}, 4), "");
}

// Also where frames passed before, or pass from then on. Of 64x32 pixels, those with borders become half as wide.
TEST(Stream, WhatGoesAlongFollowsPropertiesAtOnce) {
  std::string const in = CapsText("I420", 64, 32, "pixel-aspect-ratio=1/1");
  for (std::string const& out :
       {CapsText("I420", 64, 16, "pixel-aspect-ratio=1/1"), CapsText("I420", 64, 32, "pixel-aspect-ratio=2/1")}) {
    Harness const harness = MakeHarness("", in, out);
    Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
    for (bool const add : {true, true, false, false, true, false, true}) {
      g_object_set(element.get(), "add-borders", add, nullptr);
      Buffer frame = NoiseFrame(InfoOf(in), 1);
      gst_buffer_add_video_region_of_interest_meta(frame.get(), "face", 8, 16, 10, 8);
      Buffer const scaled(gst_harness_push_and_pull(harness.get(), frame.release()));
      ASSERT_TRUE(scaled);
      auto const* const region = gst_buffer_get_video_region_of_interest_meta_id(scaled.get(), 0);
      ASSERT_TRUE(region);
      EXPECT_EQ(region->x, add ? 16u + 4 : 8) << out << (add ? " with" : " without");
      EXPECT_EQ(region->w, add ? 5u : 10) << out << (add ? " with" : " without");
    }
  }
}

// A frame that is under way is made by the settings that it began with, and the next by the new ones.
TEST(Stream, PropertiesMayChangeWithinAFrame) {
  std::string const in = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=1/1"),
                    out = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=2/1");
  Harness const harness = MakeHarness("", in, out);
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Buffer const frame = NoiseFrame(InfoOf(in), 1);
  Buffer const scaled(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
  g_object_set(element.get(), "add-borders", FALSE, nullptr);
  {
    Buffer const again = NoiseFrame(InfoOf(out), 2);
    MappedFrame from(InfoOf(in), frame.get()), to(InfoOf(out), again.get(), GST_MAP_WRITE);
    auto* const filter = GST_VIDEO_FILTER(element.get());
    ASSERT_EQ(GST_VIDEO_FILTER_GET_CLASS(filter)->transform_frame(filter, &from.frame, &to.frame), GST_FLOW_OK);
    EXPECT_EQ(Difference(from, to, {}, 16, 0, 32, 48), "");
  }
  Buffer const passed(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
  EXPECT_EQ(passed.get(), frame.get());
}

TEST(Stream, FlushesAndSegmentsPass) {
  std::string const in = CapsText("UYVY", 64, 48), out = CapsText("UYVY", 40, 30);
  Harness const harness = MakeHarness(plain, in, out);
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  for (uint64_t seed = 1; seed < 20; ++seed) {
    EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, seed), "");
    EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_start()));
    EXPECT_EQ(gst_harness_push(harness.get(), NoiseFrame(InfoOf(in), seed).release()), GST_FLOW_FLUSHING);
    EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_stop(TRUE)));
    EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_segment(&segment)));
  }
  // After its end a stream takes nothing, until it is flushed.
  EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_eos()));
  EXPECT_EQ(gst_harness_push(harness.get(), NoiseFrame(InfoOf(in), 1).release()), GST_FLOW_EOS);
  EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_start()));
  EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_flush_stop(TRUE)));
  EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_segment(&segment)));
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, 99), "");
}

Element Launch(std::string const& launch) {
  GError* error = nullptr;
  Element pipeline(GST_ELEMENT(gst_object_ref_sink(gst_parse_launch(launch.c_str(), &error))));
  EXPECT_FALSE(error) << error->message;
  return pipeline;
}

TEST(Stream, SeeksAndEnds) {
  Element const pipeline = Launch(
      "videotestsrc pattern=white ! video/x-raw,format=NV12,width=320,height=240,framerate=30/1 ! "
      "fourtapscale threads=2 ! video/x-raw,width=200 ! fakesink name=end sync=false");
  Element const end(gst_bin_get_by_name(GST_BIN(pipeline.get()), "end"));
  Bus const bus(gst_element_get_bus(pipeline.get()));
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  for (int i = 0; i < 30; ++i) {
    ASSERT_EQ(gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND), GST_STATE_CHANGE_SUCCESS);
    auto const time = static_cast<GstClockTime>(1 + i % 3) * GST_SECOND;
    ASSERT_TRUE(
        gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, static_cast<gint64>(time)));
    ASSERT_EQ(gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND), GST_STATE_CHANGE_SUCCESS);
    // The first frame from there.
    GstSample* sample = nullptr;
    g_object_get(end.get(), "last-sample", &sample, nullptr);
    ASSERT_TRUE(sample);
    GstBuffer* const frame = gst_sample_get_buffer(sample);
    EXPECT_EQ(GST_BUFFER_PTS(frame), time);
    MappedFrame const scaled(InfoOf(CapsText("NV12", 200, 240)), frame);
    conformance::Bytes const luma = scaled.Component(0);
    EXPECT_EQ(luma.front(), 235);
    EXPECT_EQ(luma.back(), 235);
    gst_sample_unref(sample);
    // Some are sought while frames flow.
    if (i % 4 == 3) {
      gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
      gst_element_get_state(pipeline.get(), nullptr, nullptr, 20 * GST_SECOND);
      EXPECT_TRUE(gst_element_seek_simple(pipeline.get(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, 0));
      gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
    }
  }
  // An end in the middle: there would be none without.
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  auto const ends = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
  EXPECT_FALSE(Message(gst_bus_timed_pop_filtered(bus.get(), GST_SECOND / 10, ends)));
  gst_element_send_event(pipeline.get(), gst_event_new_eos());
  Message const message(gst_bus_timed_pop_filtered(bus.get(), 20 * GST_SECOND, ends));
  ASSERT_TRUE(message);
  EXPECT_EQ(GST_MESSAGE_TYPE(message.get()), GST_MESSAGE_EOS);
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
}

int ThreadCount() {
  int count = 0;
  DIR* const folder = opendir("/proc/self/task");
  while (dirent const* const entry = readdir(folder)) count += entry->d_name[0] != '.';
  closedir(folder);
  return count;
}

// As many as FOURTAP_STATE_CHANGES says, for a slow machine.
TEST(Stream, StartsAndStopsAThousandTimes) {
  char const* const said = g_getenv("FOURTAP_STATE_CHANGES");
  int const rounds = (said ? std::stoi(said) : 1000) / 2;
  Element const pipeline = Launch(
      "videotestsrc ! video/x-raw,format=YUY2,width=64,height=64 ! fourtapscale threads=3 ! "
      "video/x-raw,width=40,height=48 ! fakesink sync=false");
  for (int i = 0; i < rounds; ++i) {
    ASSERT_NE(gst_element_set_state(pipeline.get(), i % 2 ? GST_STATE_PLAYING : GST_STATE_PAUSED),
              GST_STATE_CHANGE_FAILURE);
    if (i % 3 != 0) gst_element_get_state(pipeline.get(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
    ASSERT_EQ(gst_element_set_state(pipeline.get(), i % 5 ? GST_STATE_NULL : GST_STATE_READY),
              GST_STATE_CHANGE_SUCCESS);
  }
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  // GStreamer keeps a few for later; none of the element's stays.
  EXPECT_LE(ThreadCount(), 20);
}

// Frames that come too late are dropped, where the sink said so.
TEST(Stream, LateFramesAreDropped) {
  std::string const in = CapsText("GRAY8", 64, 48), out = CapsText("GRAY8", 40, 30);
  Harness const harness = MakeHarness(plain, in, out);
  auto const push = [&](GstClockTime time) {
    Buffer frame = NoiseFrame(InfoOf(in), 1);
    GST_BUFFER_PTS(frame.get()) = time;
    gst_harness_push(harness.get(), frame.release());
    return gst_harness_buffers_in_queue(harness.get());
  };
  EXPECT_EQ(push(0), 1u);
  gst_harness_push_upstream_event(harness.get(),
                                  gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 2.0, 5 * GST_SECOND, 5 * GST_SECOND));
  EXPECT_EQ(push(GST_SECOND), 1u);
  EXPECT_EQ(push(20 * GST_SECOND), 2u);
}

TEST(Stream, FramesThatStayAsTheyArePass) {
  std::string const caps = CapsText("NV21", 64, 48);
  Harness const harness = MakeHarness("", caps, caps);
  Buffer const frame = NoiseFrame(InfoOf(caps), 1);
  Buffer const passed(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get())));
  EXPECT_EQ(passed.get(), frame.get());
}

// What comes out lies in a few buffers that are used again, also where frames passed before: those that were seen are
// marked, and the mark goes with the buffer.
TEST(Stream, BuffersAreUsedAgain) {
  GQuark const mark = g_quark_from_static_string("fourtapscale-test-seen");
  std::string const square = CapsText("I420", 64, 48, "pixel-aspect-ratio=1/1");
  for (std::string const& out :
       {CapsText("I420", 40, 30, "pixel-aspect-ratio=1/1"), CapsText("I420", 64, 48, "pixel-aspect-ratio=2/1")}) {
    Harness const harness = MakeHarness(plain, square, out);
    Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
    EXPECT_TRUE(Buffer(gst_harness_push_and_pull(harness.get(), NoiseFrame(InfoOf(square), 1).release())));
    g_object_set(element.get(), "add-borders", TRUE, nullptr);
    int seen = 0;
    for (uint64_t seed = 1; seed <= 100; ++seed) {
      Buffer const scaled(gst_harness_push_and_pull(harness.get(), NoiseFrame(InfoOf(square), seed).release()));
      ASSERT_TRUE(scaled);
      auto* const object = GST_MINI_OBJECT_CAST(scaled.get());
      if (!gst_mini_object_get_qdata(object, mark)) ++seen;
      gst_mini_object_set_qdata(object, mark, &seen, nullptr);
    }
    EXPECT_LE(seen, 4) << out;
  }
}

// A buffer that is shorter than it says ends the stream with a sentence, not the program.
TEST(Stream, ShortBuffersAreRefused) {
  std::string const in = CapsText("GRAY8", 64, 48), out = CapsText("GRAY8", 40, 30);
  Harness const harness = MakeHarness(plain, in, out);
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Bus const bus(gst_bus_new());
  gst_element_set_bus(element.get(), bus.get());
  for (auto const& [offset, stride] : {std::pair{1, 64}, {0, 65}, {0, 63}, {64 * 47 - 1, -64}}) {
    Buffer frame = NoiseFrame(InfoOf(in), 1);
    GstVideoMeta* const meta = gst_buffer_get_video_meta(frame.get());
    meta->offset[0] = static_cast<gsize>(offset);
    meta->stride[0] = stride;
    EXPECT_EQ(gst_harness_push(harness.get(), frame.release()), GST_FLOW_ERROR) << offset << " " << stride;
    EXPECT_TRUE(Message(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR))) << offset << " " << stride;
  }
  EXPECT_EQ(ScaleAndCompare(harness.get(), in, out, {}, 2), "");
  gst_element_set_bus(element.get(), nullptr);
}

// So is one that is to be filled, with borders: the last byte of this one is not there.
TEST(Stream, ShortBuffersAreNotFilled) {
  std::string const in = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=1/1"),
                    out = CapsText("GRAY8", 64, 48, "pixel-aspect-ratio=2/1");
  Harness const harness = MakeHarness("", in, out);
  Element const element(gst_harness_find_element(harness.get(), "fourtapscale"));
  Buffer const frame = NoiseFrame(InfoOf(in), 1), target = NoiseFrame(InfoOf(out), 2);
  EXPECT_TRUE(Buffer(gst_harness_push_and_pull(harness.get(), gst_buffer_ref(frame.get()))));
  gst_buffer_get_video_meta(target.get())->offset[0] = 1;
  MappedFrame from(InfoOf(in), frame.get()), to(InfoOf(out), target.get(), GST_MAP_WRITE);
  auto* const filter = GST_VIDEO_FILTER(element.get());
  EXPECT_EQ(GST_VIDEO_FILTER_GET_CLASS(filter)->transform_frame(filter, &from.frame, &to.frame), GST_FLOW_ERROR);
}

// Memory that is mapped in a way of its own is scaled, though it does not tell how long it is.
TEST(Stream, OtherWaysToMapAreTaken) {
  for (std::string const format : {"I420", "UYVY"}) {
    std::string const in = CapsText(format, 64, 48), out = CapsText(format, 40, 30);
    Harness const harness = MakeHarness(plain, in, out);
    for (Lying const lying : {Lying::tight, Lying::upsideDown}) {
      static MappedFrame const* elsewhere;
      Buffer const frame = NoiseFrame(InfoOf(in), 1, lying);
      MappedFrame const mapped(InfoOf(in), frame.get());
      elsewhere = &mapped;
      Buffer empty(gst_buffer_new_allocate(nullptr, InfoOf(in).size, nullptr));
      GstVideoMeta* const meta = gst_buffer_add_video_meta(empty.get(), GST_VIDEO_FRAME_FLAG_NONE,
                                                           GST_VIDEO_INFO_FORMAT(&mapped.frame.info), 64, 48);
      meta->map = [](GstVideoMeta*, guint plane, GstMapInfo* map, gpointer* data, gint* stride,
                     GstMapFlags flags) -> gboolean {
        std::memset(map, 0x55, sizeof *map);
        map->flags = flags;
        *data = elsewhere->frame.data[plane];
        *stride = elsewhere->frame.info.stride[plane];
        return TRUE;
      };
      meta->unmap = [](GstVideoMeta*, guint, GstMapInfo*) -> gboolean { return TRUE; };
      ASSERT_EQ(gst_harness_push(harness.get(), empty.release()), GST_FLOW_OK) << format;
      Buffer const scaled(gst_harness_pull(harness.get()));
      EXPECT_EQ(Difference(mapped, MappedFrame(InfoOf(out), scaled.get()), {}), "") << format;
    }
  }
}

// With borders of 16 columns on either side, or of 8 lines above and below.
TEST(Stream, WhatGoesAlongIsScaledToo) {
  struct Borders {
    int cx, cy;
    guint x, y;
  };
  for (Borders const& borders : {Borders{64, 16, 16, 0}, {32, 32, 0, 8}}) {
    std::string const square = "pixel-aspect-ratio=1/1";
    std::string const in = CapsText("I420", 64, 32, square), out = CapsText("I420", borders.cx, borders.cy, square);
    Harness const harness = MakeHarness("", in, out);
    Buffer frame = NoiseFrame(InfoOf(in), 1);
    GstVideoCropMeta* const crop = gst_buffer_add_video_crop_meta(frame.get());
    crop->x = 8;
    crop->y = 4;
    crop->width = 40;
    crop->height = 20;
    gst_buffer_add_video_region_of_interest_meta(frame.get(), "face", 32, 16, 10, 8);
    gst_buffer_add_reference_timestamp_meta(frame.get(), CapsOf("timestamp/x-unix").get(), 5, GST_CLOCK_TIME_NONE);
    GST_BUFFER_PTS(frame.get()) = 7;
    GST_BUFFER_DURATION(frame.get()) = 9;
    Buffer const scaled(gst_harness_push_and_pull(harness.get(), frame.release()));
    ASSERT_TRUE(scaled);
    GstVideoCropMeta const* const cropped = gst_buffer_get_video_crop_meta(scaled.get());
    ASSERT_TRUE(cropped);
    EXPECT_EQ(cropped->x, borders.x + 4);
    EXPECT_EQ(cropped->y, borders.y + 2);
    EXPECT_EQ(cropped->width, 20u);
    EXPECT_EQ(cropped->height, 10u);
    GstVideoRegionOfInterestMeta const* const region = gst_buffer_get_video_region_of_interest_meta_id(scaled.get(), 0);
    ASSERT_TRUE(region);
    EXPECT_EQ(region->x, borders.x + 16);
    EXPECT_EQ(region->y, borders.y + 8);
    EXPECT_EQ(region->w, 5u);
    EXPECT_EQ(region->h, 4u);
    EXPECT_TRUE(gst_buffer_get_reference_timestamp_meta(scaled.get(), nullptr));
    EXPECT_EQ(GST_BUFFER_PTS(scaled.get()), 7u);
    EXPECT_EQ(GST_BUFFER_DURATION(scaled.get()), 9u);

    // And clicks on what comes out are clicks on what came in.
    GstStructure* const click =
        gst_structure_new("application/x-gst-navigation", "event", G_TYPE_STRING, "mouse-move", "pointer_x",
                          G_TYPE_DOUBLE, borders.x + 8.0, "pointer_y", G_TYPE_DOUBLE, borders.y + 5.0, nullptr);
    gst_harness_push_upstream_event(harness.get(), gst_event_new_navigation(click));
    Event event;
    do {
      event.reset(gst_harness_try_pull_upstream_event(harness.get()));
      ASSERT_TRUE(event);
    } while (GST_EVENT_TYPE(event.get()) != GST_EVENT_NAVIGATION);
    gdouble x = 0, y = 0;
    ASSERT_TRUE(gst_navigation_event_get_coordinates(event.get(), &x, &y));
    EXPECT_DOUBLE_EQ(x, 16);
    EXPECT_DOUBLE_EQ(y, 10);
  }
}

}  // namespace
