// The way of one frame through the scaler, on as many threads as are given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "conformance/OwnedContext.h"
#include "crew/Crew.h"
#include "fourtap/SizeGrammar.h"
#include "fourtap/Steps.h"
#include "fourtap/video/FrameFormat.h"

namespace tool {

// What becomes of the frames of a video.
struct FramePlan {
  fourtap_format const& format;
  PictureSize in;
  std::vector<PictureSize> steps;  // at least one; the last is the scaled frame's size
  bool filterEqual;                // planes too that keep their size
  PictureRect rect;                // what is wanted of the scaled frame

  PictureSize Out() const { return {rect.cx, rect.cy}; }
  PictureSize SizeBefore(size_t step) const { return step == 0 ? in : steps[step - 1]; }
  bool PassesFrames() const { return !filterEqual && steps.size() == 1 && in == steps[0] && in == Out(); }
};

// One step of one plane.
struct PlaneStep {
  int layout;
  PictureSize source, scaled;
  bool copied;                   // instead of filtered
  PictureRect rect;              // to be made, of `scaled`
  int64_t srcOffset, dstOffset;  // in their frames, of the source's pixel (0, 0) and of the rectangle's first one
  int srcStride, dstStride;
};

using FrameContexts = std::vector<conformance::OwnedContext>;

struct ReleaseBytes {
  void operator()(unsigned char* bytes) const { std::free(bytes); }
};

// A frame with room behind it for a byte that a scaler may touch there.
using FrameBuffer = std::unique_ptr<unsigned char[], ReleaseBytes>;
// Nothing is in it, and it takes no memory before something is written there. Throws std::bad_alloc.
FrameBuffer MakeFrameBuffer(int64_t bytes);

// Scales frames as planned. The library's scalers have been chosen.
struct FrameScaler {
  FramePlan const plan;
  std::vector<std::vector<PlaneStep>> const steps;  // for each step, by plane
  std::vector<FrameBuffer> const between;           // the frames after each step but the last
  std::vector<FrameContexts> const contexts;        // for each thread; a row of all planes of all steps, null if copied

  // The step being made.
  size_t step = 0;
  unsigned char const* src = nullptr;
  unsigned char* dst = nullptr;

  crew::Crew crew;

  // Throws std::bad_alloc when there is no memory for it.
  FrameScaler(FramePlan const& framePlan, int threads);

  // Both frames have room behind them, as frame buffers do.
  void Scale(unsigned char const* in, unsigned char* out);
};

// How many threads can share the work, of those wanted.
int UsefulThreads(FramePlan const& plan, int wanted);

// What the contexts of a scaler take.
int64_t ContextBytes(FramePlan const& plan, int threads);

}  // namespace tool
