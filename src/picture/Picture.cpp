#include "picture/Picture.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace fourtap {

namespace {

// Lines are worked on by so many bytes at a time, if they are short.
int const stretchBytes = 1 << 16;
int LinesOfStretch(int64_t lineBytes, int least, int64_t bytes = stretchBytes) {
  return static_cast<int>(std::max<int64_t>(bytes / lineBytes, least));
}

// A scaler may list all of the source's lines at each call. So of tall pictures, which have many, more lines wait for
// one call: as many bytes as the list has, to a limit.
int const mostListBytes = 1 << 20;
int64_t ListBytes(int cy) { return std::min<int64_t>(int64_t{cy} * int64_t{sizeof(void*)}, mostListBytes); }
bool IsTall(int cy) { return ListBytes(cy) > stretchBytes; }

// Source lines that an output line of the four taps is made of.
int const tapLines = 4;

bool IsWhole(PixelRect const& rect, int cx, int cy) { return rect.cx == cx && rect.cy == cy; }

void TakeMemory(Picture::Lines& lines, Arena& arena, int room, int64_t stride) {
  lines = {arena.Take<unsigned char>(room * stride), static_cast<ptrdiff_t>(stride), room, 0, 0};
}

// Luma and chroma of packed lines, which are made shorter apart.
void PartPacked(bool lumaFirst, unsigned char const* packed, int cx, unsigned char* luma, unsigned char* chroma) {
  unsigned char* const first = lumaFirst ? luma : chroma;
  unsigned char* const second = lumaFirst ? chroma : luma;
  for (int x = 0; x < cx; ++x) {
    first[x] = packed[2 * x];
    second[x] = packed[2 * x + 1];
  }
}
void JoinPacked(bool lumaFirst, unsigned char const* luma, unsigned char const* chroma, int cx, unsigned char* packed) {
  unsigned char const* const first = lumaFirst ? luma : chroma;
  unsigned char const* const second = lumaFirst ? chroma : luma;
  for (int x = 0; x < cx; ++x) {
    packed[2 * x] = first[x];
    packed[2 * x + 1] = second[x];
  }
}

PixelRect InPairs(PixelRect const& rect) { return {rect.x / 2, rect.y, rect.cx / 2, rect.cy}; }

bool LumaFirst(Picture const& picture) { return picture.job.layout == FourTapLayoutYXYX; }

// Makes lines of `between` by the wide filter, as many as can be, at most `room`. Returns how many.
int MakeReduced(Picture& picture, unsigned char* dst, ptrdiff_t stride, int room) {
  ReducingKernels const& kernels = *picture.kernels;
  if (!picture.reducesApart) {
    int const count = MakeLines(picture.reducers[0], kernels, dst, stride, room);
    if (picture.job.layout != FourTapLayoutRGB32 || !picture.reducers[0].reducesColumns) return count;
    for (int k = 0; k < count; ++k) {
      for (ptrdiff_t x = 0; x < picture.between.cx; ++x) dst[k * stride + 4 * x + 3] = 0;
    }
    return count;
  }
  int count = 0;
  for (int kind = 0; kind < 2; ++kind) {
    Picture::Lines const& lines = picture.reducedApart[kind];
    count = MakeLines(picture.reducers[kind], kernels, lines.lines, lines.stride, std::min(room, lines.room));
  }
  for (int k = 0; k < count; ++k) {
    JoinPacked(LumaFirst(picture), picture.reducedApart[0].At(k), picture.reducedApart[1].At(k), picture.between.cx,
               dst + k * stride);
  }
  return count;
}

// Hands lines to the wide filter. Returns how many it took.
int TakeToReduce(Picture& picture, LinesToRead const& from) {
  ReducingKernels const& kernels = *picture.kernels;
  if (!picture.reducesApart) return TakeLines(picture.reducers[0], kernels, from.lines, from.stride, from.count);
  Picture::Lines const &luma = picture.apart[0], &chroma = picture.apart[1];
  int const count = std::min(from.count, luma.room);
  for (int k = 0; k < count; ++k) {
    PartPacked(LumaFirst(picture), from.lines + k * from.stride, picture.in.cx, luma.At(k), chroma.At(k));
  }
  // Each begins where its own part does.
  int const lumaFirst = picture.reducers[0].in.x - picture.in.x;
  int const chromaFirst = 2 * picture.reducers[1].in.x - picture.in.x;
  TakeLines(picture.reducers[0], kernels, luma.lines + lumaFirst, luma.stride, count);
  return TakeLines(picture.reducers[1], kernels, chroma.lines + chromaFirst, chroma.stride, count);
}

void CopyLines(LinesToRead const& from, int count, unsigned char* to, ptrdiff_t stride, int64_t bytes) {
  if (from.stride == bytes && stride == bytes) {
    std::memcpy(to, from.lines, static_cast<size_t>(count * bytes));
    return;
  }
  for (int k = 0; k < count; ++k)
    std::memcpy(to + k * stride, from.lines + k * from.stride, static_cast<size_t>(bytes));
}

int BytesOf(Picture const& picture, int cx) { return cx * picture.job.bytesPerPixel; }

// Lines that the four taps can make of the window; of tall pictures some are held back until there are many.
int MakeFiltered(Picture& picture, unsigned char* dst, ptrdiff_t stride, int room) {
  int const cyIn = picture.cyBetween, cyOut = picture.job.cyOut;
  int const end = picture.window.first + picture.window.count;
  int const y = picture.out.y + picture.filtered;
  int const most = std::min(room, picture.out.cy - picture.filtered);
  auto const hasLinesOf = [&](int count) { return FourTapScaleLinesNeeded(cyIn, cyOut, y + count - 1) <= end; };
  int count = 0;
  if (hasLinesOf(most)) {
    count = most;
  } else {
    bool const isAll = end == picture.between.y + picture.between.cy;
    if (IsTall(cyIn) && !isAll && picture.window.count < picture.window.room) return 0;
    for (int beyond = most; beyond - count > 1;) {
      int const middle = count + (beyond - count) / 2;
      (hasLinesOf(middle) ? count : beyond) = middle;
    }
  }
  if (count == 0) return 0;
  FourTapScaleSourceOrigin(picture.context, picture.between.x, picture.window.first);
  picture.frame(picture.context, picture.window.lines, static_cast<int>(picture.window.stride), dst,
                static_cast<int>(stride), picture.out.x, y, picture.out.cx, count);
  picture.filtered += count;
  return count;
}

// The first line of the window that is still needed.
int FirstKept(Picture const& picture) {
  Picture::Lines const& window = picture.window;
  int const y = picture.out.y + picture.filtered;
  return std::clamp(FourTapScaleFirstLineNeeded(picture.cyBetween, picture.job.cyOut, y), window.first,
                    window.first + window.count);
}

// Adds lines to the window, as many as it has room for; those that no output line needs any more go.
int AddToWindow(Picture& picture, LinesToRead const& from) {
  Picture::Lines& window = picture.window;
  int const end = window.first + window.count;
  int const first = FirstKept(picture);
  auto const bytesKept = static_cast<size_t>((end - first) * window.stride);
  if (first > window.first) std::memmove(window.lines, window.At(first - window.first), bytesKept);
  window = {window.lines, window.stride, window.room, first, end - first};
  int const count = std::min(from.count, window.room - window.count);
  CopyLines(from, count, window.At(window.count), window.stride, window.stride);
  window.count += count;
  return count;
}

// Filters lines progressively, as many as the room allows; if that is none, one of them, for which there is room in
// `waiting`.
int FilterSlice(Picture& picture, LinesToRead const& from, LinesToWrite const& to, int& made) {
  int const cyIn = picture.cyBetween, cyOut = picture.job.cyOut;
  int count = from.count;
  while (count > 0 && FourTapScaleMostLinesWritten(cyIn, cyOut, count) > to.room) count /= 2;
  if (count > 0) {
    picture.slice(picture.context, from.lines, static_cast<int>(from.stride), count, to.lines,
                  static_cast<int>(to.stride), made);
    return count;
  }
  picture.waiting.first = 0;
  picture.slice(picture.context, from.lines, static_cast<int>(from.stride), 1, picture.waiting.lines,
                static_cast<int>(picture.waiting.stride), picture.waiting.count);
  return 1;
}

int MakeWaiting(Picture& picture, unsigned char* dst, ptrdiff_t stride, int room) {
  Picture::Lines& waiting = picture.waiting;
  int const count = std::min(room, waiting.count);
  CopyLines({waiting.At(waiting.first), waiting.stride, count}, count, dst, stride, waiting.stride);
  waiting.first += count;
  waiting.count -= count;
  return count;
}

void ChangeByAlpha(PictureJob const& job, unsigned char const* from, int cx, unsigned char* to) {
  auto const pixels = static_cast<size_t>(cx);
  if (job.alpha == AlphaRule::multiply) {
    MultiplyByAlpha(job.pixel, from, pixels, to);
  } else if (job.alpha == AlphaRule::drop) {
    DropAlpha(job.pixel, from, pixels, to);
  } else {
    LayOnto(job.pixel, job.background, from, pixels, to);
  }
}

// A run of a picture: what is left to read and to write.
struct Run {
  Picture& picture;
  LinesToRead from;
  LinesToWrite to;

  void Wrote(int count) {
    PictureJob const& job = picture.job;
    if (job.alpha == AlphaRule::multiply) {
      for (int k = 0; k < count; ++k) {
        unsigned char* const line = to.lines + k * to.stride;
        DivideByAlpha(job.pixel, line, static_cast<size_t>(picture.out.cx), line);
      }
    }
    to.lines += count * to.stride;
    to.room -= count;
    picture.written += count;
  }

  // Whether lines could be written without taking any.
  bool Write() {
    int const count = !picture.usesFourTaps ? picture.reduces ? MakeReduced(picture, to.lines, to.stride, to.room) : 0
                      : picture.inSlices    ? MakeWaiting(picture, to.lines, to.stride, to.room)
                                            : MakeFiltered(picture, to.lines, to.stride, to.room);
    if (count > 0) Wrote(count);
    return count > 0;
  }

  void Took(LinesToRead& lines, int count) {
    lines.lines += count * lines.stride;
    lines.count -= count;
  }

  // Hands lines to the four taps.
  int Filter(LinesToRead const& lines) {
    if (!picture.inSlices) return AddToWindow(picture, lines);
    int made = 0;
    int const count = FilterSlice(picture, lines, to, made);
    Wrote(made);
    return count;
  }

  // Hands lines to what comes first.
  int Hand(LinesToRead const& lines) {
    if (picture.reduces) return TakeToReduce(picture, lines);
    if (picture.usesFourTaps) return Filter(lines);
    int const count = std::min(lines.count, to.room);
    CopyLines(lines, count, to.lines, to.stride, BytesOf(picture, picture.in.cx));
    Wrote(count);
    return count;
  }

  // Whether a line went one stage on.
  bool Take() {
    if (picture.reduces && picture.usesFourTaps) {
      Picture::Lines const& reduced = picture.reduced;
      int const kept = picture.window.first + picture.window.count - FirstKept(picture);
      int const room = picture.inSlices ? 1 : std::min(reduced.room, picture.window.room - kept);
      int const count = MakeReduced(picture, reduced.lines, reduced.stride, room);
      if (count > 0) {
        Filter({reduced.lines, reduced.stride, count});
        return true;
      }
    }
    if (picture.job.alpha == AlphaRule::none) {
      if (from.count == 0) return false;
      Took(from, Hand(from));
      return true;
    }
    Picture::Lines& changed = picture.changed;
    if (changed.count == 0) {
      changed.first = 0;
      changed.count = std::min(from.count, changed.room);
      for (int k = 0; k < changed.count; ++k) {
        ChangeByAlpha(picture.job, from.lines + k * from.stride, picture.in.cx, changed.At(k));
      }
      Took(from, changed.count);
    }
    if (changed.count == 0) return false;
    int const count = Hand({changed.At(changed.first), changed.stride, changed.count});
    changed.first += count;
    changed.count -= count;
    return true;
  }
};

}  // namespace

bool PlanPicture(Picture& picture, PictureJob const& job, Arena& arena) {
  int64_t const mostBytes = int64_t{std::max(job.cxIn, job.cxOut)} * std::max(job.bytesPerPixel, job.BytesPerPixelIn());
  if (mostBytes > INT_MAX) return false;
  picture.job = job;
  bool const reducesLines = !job.fourTapsOnly && IsBeyondFourTaps(job.cyIn, job.cyOut);
  bool const reducesColumns = !job.fourTapsOnly && IsBeyondFourTaps(job.cxIn, job.cxOut);
  picture.reduces = reducesLines || reducesColumns;
  picture.reducesApart = job.inPairs && reducesColumns;
  picture.cxBetween = reducesColumns ? job.cxOut : job.cxIn;
  picture.cyBetween = reducesLines ? job.cyOut : job.cyIn;
  picture.usesFourTaps = job.fourTapsOnly || picture.cxBetween != job.cxOut || picture.cyBetween != job.cyOut;
  bool const filters = picture.reduces || picture.usesFourTaps;
  if (job.alpha == AlphaRule::multiply && !filters) picture.job.alpha = AlphaRule::none;

  int64_t const bytesIn = BytesOf(picture, job.cxIn), bytesBetween = BytesOf(picture, picture.cxBetween),
                bytesOut = BytesOf(picture, job.cxOut);
  if (picture.job.alpha != AlphaRule::none) TakeMemory(picture.changed, arena, LinesOfStretch(bytesIn, 1), bytesIn);
  // Alpha can't be less than 0 or more than all, as a filter with taps below zero would have it.
  Cubic const cubic = job.keepsAlpha ? Cubic::gentle : Cubic::crisp;
  if (picture.reducesApart) {
    for (int kind = 0; kind < 2; ++kind) {
      PlanReducer(picture.reducers[kind], 1 + kind, cubic, job.cxIn >> kind, job.cyIn, picture.cxBetween >> kind,
                  picture.cyBetween, arena);
      TakeMemory(picture.apart[kind], arena, linesAtOnce, job.cxIn);
      TakeMemory(picture.reducedApart[kind], arena, linesAtOnce, picture.cxBetween);
    }
  } else if (picture.reduces) {
    PlanReducer(picture.reducers[0], job.bytesPerPixel, cubic, job.cxIn, job.cyIn, picture.cxBetween, picture.cyBetween,
                arena);
  }
  if (picture.usesFourTaps) {
    if (FourTapScaleContextBytes(picture.cxBetween, picture.cyBetween, job.cxOut, job.cyOut, 8 * job.bytesPerPixel) < 0)
      return false;
    if (picture.reduces) TakeMemory(picture.reduced, arena, linesAtOnce, bytesBetween);
    TakeMemory(
        picture.window, arena,
        tapLines - 1 +
            LinesOfStretch(bytesBetween, linesAtOnce, std::max<int64_t>(stretchBytes, ListBytes(picture.cyBetween))),
        bytesBetween);
    if (job.cyOut <= picture.cyBetween) {
      TakeMemory(picture.waiting, arena, FourTapScaleMostLinesWritten(picture.cyBetween, job.cyOut, 1), bytesOut);
    }
  }
  return true;
}

void FillTables(Picture& picture) {
  if (!picture.reduces) return;
  for (int kind = 0; kind <= picture.reducesApart; ++kind) FillTables(picture.reducers[kind]);
}

namespace {

PixelRect BetweenOf(Picture const& picture, PixelRect const& out) {
  PictureJob const& job = picture.job;
  if (!picture.usesFourTaps) return out;
  if (IsWhole(out, job.cxOut, job.cyOut)) return {0, 0, picture.cxBetween, picture.cyBetween};
  PixelRect between;
  FourTapScaleSourceNeeded(job.layout, picture.cxBetween, picture.cyBetween, job.cxOut, job.cyOut, out.x, out.y, out.cx,
                           out.cy, between.x, between.y, between.cx, between.cy);
  return between;
}

PixelRect SourceOf(Picture const& picture, PixelRect const& between) {
  if (!picture.reduces) return between;
  PixelRect const in = SourceOf(picture.reducers[0], between);
  if (!picture.reducesApart) return in;
  // Whole pairs that hold what both need.
  PixelRect const pairs = SourceOf(picture.reducers[1], InPairs(between));
  int const first = std::min(in.x / 2, pairs.x), end = std::max((in.x + in.cx + 1) / 2, pairs.x + pairs.cx);
  return {2 * first, in.y, 2 * (end - first), in.cy};
}

}  // namespace

PixelRect NeededOf(Picture const& picture, PixelRect const& out) { return SourceOf(picture, BetweenOf(picture, out)); }

void StartPicture(Picture& picture, PixelRect const& out) {
  PictureJob const& job = picture.job;
  picture.out = out;
  picture.between = BetweenOf(picture, out);
  picture.in = SourceOf(picture, picture.between);
  picture.inSlices = picture.usesFourTaps && IsWhole(out, job.cxOut, job.cyOut) && job.cyOut <= picture.cyBetween;
  picture.taken = picture.written = picture.filtered = 0;
  picture.changed.count = picture.waiting.count = 0;
  picture.changed.stride = BytesOf(picture, picture.in.cx);
  picture.reduced.stride = picture.window.stride = BytesOf(picture, picture.between.cx);
  picture.window.first = picture.between.y;
  picture.window.count = 0;
  if (picture.reduces) StartReducer(picture.reducers[0], picture.between);
  if (picture.reducesApart) StartReducer(picture.reducers[1], InPairs(picture.between));
  if (picture.usesFourTaps) FourTapScaleProgressiveReset(picture.context);
}

void RunPicture(Picture& picture, LinesToRead const& from, LinesToWrite const& to, int& taken, int& written) {
  Run run{picture, from, to};
  for (;;) {
    if (picture.written == picture.out.cy) {
      run.Took(run.from, run.from.count);
      break;
    }
    if (run.to.room == 0) break;
    if (!run.Write() && !run.Take()) break;
  }
  taken = from.count - run.from.count;
  written = to.room - run.to.room;
  picture.taken += taken;
}

}  // namespace fourtap
