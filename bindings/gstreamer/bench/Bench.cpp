// Processor time per frame of the element and of videoscale, side by side, as a table for the page.
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr char const* formats[] = {"GRAY8", "RGB", "BGRx", "UYVY", "YUY2", "I420", "NV12"};
struct Size {
  int cx, cy;
};
constexpr Size large{1920, 1080}, small{1280, 720};
int const framesAtATime = 4, rounds = 25;

// Of all threads of the process.
double Milliseconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

std::string CapsText(char const* format, Size size) {
  char text[200];
  std::snprintf(text, sizeof text, "video/x-raw,format=%s,width=%d,height=%d,framerate=30/1,pixel-aspect-ratio=1/1",
                format, size.cx, size.cy);
  return text;
}

// An element between caps, with frames to push through.
class Contestant {
 public:
  Contestant(char const* launch, char const* format, Size in, Size out) : harness(gst_harness_new_parse(launch)) {
    std::string const inCaps = CapsText(format, in), outCaps = CapsText(format, out);
    gst_harness_set_caps_str(harness, inCaps.c_str(), outCaps.c_str());
    GstCaps* const caps = gst_caps_from_string(inCaps.c_str());
    GstVideoInfo info;
    gst_video_info_from_caps(&info, caps);
    gst_caps_unref(caps);
    unsigned noise = 1;
    for (int i = 0; i < framesAtATime; ++i) {
      frames.push_back(gst_buffer_new_allocate(nullptr, info.size, nullptr));
      GstMapInfo map;
      gst_buffer_map(frames.back(), &map, GST_MAP_WRITE);
      for (gsize at = 0; at < map.size; ++at)
        map.data[at] = static_cast<guint8>((noise = noise * 1664525 + 1013904223) >> 24);
      gst_buffer_unmap(frames.back(), &map);
    }
  }
  ~Contestant() {
    for (GstBuffer* const frame : frames) gst_buffer_unref(frame);
    gst_harness_teardown(harness);
  }
  Contestant(Contestant const&) = delete;
  Contestant& operator=(Contestant const&) = delete;

  void Run() {
    double const before = Milliseconds();
    for (GstBuffer* const frame : frames) {
      GstBuffer* const scaled = gst_harness_push_and_pull(harness, gst_buffer_ref(frame));
      if (!scaled) g_error("nothing came out");
      gst_buffer_unref(scaled);
    }
    times.push_back((Milliseconds() - before) / framesAtATime);
  }

  double Median() {
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[rounds / 2];
  }

 private:
  GstHarness* harness;
  std::vector<GstBuffer*> frames;
  std::vector<double> times;
};

struct Row {
  double ours, theirs, harness;
};

Row Measure(char const* format, Size in, Size out) {
  Contestant ours("fourtapscale", format, in, out), theirs("videoscale method=4-tap n-threads=1", format, in, out),
      nothing("identity", format, in, in);
  for (int i = 0; i < rounds; ++i) {
    ours.Run();
    theirs.Run();
    nothing.Run();
  }
  return {ours.Median(), theirs.Median(), nothing.Median()};
}

}  // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  GError* error = nullptr;
  GstPlugin* const plugin = gst_plugin_load_file(FOURTAP_PLUG_IN, &error);
  if (!plugin) {
    std::fprintf(stderr, "bench: %s\n", error->message);
    return 1;
  }
  gst_object_unref(plugin);
  std::puts("| ms per frame | 1080p to 720p | videoscale | ratio | 720p to 1080p | videoscale | ratio |");
  std::puts("|---|---|---|---|---|---|---|");
  double most = 0, harness = 0;
  for (char const* const format : formats) {
    Row const down = Measure(format, large, small), up = Measure(format, small, large);
    std::printf("| %s | %.2f | %.2f | %.3f | %.2f | %.2f | %.3f |\n", format, down.ours, down.theirs,
                down.ours / down.theirs, up.ours, up.theirs, up.ours / up.theirs);
    std::fflush(stdout);
    most = std::max({most, down.ours / down.theirs, up.ours / up.theirs});
    harness = std::max({harness, down.harness, up.harness});
  }
  std::printf("\nAt most %.3f of videoscale's. Both include what pushes the frames: %.4f ms at most.\n", most, harness);
}
