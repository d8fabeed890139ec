// Pictures for C: every argument is looked at, then the picture scaler is called.
#include "picture/Picture.h"

#include <fourtapscale/fourtap.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "checked/Checks.h"
#include "checked/Refusal.h"

struct fourtap_picture {
  fourtap::Picture picture;
  bool began;    // a picture is under way, or has come to its end
  void* memory;  // all of it but the context
};

namespace {

using namespace fourtap;

fourtap_rect AllOf(int cx, int cy) { return {0, 0, cx, cy}; }

bool NeedsPairs(PictureJob const& job) {
  return fourtap::NeedsPairs(job.layout, job.cxIn, job.cyIn, job.cxOut, job.cyOut);
}

int64_t LineBytes(int cx, int bytesPerPixel) { return int64_t{cx} * bytesPerPixel; }

// What pixels with alpha are scaled as.
struct AlphaPixels {
  int number;
  int layout, layoutWithout;
  AlphaPixel pixel;
};
constexpr AlphaPixels alphaPixels[] = {
    {FOURTAP_GRAY_ALPHA, FOURTAP_UV16, FOURTAP_PLANE, {1, 0, 1}},
    {FOURTAP_RGB_ALPHA, FOURTAP_RGBA32, FOURTAP_RGB24, {3, 0, 3}},
    {FOURTAP_ALPHA_RGB, FOURTAP_RGBA32, FOURTAP_RGB24, {3, 1, 0}},
};

fourtap_status ReadRules(fourtap_rules const& rules, PictureJob& job) {
  if (rules.reduction != FOURTAP_REDUCE_WIDELY && rules.reduction != FOURTAP_REDUCE_BY_FOUR_TAPS) {
    return Refuse(FOURTAP_INVALID, "rules.reduction: %d given, expected FOURTAP_REDUCE_...", rules.reduction);
  }
  job.fourTapsOnly = rules.reduction == FOURTAP_REDUCE_BY_FOUR_TAPS;
  AlphaRule const alphaRules[] = {AlphaRule::multiply, AlphaRule::none, AlphaRule::drop, AlphaRule::layOnto};
  if (rules.alpha < FOURTAP_ALPHA_MULTIPLY || rules.alpha > FOURTAP_ALPHA_BACKGROUND) {
    return Refuse(FOURTAP_INVALID, "rules.alpha: %d given, expected FOURTAP_ALPHA_...", rules.alpha);
  }
  for (int c = 0; c < 3; ++c) job.background[c] = rules.background[c];
  for (AlphaPixels const& pixels : alphaPixels) {
    if (pixels.number != rules.pixels) continue;
    job.alpha = alphaRules[rules.alpha];
    job.pixel = pixels.pixel;
    job.keepsAlpha = job.alpha != AlphaRule::drop && job.alpha != AlphaRule::layOnto;
    job.layout = job.keepsAlpha ? pixels.layout : pixels.layoutWithout;
    job.bytesPerPixel = BitsPerPixel(job.layout) / 8;
    return FOURTAP_OK;
  }
  job.alpha = AlphaRule::none;
  job.layout = rules.pixels;
  if (fourtap_status const status = CheckLayout(rules.pixels)) {
    return Refuse(status, "rules.pixels: %d given, expected a layout's number or FOURTAP_GRAY_ALPHA and so on",
                  rules.pixels);
  }
  job.inPairs = job.layout == FOURTAP_XYXY || job.layout == FOURTAP_YXYX;
  job.bytesPerPixel = BitsPerPixel(job.layout) / 8;
  return FOURTAP_OK;
}

void ChooseScalers(Picture& picture, int set) {
  picture.set = set;
  picture.kernels = &ReducingKernelsFor(set);
  picture.frame = FourTapFrameScalerFor(picture.job.layout, set);
  picture.slice = FourTapSliceScalerFor(picture.job.layout, set);
}

fourtap_status CheckNotUnderWay(fourtap_picture const& opened) {
  Picture const& picture = opened.picture;
  if (!opened.began || picture.written == picture.out.cy) return FOURTAP_OK;
  return Refuse(
      FOURTAP_INVALID,
      "picture: one is under way, %d of %d lines written so far; expected all of them or fourtap_picture_reset",
      picture.written, picture.out.cy);
}

// The part of the output that is asked for.
fourtap_status CheckOut(Picture const& picture, fourtap_rect const* out, PixelRect& rect) {
  PictureJob const& job = picture.job;
  fourtap_rect const asked = out ? *out : AllOf(job.cxOut, job.cyOut);
  if (fourtap_status const status = CheckRect("out", asked, job.cxOut, job.cyOut, NeedsPairs(job))) return status;
  rect = {asked.x, asked.y, asked.cx, asked.cy};
  return FOURTAP_OK;
}

fourtap_rect NeededRect(Picture const& picture, PixelRect const& out) {
  PixelRect const needed = NeededOf(picture, out);
  return {needed.x, needed.y, needed.cx, needed.cy};
}

size_t const alignment = 64;

// Looks at the rules and the sizes, and counts the memory.
fourtap_status Plan(fourtap_rules const* rules, int cxIn, int cyIn, int cxOut, int cyOut, Picture& picture,
                    Arena& arena) {
  if (fourtap_status const status = CheckThere("rules", rules)) return status;
  PictureJob job{};
  if (fourtap_status const status = ReadRules(*rules, job)) return status;
  job.cxIn = cxIn;
  job.cyIn = cyIn;
  job.cxOut = cxOut;
  job.cyOut = cyOut;
  if (fourtap_status const status = CheckSizes(cxIn, cyIn, cxOut, cyOut, NeedsPairs(job))) return status;
  if (!PlanPicture(picture, job, arena)) return RefuseSizes(cxIn, cyIn, cxOut, cyOut);
  picture.bytes = arena.used + int64_t{alignment};
  return FOURTAP_OK;
}

size_t BytesOf(Picture const& picture) {
  int64_t context = 0;
  if (picture.usesFourTaps) {
    context = FourTapScaleContextBytes(picture.cxBetween, picture.cyBetween, picture.job.cxOut, picture.job.cyOut,
                                       8 * picture.job.bytesPerPixel);
  }
  // More than can be had where addresses are short.
  auto const bytes = static_cast<uint64_t>(int64_t{sizeof(fourtap_picture)} + picture.bytes + context);
  return static_cast<size_t>(std::min<uint64_t>(bytes, SIZE_MAX));
}

}  // namespace

fourtap_status fourtap_picture_plan(fourtap_rules const* rules, int cx_in, int cy_in, int cx_out, int cy_out,
                                    fourtap_rect const* out, fourtap_rect* source, size_t* bytes) {
  Picture picture{};
  Arena arena;
  if (fourtap_status const status = Plan(rules, cx_in, cy_in, cx_out, cy_out, picture, arena)) return status;
  PixelRect rect;
  if (fourtap_status const status = CheckOut(picture, out, rect)) return status;
  if (source) *source = NeededRect(picture, rect);
  if (bytes) *bytes = BytesOf(picture);
  return FOURTAP_OK;
}

fourtap_status fourtap_picture_open(fourtap_picture** picture, fourtap_rules const* rules, int cx_in, int cy_in,
                                    int cx_out, int cy_out) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  fourtap_picture made{};
  Picture& planned = made.picture;
  Arena arena;
  if (fourtap_status const status = Plan(rules, cx_in, cy_in, cx_out, cy_out, planned, arena)) return status;
  int set;
  if (fourtap_status const status = FindSet(FOURTAP_SET_WIDEST, set)) return status;

  // Zeros, since kernels may read behind lines, where taps are 0.
  made.memory = planned.bytes <= PTRDIFF_MAX ? std::calloc(static_cast<size_t>(planned.bytes), 1) : nullptr;
  auto* const opened = static_cast<fourtap_picture*>(std::malloc(sizeof made));
  if (made.memory && opened && planned.usesFourTaps) {
    planned.context =
        InitScaleContext(planned.cxBetween, planned.cyBetween, cx_out, cy_out, 8 * planned.job.bytesPerPixel);
  }
  if (!made.memory || !opened || (planned.usesFourTaps && !planned.context)) {
    std::free(made.memory);
    std::free(opened);
    return Refuse(FOURTAP_MEMORY, "memory: none for a picture of %lld bytes and more",
                  static_cast<long long>(planned.bytes));
  }
  auto const address = reinterpret_cast<uintptr_t>(made.memory);
  Arena placed{static_cast<unsigned char*>(made.memory) + (alignment - address % alignment) % alignment, 0};
  PlanPicture(planned, planned.job, placed);
  FillTables(planned);
  ChooseScalers(planned, set);
  *opened = made;
  *picture = opened;
  return FOURTAP_OK;
}

void fourtap_picture_close(fourtap_picture* picture) {
  if (!picture) return;
  DoneScaleContext(picture->picture.context);
  std::free(picture->memory);
  std::free(picture);
}

fourtap_status fourtap_picture_needed(fourtap_picture const* picture, fourtap_rect const* out, fourtap_rect* source) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  if (fourtap_status const status = CheckThere("source", source)) return status;
  PixelRect rect;
  if (fourtap_status const status = CheckOut(picture->picture, out, rect)) return status;
  *source = NeededRect(picture->picture, rect);
  return FOURTAP_OK;
}

fourtap_status fourtap_picture_scale(fourtap_picture* picture, fourtap_source source, fourtap_rect const* part,
                                     fourtap_target target, fourtap_rect const* out) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  if (fourtap_status const status = CheckNotUnderWay(*picture)) return status;
  Picture& scaled = picture->picture;
  PictureJob const& job = scaled.job;
  PixelRect rect;
  if (fourtap_status const status = CheckOut(scaled, out, rect)) return status;
  fourtap_rect const given = part ? *part : AllOf(job.cxIn, job.cyIn);
  if (fourtap_status const status = CheckRect("part", given, job.cxIn, job.cyIn, NeedsPairs(job))) return status;
  fourtap_rect const needed = NeededRect(scaled, rect);
  if (fourtap_status const status = CheckHolds(given, needed)) return status;
  int64_t const bytesIn = LineBytes(given.cx, job.BytesPerPixelIn()), bytesOut = LineBytes(rect.cx, job.bytesPerPixel);
  HandedLines from, to;
  if (fourtap_status const status =
          CheckLines("source", source.data, source.bytes, source.stride, bytesIn, given.cy, from)) {
    return status;
  }
  if (fourtap_status const status =
          CheckLines("target", target.data, target.bytes, target.stride, bytesOut, rect.cy, to)) {
    return status;
  }
  if (fourtap_status const status = CheckApart(from, to)) return status;
  unsigned char const* const src = TopOf(source, from);
  unsigned char* const dst = TopOf(target, to);
  picture->began = false;
  if (scaled.GoesAtOnce()) {
    int const none = -1;
    FourTapScaleSourceOrigin(scaled.context, part ? given.x : none, part ? given.y : none);
    scaled.frame(scaled.context, src, from.stride, dst, to.stride, rect.x, rect.y, rect.cx, rect.cy);
    return FOURTAP_OK;
  }
  StartPicture(scaled, rect);
  ptrdiff_t const firstByte =
      ptrdiff_t{needed.y - given.y} * from.stride + ptrdiff_t{needed.x - given.x} * job.BytesPerPixelIn();
  int taken, written;
  RunPicture(scaled, {src + firstByte, from.stride, needed.cy}, {dst, to.stride, rect.cy}, taken, written);
  return FOURTAP_OK;
}

fourtap_status fourtap_picture_begin(fourtap_picture* picture, fourtap_rect const* out) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  PixelRect rect;
  if (fourtap_status const status = CheckOut(picture->picture, out, rect)) return status;
  StartPicture(picture->picture, rect);
  picture->began = true;
  return FOURTAP_OK;
}

fourtap_status fourtap_picture_push(fourtap_picture* picture, fourtap_source source, int lines, int* taken,
                                    fourtap_target target, int room, int* written) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  if (fourtap_status const status = CheckThere("taken", taken)) return status;
  if (fourtap_status const status = CheckThere("written", written)) return status;
  Picture& pushed = picture->picture;
  if (!picture->began) {
    return Refuse(FOURTAP_INVALID, "picture: none is under way, expected fourtap_picture_begin before");
  }
  int const left = pushed.in.cy - pushed.taken;
  if (lines < 0 || lines > left) {
    return Refuse(FOURTAP_INVALID, "lines: %d given, expected 0 to %d, which are left of %d", lines, left,
                  pushed.in.cy);
  }
  int const leftToWrite = pushed.out.cy - pushed.written;
  if (room < 0) return Refuse(FOURTAP_INVALID, "room: %d given, expected 0 or more lines", room);
  if (room > leftToWrite) room = leftToWrite;
  HandedLines from, to;
  if (fourtap_status const status = CheckLines("source", source.data, source.bytes, source.stride,
                                               LineBytes(pushed.in.cx, pushed.job.BytesPerPixelIn()), lines, from)) {
    return status;
  }
  if (fourtap_status const status = CheckLines("target", target.data, target.bytes, target.stride,
                                               LineBytes(pushed.out.cx, pushed.job.bytesPerPixel), room, to)) {
    return status;
  }
  if (fourtap_status const status = CheckApart(from, to)) return status;
  RunPicture(pushed, {TopOf(source, from), from.stride, lines}, {TopOf(target, to), to.stride, room}, *taken, *written);
  return FOURTAP_OK;
}

fourtap_status fourtap_picture_reset(fourtap_picture* picture) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  picture->began = false;
  return FOURTAP_OK;
}

int fourtap_picture_pixel_bytes(fourtap_picture const* picture) {
  return picture ? picture->picture.job.bytesPerPixel : 0;
}

size_t fourtap_picture_bytes(fourtap_picture const* picture) { return picture ? BytesOf(picture->picture) : 0; }

int fourtap_picture_set(fourtap_picture const* picture) { return picture ? picture->picture.set : FourTapSetNone; }

fourtap_status fourtap_picture_use_set(fourtap_picture* picture, int widest) {
  if (fourtap_status const status = CheckThere("picture", picture)) return status;
  if (fourtap_status const status = CheckSet(widest)) return status;
  if (fourtap_status const status = CheckNotUnderWay(*picture)) return status;
  int set;
  if (fourtap_status const status = FindSet(widest, set)) return status;
  ChooseScalers(picture->picture, set);
  return FOURTAP_OK;
}
