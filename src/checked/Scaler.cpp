// The scalers for C: every argument is looked at, then the scaler for the layout and the set is called.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>

#include <cstdlib>

#include "checked/Checks.h"
#include "checked/Refusal.h"
#include "variants/Variants.h"

namespace {

using namespace fourtap;

struct Set {
  int number;
  char const* name;
  int linesAtATime;
};
#define SET_OF(with, name, number, linesAtATime) {number, #name, linesAtATime},
constexpr Set sets[] = {FOURTAP_SETS(SET_OF, )};
#undef SET_OF

static_assert(FOURTAP_SET_SSE2 == +FourTapSetSSE2 && FOURTAP_SET_AVX2 == +FourTapSetAVX2 &&
              FOURTAP_SET_AVX512 == +FourTapSetAVX512 && FOURTAP_SET_PLAIN == +FourTapSetPlain &&
              FOURTAP_SET_NEON == +FourTapSetNEON && FOURTAP_SET_SIMD128 == +FourTapSetSIMD128 &&
              FOURTAP_SET_WIDEST == +FourTapSetWidest);

Set const* KnownSet(int number) {
  for (Set const& set : sets) {
    if (set.number == number && number != FourTapSetNone) return &set;
  }
  return nullptr;
}

fourtap_rect AllOf(int cx, int cy) { return {0, 0, cx, cy}; }

fourtap_rect NeededOf(fourtap_scaler const& scaler, fourtap_rect const& out) {
  fourtap_rect needed;
  FourTapScaleSourceNeeded(scaler.layout, scaler.cxIn, scaler.cyIn, scaler.cxOut, scaler.cyOut, out.x, out.y, out.cx,
                           out.cy, needed.x, needed.y, needed.cx, needed.cy);
  return needed;
}

bool NeedsPairs(fourtap_scaler const& scaler) {
  return fourtap::NeedsPairs(scaler.layout, scaler.cxIn, scaler.cyIn, scaler.cxOut, scaler.cyOut);
}

int64_t LineBytes(fourtap_scaler const& scaler, int cx) { return int64_t{cx} * BitsPerPixel(scaler.layout) / 8; }

bool IsWithinFrame(fourtap_scaler const& scaler) { return 0 < scaler.cyInDone && scaler.cyInDone < scaler.cyIn; }

// How many lines of a frame are written once so many source lines have been pushed.
int LinesWritten(fourtap_scaler const& scaler, int cyInDone) {
  if (cyInDone == scaler.cyIn) return scaler.cyOut;
  // The first line that needs more.
  int first = 0, end = scaler.cyOut;
  while (first < end) {
    int const middle = first + (end - first) / 2;
    if (FourTapScaleLinesNeeded(scaler.cyIn, scaler.cyOut, middle) <= cyInDone) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  // While both sizes change, some sets write whole blocks only. What needs the last source line waits for it.
  bool const inBlocks = scaler.cxIn != scaler.cxOut && scaler.cyIn != scaler.cyOut;
  return inBlocks ? first - first % KnownSet(scaler.set)->linesAtATime : first;
}

fourtap_status ChooseSet(fourtap_scaler& scaler, int widest) {
  int set;
  if (fourtap_status const status = FindSet(widest, set)) return status;
  scaler.set = set;
  scaler.frame = FourTapFrameScalerFor(scaler.layout, set);
  scaler.slice = FourTapSliceScalerFor(scaler.layout, set);
  return FOURTAP_OK;
}

}  // namespace

fourtap_status fourtap_open(fourtap_scaler** scaler, int layout, int cx_in, int cy_in, int cx_out, int cy_out) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  if (fourtap_status const status = CheckLayout(layout)) return status;
  bool const inPairs = fourtap::NeedsPairs(layout, cx_in, cy_in, cx_out, cy_out);
  if (fourtap_status const status = CheckSizes(cx_in, cy_in, cx_out, cy_out, inPairs)) return status;
  fourtap_scaler made{layout, cx_in, cy_in, cx_out, cy_out, nullptr, FourTapSetNone, nullptr, nullptr, 0, 0};
  int const bitsPerPixel = BitsPerPixel(layout);
  if (FourTapScaleContextBytes(cx_in, cy_in, cx_out, cy_out, bitsPerPixel) < 0) {
    return RefuseSizes(cx_in, cy_in, cx_out, cy_out);
  }
  if (fourtap_status const status = ChooseSet(made, FourTapSetWidest)) return status;
  made.context = InitScaleContext(cx_in, cy_in, cx_out, cy_out, bitsPerPixel);
  auto* const opened = made.context ? static_cast<fourtap_scaler*>(std::malloc(sizeof made)) : nullptr;
  if (!opened) {
    DoneScaleContext(made.context);
    return Refuse(FOURTAP_MEMORY, "memory: none for a scaler of %lld bytes",
                  FourTapScaleContextBytes(cx_in, cy_in, cx_out, cy_out, bitsPerPixel));
  }
  *opened = made;
  *scaler = opened;
  return FOURTAP_OK;
}

void fourtap_close(fourtap_scaler* scaler) {
  if (!scaler) return;
  DoneScaleContext(scaler->context);
  std::free(scaler);
}

fourtap_status fourtap_needed(fourtap_scaler const* scaler, fourtap_rect const* out, fourtap_rect* source) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  if (fourtap_status const status = CheckThere("source", source)) return status;
  fourtap_rect const rect = out ? *out : AllOf(scaler->cxOut, scaler->cyOut);
  if (fourtap_status const status = CheckRect("out", rect, scaler->cxOut, scaler->cyOut, NeedsPairs(*scaler)))
    return status;
  *source = NeededOf(*scaler, rect);
  return FOURTAP_OK;
}

fourtap_status fourtap_scale(fourtap_scaler* scaler, fourtap_source source, fourtap_rect const* part,
                             fourtap_target target, fourtap_rect const* out) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  if (IsWithinFrame(*scaler)) {
    return Refuse(FOURTAP_INVALID,
                  "scaler: a frame is being pushed, %d of %d lines so far; expected all or fourtap_reset",
                  scaler->cyInDone, scaler->cyIn);
  }
  fourtap_rect const rect = out ? *out : AllOf(scaler->cxOut, scaler->cyOut);
  fourtap_rect const given = part ? *part : AllOf(scaler->cxIn, scaler->cyIn);
  if (fourtap_status const status = CheckRect("out", rect, scaler->cxOut, scaler->cyOut, NeedsPairs(*scaler)))
    return status;
  if (fourtap_status const status = CheckRect("part", given, scaler->cxIn, scaler->cyIn, NeedsPairs(*scaler)))
    return status;
  if (fourtap_status const status = CheckHolds(given, NeededOf(*scaler, rect))) return status;
  HandedLines from, to;
  if (fourtap_status const status = CheckLines("source", source.data, source.bytes, source.stride,
                                               LineBytes(*scaler, given.cx), given.cy, from)) {
    return status;
  }
  if (fourtap_status const status =
          CheckLines("target", target.data, target.bytes, target.stride, LineBytes(*scaler, rect.cx), rect.cy, to)) {
    return status;
  }
  if (fourtap_status const status = CheckApart(from, to)) return status;
  if (part) FourTapScaleSourceOrigin(scaler->context, given.x, given.y);
  scaler->frame(scaler->context, TopOf(source, from), from.stride, TopOf(target, to), to.stride, rect.x, rect.y,
                rect.cx, rect.cy);
  if (part) FourTapScaleSourceOrigin(scaler->context, -1, -1);
  return FOURTAP_OK;
}

fourtap_status fourtap_push(fourtap_scaler* scaler, fourtap_source source, int lines, fourtap_target target, int room,
                            int* written) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  if (fourtap_status const status = CheckThere("written", written)) return status;
  int const left = scaler->cyIn - scaler->cyInDone;
  if (lines < 0 || lines > left) {
    return Refuse(FOURTAP_INVALID, "lines: %d given, expected 0 to %d, which the frame has left", lines, left);
  }
  // No line may come before fourtap_reset has begun a new frame, and none leaves without one.
  int const coming = lines == 0 ? 0 : LinesWritten(*scaler, scaler->cyInDone + lines) - scaler->cyOutDone;
  if (room < coming) return Refuse(FOURTAP_INVALID, "room: %d lines given, expected at least %d", room, coming);
  HandedLines from, to;
  if (fourtap_status const status = CheckLines("source", source.data, source.bytes, source.stride,
                                               LineBytes(*scaler, scaler->cxIn), lines, from)) {
    return status;
  }
  if (fourtap_status const status =
          CheckLines("target", target.data, target.bytes, target.stride, LineBytes(*scaler, scaler->cxOut), room, to)) {
    return status;
  }
  if (fourtap_status const status = CheckApart(from, to)) return status;
  *written = 0;
  if (lines == 0) return FOURTAP_OK;
  if (scaler->cyInDone == 0) FourTapScaleProgressiveReset(scaler->context);
  scaler->slice(scaler->context, TopOf(source, from), from.stride, lines, TopOf(target, to), to.stride, *written);
  scaler->cyInDone += lines;
  scaler->cyOutDone += *written;
  return FOURTAP_OK;
}

fourtap_status fourtap_reset(fourtap_scaler* scaler) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  scaler->cyInDone = scaler->cyOutDone = 0;
  return FOURTAP_OK;
}

size_t fourtap_bytes(fourtap_scaler const* scaler) {
  if (!scaler) return 0;
  return sizeof *scaler + static_cast<size_t>(FourTapScaleContextBytes(scaler->cxIn, scaler->cyIn, scaler->cxOut,
                                                                       scaler->cyOut, BitsPerPixel(scaler->layout)));
}

int fourtap_set(fourtap_scaler const* scaler) { return scaler ? scaler->set : FourTapSetNone; }

int fourtap_lines_needed(fourtap_scaler const* scaler, int line) {
  if (!scaler || line < 0 || line >= scaler->cyOut) return 0;
  return FourTapScaleLinesNeeded(scaler->cyIn, scaler->cyOut, line);
}

int fourtap_most_written(fourtap_scaler const* scaler, int lines) {
  return scaler ? FourTapScaleMostLinesWritten(scaler->cyIn, scaler->cyOut, lines) : 0;
}

fourtap_status fourtap_use_set(fourtap_scaler* scaler, int widest) {
  if (fourtap_status const status = CheckThere("scaler", scaler)) return status;
  if (fourtap_status const status = CheckSet(widest)) return status;
  if (IsWithinFrame(*scaler)) {
    return Refuse(FOURTAP_INVALID,
                  "scaler: a frame is being pushed, %d of %d lines so far; expected all or fourtap_reset",
                  scaler->cyInDone, scaler->cyIn);
  }
  return ChooseSet(*scaler, widest);
}

char const* fourtap_set_name(int set) {
  Set const* const found = KnownSet(set);
  return found ? found->name : "";
}

int fourtap_version() { return FourTapScaleVersion(); }
