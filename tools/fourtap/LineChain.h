// The way of a picture's lines through the scalers: step after step, in the memory of a few lines.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "fourtap/Options.h"
#include "fourtap/Picture.h"
#include "fourtap/Steps.h"

namespace tool {

// What becomes of a picture.
struct ChainPlan {
  PictureSize in{};
  std::vector<PictureSize> steps;   // none: nothing is filtered
  std::vector<PictureRect> needed;  // of the picture before each step, and of the result
  PixelKind kindIn{}, kindOut{};    // the latter is that of all lines that are scaled
  bool multipliesAlpha = false;

  PictureSize SizeAt(size_t step) const { return step == 0 ? in : steps[step - 1]; }
  PictureRect const& Rect() const { return needed.back(); }
  int LinesToRead() const { return needed.front().y + needed.front().cy; }
  // That all contexts take. Throws a Failure when a size is beyond the scalers.
  int64_t ContextBytes() const;
};

// Throws a Failure unless the rectangle lies in the scaled picture.
void CheckRect(PictureRect const& rect, PictureSize scaled);

// Throws a Failure when the size or the rectangle asked for can't be had.
ChainPlan PlanChain(Options const& options, PictureSize in, PixelKind kind);

// Lines on their way.
struct PixelLines {
  unsigned char const* pixels;
  int stride;
  int count;
};

// Makes other pixels of a line's.
typedef void PixelChange(unsigned char const* pixels, size_t cx, unsigned char* changed);

struct ChainStep;

struct LineChain {
  using Sink = std::function<void(unsigned char const* line)>;

  // `sink` gets the lines of the result, one after the other. At most `linesPerPush` lines are pushed at once. Throws
  // std::bad_alloc.
  LineChain(ChainPlan const& chainPlan, int linesPerPush, Sink sink);
  ~LineChain();

  // The picture's next lines.
  void Push(unsigned char const* lines, int count);

 private:
  void PushInto(size_t step, PixelLines const& lines);
  void Deliver(PixelLines const& lines);

  ChainPlan plan;
  Sink sink;
  std::vector<std::unique_ptr<ChainStep>> steps;
  int y = 0;  // lines pushed
  // Before the first step and after the last one; null: lines pass as they are.
  PixelChange* const changeIn;
  PixelChange* const changeOut;
  std::unique_ptr<unsigned char[]> changedIn;   // of a push
  std::unique_ptr<unsigned char[]> changedOut;  // a line
};

}  // namespace tool
