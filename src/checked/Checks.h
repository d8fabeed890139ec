// A scaler for C, and what is looked at before it is called.
#pragma once

#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>

#include <cstddef>
#include <cstdint>

struct fourtap_scaler {
  int layout;
  int cxIn, cyIn, cxOut, cyOut;
  _SCALE_CONTEXT* context;
  int set;
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
  int cyInDone, cyOutDone;  // of the frame that is being pushed: lines taken, and lines written
};

namespace fourtap {

// Lines in a caller's memory: where they are, and what they are within.
struct HandedLines {
  ptrdiff_t top;  // the top line, bytes from the lowest address
  int stride;
  uintptr_t first, end;  // addresses
};

int BitsPerPixel(fourtap_scaler const&);
// Columns and widths are even then.
bool NeedsPairs(fourtap_scaler const&);

// Each refuses, or answers FOURTAP_OK. `name` is the argument's.
fourtap_status CheckThere(char const* name, void const* address);
fourtap_status CheckLayout(int layout);
// A rectangle of a picture.
fourtap_status CheckRect(fourtap_scaler const&, char const* name, fourtap_rect const&, int cx, int cy);
// Memory for cy lines of cx pixels.
fourtap_status CheckLines(fourtap_scaler const&, char const* name, void const* data, size_t bytes, ptrdiff_t stride,
                          int cx, int cy, HandedLines& lines);
fourtap_status CheckApart(HandedLines const& source, HandedLines const& target);

}  // namespace fourtap
