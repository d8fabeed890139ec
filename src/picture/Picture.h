// Scales pictures line by line, in the memory of a few lines: four taps to 2:1, a wider filter beyond, and what alpha
// asks for before and after.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <cstddef>
#include <cstdint>

#include "picture/AlphaChange.h"
#include "picture/Reducer.h"

namespace fourtap {

enum class AlphaRule { none, multiply, drop, layOnto };

// What is asked for.
struct PictureJob {
  int cxIn, cyIn, cxOut, cyOut;
  int layout;    // of the lines that are scaled
  bool inPairs;  // columns of that layout belong together by two
  int bytesPerPixel;
  bool fourTapsOnly;  // whatever the sizes; equal ones too are filtered then
  AlphaRule alpha;
  AlphaPixel pixel;  // unless the rule is none
  bool keepsAlpha;   // the output has it
  unsigned char background[3];

  int BytesPerPixelIn() const { return alpha == AlphaRule::none ? bytesPerPixel : pixel.Bytes(); }
};

// Lines in a caller's memory.
struct LinesToRead {
  unsigned char const* lines;
  ptrdiff_t stride;
  int count;
};
struct LinesToWrite {
  unsigned char* lines;
  ptrdiff_t stride;
  int room;
};

struct Picture {
  PictureJob job;
  bool reduces, usesFourTaps;
  int cxBetween, cyBetween;  // the picture's size between the wide filter and the four taps

  int set;
  ReducingKernels const* kernels;
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;

  _SCALE_CONTEXT* context;
  // Of pixels; or of luma, and of the chroma of pairs, where packed lines become shorter.
  Reducer reducers[2];
  bool reducesApart;
  int64_t bytes;

  // The part of the output that is being made, and what it is made of.
  PixelRect out, between, in;
  bool inSlices;  // the four taps go over the picture progressively
  int taken, written;

  // Lines on their way, each kind without gaps but for what kernels read behind them.
  struct Lines {
    unsigned char* lines;
    ptrdiff_t stride;
    int room;
    int first, count;

    unsigned char* At(int line) const { return lines + line * stride; }
  };
  Lines changed;   // by alpha, before anything is filtered
  Lines apart[2];  // luma and chroma of packed lines
  Lines reducedApart[2];
  Lines reduced;  // for the four taps
  Lines window;   // the source lines of the four taps; `first` is that of `between`
  Lines waiting;  // what was filtered progressively and found no room
  int filtered;   // output lines that were filtered

  // Nothing but one call of the four taps, where all of the source is there.
  bool GoesAtOnce() const { return usesFourTaps && !reduces && job.alpha == AlphaRule::none; }
};

// Plans the memory, and allocates it where `arena` says so. Whether the sizes can be had.
bool PlanPicture(Picture&, PictureJob const&, Arena&);
// Writes the tables of a picture whose memory is there.
void FillTables(Picture&);

// The part of the source that a part of the output is made of.
PixelRect NeededOf(Picture const&, PixelRect const& out);
// Begins a part of the output.
void StartPicture(Picture&, PixelRect const& out);
// Takes lines of the part that is needed, as many as can be, and writes lines of the part that is made. Goes on until
// there are no more lines to take or no more room to write.
void RunPicture(Picture&, LinesToRead const&, LinesToWrite const&, int& taken, int& written);

}  // namespace fourtap
