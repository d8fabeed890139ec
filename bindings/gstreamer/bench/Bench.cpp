// Processor time per frame of the element and of videoscale, side by side, as a table for the page.
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string>

namespace {

constexpr char const* formats[] = {"GRAY8", "RGB", "BGRx", "UYVY", "YUY2", "I420", "NV12"};
struct Size {
  int cx, cy;
};
constexpr Size large{1920, 1080}, small{1280, 720};
int const turns = 60, framesOfTurn = 4;

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

GstBuffer* NoiseFrame(std::string const& capsText) {
  GstCaps* const caps = gst_caps_from_string(capsText.c_str());
  GstVideoInfo info;
  gst_video_info_from_caps(&info, caps);
  gst_caps_unref(caps);
  GstBuffer* const frame = gst_buffer_new_allocate(nullptr, info.size, nullptr);
  GstMapInfo map;
  gst_buffer_map(frame, &map, GST_MAP_WRITE);
  unsigned noise = 1;
  for (gsize at = 0; at < map.size; ++at) {
    noise = noise * 1664525 + 1013904223;
    map.data[at] = static_cast<guint8>(noise >> 24);
  }
  gst_buffer_unmap(frame, &map);
  return frame;
}

// An element between caps.
class Contestant {
 public:
  Contestant(char const* launch, std::string const& in, std::string const& out)
      : harness(gst_harness_new_parse(launch)) {
    gst_harness_set_caps_str(harness, in.c_str(), out.c_str());
  }
  ~Contestant() { gst_harness_teardown(harness); }
  Contestant(Contestant const&) = delete;
  Contestant& operator=(Contestant const&) = delete;

  // The first of a turn finds the caches full of the others' frames.
  void TakeTurn(GstBuffer* frame) {
    for (int i = 0; i < framesOfTurn; ++i) {
      double const before = Milliseconds();
      GstBuffer* const scaled = gst_harness_push_and_pull(harness, gst_buffer_ref(frame));
      if (!scaled) g_error("nothing came out");
      gst_buffer_unref(scaled);
      double& least = i == 0 ? cold : warm;
      least = std::min(least, Milliseconds() - before);
    }
  }

  // Of the frames that nothing else got in the way of.
  double warm = std::numeric_limits<double>::infinity(), cold = warm;

 private:
  GstHarness* harness;
};

struct Row {
  double ours, theirs, harness;
  double Ratio() const { return ours / theirs; }
  double coldRatio;
};

// All get the same frame.
Row Measure(char const* format, Size inSize, Size outSize) {
  std::string const in = CapsText(format, inSize), out = CapsText(format, outSize);
  Contestant ours("fourtapscale", in, out), theirs("videoscale method=4-tap n-threads=1", in, out),
      nothing("identity", in, in);
  GstBuffer* const frame = NoiseFrame(in);
  for (int i = 0; i < turns; ++i) {
    for (Contestant* const contestant : {&ours, &theirs, &nothing}) contestant->TakeTurn(frame);
  }
  gst_buffer_unref(frame);
  return {ours.warm, theirs.warm, nothing.warm, ours.cold / theirs.cold};
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
  double most = 0, mostCold = 0, harness = 0;
  for (char const* const format : formats) {
    Row const down = Measure(format, large, small), up = Measure(format, small, large);
    std::printf("| %s | %.2f | %.2f | %.3f | %.2f | %.2f | %.3f |\n", format, down.ours, down.theirs, down.Ratio(),
                up.ours, up.theirs, up.Ratio());
    std::fflush(stdout);
    most = std::max({most, down.Ratio(), up.Ratio()});
    mostCold = std::max({mostCold, down.coldRatio, up.coldRatio});
    harness = std::max({harness, down.harness, up.harness});
  }
  std::printf(
      "\nAt most %.3f of videoscale's; %.3f where caches hold other frames. What pushes the frames is counted on both "
      "sides: %.4f ms.\n",
      most, mostCold, harness);
}
