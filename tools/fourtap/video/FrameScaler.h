// The way of one frame through the scaler, on as many threads as are given.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "crew/Crew.h"
#include "fourtap/Composition.h"
#include "fourtap/Scaling.h"
#include "fourtap/SizeGrammar.h"
#include "fourtap/video/FrameFormat.h"

namespace tool {

// What becomes of the frames of a video.
struct FramePlan {
  fourtap_format const& format;
  std::string sizeOption;  // for messages
  PictureSize in;
  Composition composition;
  bool byFourTaps;  // whatever the sizes; equal ones too are filtered then

  PictureSize Scaled() const { return composition.scaled; }
  PictureSize Out() const { return composition.canvas; }
  bool Pads() const { return Out() != composition.Part(); }
  bool Filters() const { return byFourTaps || in != Scaled(); }
  bool PassesFrames() const { return !Filters() && in == Out(); }
};

// One plane of the frames.
struct PlanePlan {
  fourtap_rules rules;
  PictureSize source, scaled;
  PictureRect rect;              // to be made, of `scaled`
  int64_t srcOffset, dstOffset;  // of the source in its frame, and of the rectangle in the result
  int64_t dstStride;
  int bytesPerPixel;

  int64_t SourceBytes() const { return int64_t{source.cx} * source.cy * bytesPerPixel; }
};

struct ReleaseBytes {
  void operator()(unsigned char* bytes) const { std::free(bytes); }
};

// A frame with room behind it for a byte that a scaler may touch there.
using FrameBuffer = std::unique_ptr<unsigned char[], ReleaseBytes>;
// Throws std::bad_alloc.
FrameBuffer MakeFrameBuffer(int64_t bytes);

// Scales frames as planned. The set of instructions has been chosen.
struct FrameScaler {
  FramePlan const plan;
  std::vector<PlanePlan> const planes;
  std::vector<std::vector<OwnedPicture>> const scalers;  // for each thread, by plane

  // The frame being made.
  unsigned char const* src = nullptr;
  unsigned char* dst = nullptr;

  crew::Crew crew;

  // Throws std::bad_alloc when there is no memory for it.
  FrameScaler(FramePlan const& framePlan, int threads);

  // Both frames have room behind them, as frame buffers do. Of what comes out, only the rectangle is written.
  void Scale(unsigned char const* in, unsigned char* out);
};

// How many threads can share the work, of those wanted.
int UsefulThreads(FramePlan const& plan, int wanted);

// What the scalers of all threads take. Throws a Failure for sizes that are beyond them.
int64_t ScalerBytes(FramePlan const& plan, int threads);

}  // namespace tool
