#include "bench/Job.h"

#include <fourtapscale/fourtap.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>
#include <stdexcept>

namespace bench {
namespace {

using conformance::Layout;

constexpr std::size_t alignment = 64;

struct Sizes {
  int cxIn, cyIn, cxOut, cyOut;
};

constexpr Sizes down{1920, 1080, 1280, 720};
constexpr Sizes up{1280, 720, 1920, 1080};

int RoundedUp(int bytes) { return (bytes + 63) / 64 * 64; }

Frame FrameOf(int cx, int cy, int cyHeld, int bytesPerPixel) {
  Frame frame{cx, cy, cyHeld, cx * bytesPerPixel, RoundedUp(cx * bytesPerPixel), 0, nullptr};
  frame.capacity = static_cast<std::size_t>(frame.stride) * static_cast<std::size_t>(cyHeld);
  return frame;
}

void Allocate(Frame& frame) {
  frame.bytes = AlignedBytes(frame.capacity);
  std::memset(frame.bytes.get(), 0, frame.capacity);
}

// The copy row goes through the same frames as the others, and so both must hold what it moves.
Job JobOf(Layout layout, Sizes const& sizes, bool tilesAlone = false) {
  int const bytesPerPixel = conformance::Traits(layout).BytesPerPixel();
  Job job{layout, FrameOf(sizes.cxIn, sizes.cyIn, sizes.cyIn, bytesPerPixel),
          FrameOf(sizes.cxOut, sizes.cyOut, sizes.cyOut, bytesPerPixel), tilesAlone};
  for (Frame* frame : {&job.in, &job.out}) {
    frame->capacity = std::max(frame->capacity, job.CopyBytes());
    Allocate(*frame);
  }
  return job;
}

std::shared_ptr<_SCALE_CONTEXT> ContextOf(Job const& job, Scalers const& scalers) {
  return scalers.Context(job.in.cx, job.in.cy, job.out.cx, job.out.cy, conformance::Traits(job.layout).bitsPerPixel);
}

}  // namespace

std::shared_ptr<unsigned char[]> AlignedBytes(std::size_t capacity) {
  auto const release = [](unsigned char* bytes) { operator delete[](bytes, std::align_val_t{alignment}); };
  return {static_cast<unsigned char*>(operator new[](capacity + alignment, std::align_val_t{alignment})), release};
}

std::vector<Job> Jobs() {
  std::vector<Job> jobs;
  for (Sizes const& sizes :
       {down, up, Sizes{3840, 2160, 1920, 1080}, Sizes{1920, 1080, 3840, 2160}, Sizes{1920, 1080, 1920, 540},
        Sizes{1920, 1080, 960, 1080}, Sizes{320, 240, 176, 144}, Sizes{320, 240, 160, 120}, Sizes{16, 16, 24, 24}}) {
    jobs.push_back(JobOf(Layout::Plane, sizes));
  }
  for (conformance::LayoutTraits const& traits : conformance::Layouts()) {
    if (traits.layout == Layout::Plane) continue;
    for (Sizes const& sizes : {down, up}) jobs.push_back(JobOf(traits.layout, sizes));
  }
  jobs.push_back(JobOf(Layout::RGB24, {20000, 1600, 13000, 1040}, true));
  return jobs;
}

std::vector<Job> PictureJobs() {
  constexpr int cx = 10000, cy = 8000, cyHeld = 64, bytesPerPixel = 3;
  std::vector<Job> jobs;
  for (int const percent : {50, 40, 25, 10}) {
    int const cxOut = cx * percent / 100, cyOut = cy * percent / 100;
    Job& job = jobs.emplace_back(
        Job{Layout::RGB24, FrameOf(cx, cy, cyHeld, bytesPerPixel), FrameOf(cxOut, cyOut, cyOut, bytesPerPixel), false});
    Allocate(job.in);
    Allocate(job.out);
  }
  return jobs;
}

std::string SizesOf(Job const& job) {
  return std::to_string(job.in.cx) + "x" + std::to_string(job.in.cy) + "-" + std::to_string(job.out.cx) + "x" +
         std::to_string(job.out.cy);
}

void FillWithNoise(Frame const& frame) {
  std::mt19937_64 random(20240607);
  for (std::size_t i = 0; i + 8 <= frame.capacity; i += 8) {
    std::uint64_t const noise = random();
    std::memcpy(frame.bytes.get() + i, &noise, 8);
  }
}

void FillSmoothly(Layout layout, Frame const& frame) {
  // Bytes of the same channel lie `period` apart; luma of a packed pair is one channel.
  conformance::LayoutTraits const& traits = conformance::Traits(layout);
  int const period = traits.pairs ? 4 : traits.BytesPerPixel();
  bool const lumaFirst = layout == Layout::YXYX;
  for (int y = 0; y < frame.cyHeld; ++y) {
    for (int i = 0; i < frame.lineBytes; ++i) {
      int channel = i % period;
      if (traits.pairs && (channel % 2 == 0) == lumaFirst) channel = 4;
      double const x = static_cast<double>(i) / frame.lineBytes;
      double const wave = std::sin(2 * std::numbers::pi * (x + static_cast<double>(y) / frame.cy) + 1.2 * channel);
      frame.Line(y)[i] = static_cast<unsigned char>(std::lround(128 + 100 * wave));
    }
  }
}

Scale FrameScale(Job const& job, Scalers const& scalers, int yFirst, int yEnd) {
  return [=, in = job.in, out = job.out, context = ContextOf(job, scalers), scale = scalers.frame] {
    scale(context.get(), in.Line(0), in.stride, out.Line(yFirst), out.stride, 0, yFirst, out.cx, yEnd - yFirst);
  };
}

Scale FirstScale(Job const& job, Scalers const& scalers) {
  return [=] { FrameScale(job, scalers, 0, job.out.cy)(); };
}

Scale TileScale(Job const& job, Scalers const& scalers, int tile, TileOrder order) {
  struct Corner {
    int x, y;
  };
  std::vector<Corner> corners;
  for (int y = 0; y < job.out.cy; y += tile) {
    for (int x = 0; x < job.out.cx; x += tile) corners.push_back({x, y});
  }
  if (order == TileOrder::columns) std::ranges::stable_sort(corners, {}, &Corner::x);
  return [=, in = job.in, out = job.out, context = ContextOf(job, scalers), library = scalers.library,
          scale = scalers.frame, layout = static_cast<int>(job.layout), pixelBytes = job.in.lineBytes / job.in.cx] {
    for (auto const& [x, y] : corners) {
      int const cx = std::min(tile, out.cx - x), cy = std::min(tile, out.cy - y);
      int xSrc, ySrc, cxSrc, cySrc;
      library->sourceNeeded(layout, in.cx, in.cy, out.cx, out.cy, x, y, cx, cy, xSrc, ySrc, cxSrc, cySrc);
      library->sourceOrigin(context.get(), xSrc, ySrc);
      scale(context.get(), in.Line(ySrc) + xSrc * pixelBytes, in.stride, out.Line(y) + x * pixelBytes, out.stride, x, y,
            cx, cy);
    }
  };
}

Scale CheckedScale(Job const& job, conformance::Set const& set) {
  fourtap_scaler* opened = nullptr;
  fourtap_status const status =
      fourtap_open(&opened, static_cast<int>(job.layout), job.in.cx, job.in.cy, job.out.cx, job.out.cy);
  if (status != FOURTAP_OK) throw std::runtime_error(fourtap_error());
  std::shared_ptr<fourtap_scaler> const scaler(opened, fourtap_close);
  if (fourtap_use_set(opened, set.number) != FOURTAP_OK) return {};
  return [=, in = job.in, out = job.out] {
    fourtap_scale(scaler.get(), {in.bytes.get(), in.capacity, in.stride}, nullptr,
                  {out.bytes.get(), out.capacity, out.stride}, nullptr);
  };
}

Scale SliceScale(Job const& job, Scalers const& scalers, int cySlice) {
  return [=, in = job.in, out = job.out, context = ContextOf(job, scalers), scale = scalers.slice,
          reset = scalers.library->reset] {
    reset(context.get());
    for (int y = 0, yOut = 0; y < in.cy; y += cySlice) {
      int cyWritten = 0;
      scale(context.get(), in.Line(y), in.stride, std::min(cySlice, in.cy - y), out.Line(yOut), out.stride, cyWritten);
      yOut += cyWritten;
    }
  };
}

Scale PictureScale(Job const& job, conformance::Set const& set, int cyPush) {
  fourtap_rules const rules{static_cast<int>(job.layout), FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  fourtap_picture* opened = nullptr;
  fourtap_status const status = fourtap_picture_open(&opened, &rules, job.in.cx, job.in.cy, job.out.cx, job.out.cy);
  if (status != FOURTAP_OK) throw std::runtime_error(fourtap_error());
  std::shared_ptr<fourtap_picture> const picture(opened, fourtap_picture_close);
  if (fourtap_picture_use_set(opened, set.number) != FOURTAP_OK) return {};
  return [=, in = job.in, out = job.out] {
    fourtap_picture_begin(picture.get(), nullptr);
    auto const sizeOf = [](Frame const& frame, int lines) {
      return static_cast<std::size_t>(frame.stride) * static_cast<std::size_t>(lines);
    };
    for (int y = 0, yOut = 0; yOut < out.cy;) {
      int const lines = std::min(cyPush, in.cy - y), room = out.cy - yOut;
      int taken = 0, written = 0;
      fourtap_picture_push(picture.get(), {in.Line(y), sizeOf(in, lines), in.stride}, lines, &taken,
                           {out.Line(yOut), sizeOf(out, room), out.stride}, room, &written);
      y += taken;
      yOut += written;
    }
  };
}

Scale StepsScale(Job const& job, Scalers const& scalers, int cySlice) {
  struct Step {
    std::shared_ptr<_SCALE_CONTEXT> context;
    Frame lines;  // what a call gives
  };
  std::vector<Step> steps;
  int const bytesPerPixel = job.in.lineBytes / job.in.cx;
  auto const halved = [](int n, int nOut) { return n > 2 * nOut ? (n + 1) / 2 : n; };
  int cx = job.in.cx, cy = job.in.cy, most = cySlice;
  for (bool isLast = false; !isLast;) {
    isLast = cx <= 2 * job.out.cx && cy <= 2 * job.out.cy;
    int const cxNext = isLast ? job.out.cx : halved(cx, job.out.cx),
              cyNext = isLast ? job.out.cy : halved(cy, job.out.cy);
    most = FourTapScaleMostLinesWritten(cy, cyNext, most);
    Step& step = steps.emplace_back(
        Step{scalers.Context(cx, cy, cxNext, cyNext, 8 * bytesPerPixel), FrameOf(cxNext, cyNext, most, bytesPerPixel)});
    Allocate(step.lines);
    cx = cxNext;
    cy = cyNext;
  }
  return [=, in = job.in, out = job.out, scale = scalers.slice, reset = scalers.library->reset] {
    for (Step const& step : steps) reset(step.context.get());
    for (int y = 0, yOut = 0; y < in.cy; y += cySlice) {
      unsigned char const* lines = in.Line(y);
      int stride = in.stride, count = std::min(cySlice, in.cy - y);
      for (Step const& step : steps) {
        Frame const& to = &step == &steps.back() ? out : step.lines;
        unsigned char* const first = to.Line(&to == &out ? yOut : 0);
        int cyWritten = 0;
        if (count > 0) scale(step.context.get(), lines, stride, count, first, to.stride, cyWritten);
        lines = first;
        stride = to.stride;
        count = cyWritten;
      }
      yOut += count;
    }
  };
}

Scale CopyScale(Job const& job) {
  return
      [from = job.in.bytes, to = job.out.bytes, count = job.CopyBytes()] { std::memcpy(to.get(), from.get(), count); };
}

}  // namespace bench
