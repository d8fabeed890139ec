// The benchmark's cases: which picture is scaled from which size to which.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/Library.h"
#include "conformance/Variants.h"

namespace bench {

// Room for `capacity` bytes, and for the vector that a peer may write past them.
std::shared_ptr<unsigned char[]> AlignedBytes(std::size_t capacity);

// A frame in memory. The first line and the stride are aligned to 64 bytes, because peers ask for that; the lines hold
// no more than the frame needs.
struct Frame {
  int cx, cy;
  int cyHeld;  // lines in memory, which come again and again where the frame has more
  int lineBytes;
  int stride;
  std::size_t capacity;
  std::shared_ptr<unsigned char[]> bytes;

  unsigned char* Line(int y) const { return bytes.get() + static_cast<std::ptrdiff_t>(y % cyHeld) * stride; }
  std::size_t PixelBytes() const { return static_cast<std::size_t>(lineBytes) * static_cast<std::size_t>(cy); }
};

// One case, and the frames that all its rows share.
struct Job {
  conformance::Layout layout;
  Frame in, out;
  bool tilesAlone;  // a band of a large picture, scaled in tiles

  double OutputPixels() const { return static_cast<double>(out.cx) * out.cy; }
  std::size_t CopyBytes() const { return (in.PixelBytes() + out.PixelBytes()) / 2; }
};

// All of the job's work, once; whatever can be set up beforehand is.
using Scale = std::function<void()>;

std::vector<Job> Jobs();
// Reductions of a large picture, of which 64 lines are in memory: lines are read as they are when a decoder has just
// written them.
std::vector<Job> PictureJobs();

// "1920x1080-1280x720"
std::string SizesOf(Job const&);

// Fills the source: with noise, or with a picture that any scaler leaves nearly as it is.
void FillWithNoise(Frame const&);
void FillSmoothly(conformance::Layout, Frame const&);

// Scales output lines yFirst to yEnd - 1, in one call.
Scale FrameScale(Job const&, Scalers const&, int yFirst, int yEnd);
// The same for the whole frame, by a context that is made for it.
Scale FirstScale(Job const&, Scalers const&);
// Scales the frame in tiles of the output, each from the part of the source that it needs: column by column, or line of
// tiles by line, so that each tile has other columns than the one before.
enum class TileOrder { columns, lines };
Scale TileScale(Job const&, Scalers const&, int tile, TileOrder);
// Scales the frame by the function for C, which checks its arguments; empty where that does not know the set.
Scale CheckedScale(Job const&, conformance::Set const&);
// Scales the frame progressively, cySlice source lines a call.
Scale SliceScale(Job const&, Scalers const&, int cySlice);
// Scales a picture by the functions for C, cyPush source lines a call; empty where they don't know the set.
Scale PictureScale(Job const&, conformance::Set const&, int cyPush);
// The same by several progressive frames, each of which makes the picture at most half as large.
Scale StepsScale(Job const&, Scalers const&, int cySlice);
// Moves as much memory as reading the source once and writing the output once does.
Scale CopyScale(Job const&);

}  // namespace bench
