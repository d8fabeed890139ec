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

inline unsigned char const* TopOf(fourtap_source const& source, HandedLines const& lines) {
  return static_cast<unsigned char const*>(source.data) + lines.top;
}
inline unsigned char* TopOf(fourtap_target const& target, HandedLines const& lines) {
  return static_cast<unsigned char*>(target.data) + lines.top;
}

int BitsPerPixel(int layout);
// Columns and widths are even then.
bool NeedsPairs(int layout, int cxIn, int cyIn, int cxOut, int cyOut);

// Each refuses, or answers FOURTAP_OK. `name` is the argument's.
fourtap_status CheckThere(char const* name, void const* address);
fourtap_status CheckLayout(int layout);
// The sizes of pictures that are scaled.
fourtap_status CheckSizes(int cxIn, int cyIn, int cxOut, int cyOut, bool inPairs);
fourtap_status RefuseSizes(int cxIn, int cyIn, int cxOut, int cyOut);
// A rectangle of a picture.
fourtap_status CheckRect(char const* name, fourtap_rect const&, int cx, int cy, bool inPairs);
// A part of the source that is to hold what is needed.
fourtap_status CheckHolds(fourtap_rect const& part, fourtap_rect const& needed);
// Memory for cy lines of cx pixels.
fourtap_status CheckLines(char const* name, void const* data, size_t bytes, ptrdiff_t stride, int64_t lineBytes, int cy,
                          HandedLines& lines);
fourtap_status CheckApart(HandedLines const& source, HandedLines const& target);
// The widest set that is asked for: whether it is one, and that a set runs here.
fourtap_status CheckSet(int widest);
fourtap_status FindSet(int widest, int& set);

}  // namespace fourtap
