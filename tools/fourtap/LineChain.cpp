#include "fourtap/LineChain.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <utility>

#include "conformance/OwnedContext.h"
#include "fourtap/Failure.h"
#include "fourtap/Scalers.h"

namespace tool {

namespace {

// Lines that a band of so many output lines is made of, at most.
int64_t SourceLinesOfBand(PictureSize in, PictureSize out, int lines) {
  return (lines - 1) * int64_t{in.cy} / out.cy + 5;
}

// Output lines that are made at once where the scaler works by rectangles: some, or of a tall and narrow picture so
// many that they take as much memory as the table of source lines, since a scaler may fill that at each call. But fewer
// when they, or what they are made of, are very long.
int LinesPerBand(PictureSize in, PictureSize out, int strideIn, int strideOut) {
  int const someLines = 16, bandBytes = 1 << 20;
  int64_t const tableBytes = in.cy * int64_t{sizeof(unsigned char*)};
  int64_t const fit = std::min(int64_t{bandBytes / strideOut}, int64_t{bandBytes / strideIn} * out.cy / in.cy);
  return static_cast<int>(std::clamp<int64_t>(fit, 1, std::max<int64_t>(someLines, tableBytes / strideOut)));
}

size_t LinesBytes(int64_t count, int stride) { return static_cast<size_t>(count) * static_cast<size_t>(stride); }

bool IsWhole(PictureRect const& rect, PictureSize size) { return rect.cx == size.cx && rect.cy == size.cy; }

PixelKind WithoutAlpha(PixelKind kind) {
  return kind == PixelKind::grayAlpha ? PixelKind::gray : kind == PixelKind::rgba ? PixelKind::rgb : kind;
}

FourTapLayout LayoutOf(PixelKind kind) {
  FourTapLayout const layouts[] = {FourTapLayoutPlane, FourTapLayoutUV16, FourTapLayoutRGB24, FourTapLayoutRGB32,
                                   FourTapLayoutRGBA32};
  return layouts[static_cast<int>(kind)];
}

// Colour times alpha over 255, rounded to nearest: without dividing.
unsigned char Multiplied(unsigned char colour, unsigned char alpha) {
  int const product = colour * alpha + 128;
  return static_cast<unsigned char>((product + (product >> 8)) >> 8);
}

// What Multiplied undoes, as far as that can be known: [alpha][colour].
using DivisionTable = std::array<std::array<unsigned char, 256>, 256>;
DivisionTable const& Divided() {
  static DivisionTable const table = [] {
    DivisionTable divided{};
    for (size_t alpha = 1; alpha < 256; ++alpha) {
      for (size_t colour = 0; colour < 256; ++colour) {
        divided[alpha][colour] = static_cast<unsigned char>(std::min<size_t>(255, (colour * 255 + alpha / 2) / alpha));
      }
    }
    return divided;
  }();
  return table;
}

template <size_t colours>
void DropAlpha(unsigned char const* pixels, size_t cx, unsigned char* changed) {
  for (size_t x = 0; x < cx; ++x, pixels += colours + 1, changed += colours) {
    for (size_t c = 0; c < colours; ++c) changed[c] = pixels[c];
  }
}

template <size_t colours, bool divide>
void WeightByAlpha(unsigned char const* pixels, size_t cx, unsigned char* changed) {
  DivisionTable const& divided = Divided();
  for (size_t x = 0; x < cx; ++x, pixels += colours + 1, changed += colours + 1) {
    unsigned char const alpha = pixels[colours];
    for (size_t c = 0; c < colours; ++c) {
      changed[c] = divide ? divided[alpha][pixels[c]] : Multiplied(pixels[c], alpha);
    }
    changed[colours] = alpha;
  }
}

PixelChange* ChangeIn(ChainPlan const& plan) {
  bool const gray = IsGray(plan.kindIn);
  if (plan.kindIn != plan.kindOut) return gray ? DropAlpha<1> : DropAlpha<3>;
  if (plan.multipliesAlpha) return gray ? WeightByAlpha<1, false> : WeightByAlpha<3, false>;
  return nullptr;
}

PixelChange* ChangeOut(ChainPlan const& plan) {
  if (!plan.multipliesAlpha) return nullptr;
  return IsGray(plan.kindOut) ? WeightByAlpha<1, true> : WeightByAlpha<3, true>;
}

}  // namespace

// One step of the chain.
struct ChainStep {
  PictureSize in, out;
  PictureRect neededIn, neededOut;
  int strideIn, strideOut;
  // Whole pictures go through the progressive scaler. But of a rectangle only what it needs is computed; and the slices
  // of an enlargement, however small, could give any number of lines: there the frame scaler makes one band after the
  // other.
  bool byBands;
  int linesAtOnce;  // at most, for the next step
  conformance::Variant const& scaler;
  conformance::OwnedContext context;
  std::unique_ptr<unsigned char[]> kept;  // source lines at hand, as far as they are needed
  std::unique_ptr<unsigned char[]> made;  // output lines, for the next step
  SampleRange window;                     // source lines that are kept
  int yOut;                               // lines made, those before neededOut included

  ChainStep(ChainPlan const& plan, size_t step, int linesPerPush)
      : in(plan.SizeAt(step)),
        out(plan.SizeAt(step + 1)),
        neededIn(plan.needed[step]),
        neededOut(plan.needed[step + 1]),
        strideIn(neededIn.cx * BytesPerPixel(plan.kindOut)),
        strideOut(neededOut.cx * BytesPerPixel(plan.kindOut)),
        byBands(out.cy > in.cy || !IsWhole(neededOut, out)),
        linesAtOnce(byBands ? LinesPerBand(in, out, strideIn, strideOut)
                            : FourTapScaleMostLinesWritten(in.cy, out.cy, linesPerPush)),
        scaler(ScalersOf(LayoutOf(plan.kindOut))),
        context(InitScaleContext(in.cx, in.cy, out.cx, out.cy, 8 * BytesPerPixel(plan.kindOut))),
        kept(byBands ? Bytes(LinesBytes(SourceLinesOfBand(in, out, linesAtOnce) + linesPerPush, strideIn)) : nullptr),
        made(Bytes(LinesBytes(linesAtOnce, strideOut))),
        window{neededIn.y, neededIn.y},
        yOut(neededOut.y) {
    if (!context) throw std::bad_alloc();
  }

  template <class Next>
  void Push(PixelLines const& lines, Next const& next) {
    byBands ? PushBands(lines, next) : PushSlice(lines, next);
  }

  template <class Next>
  void PushSlice(PixelLines const& lines, Next const& next) {
    int count;
    scaler.slice(context.get(), lines.pixels, lines.stride, lines.count, made.get(), strideOut, count);
    if (count > 0) next({made.get(), strideOut, count});
  }

  template <class Next>
  void PushBands(PixelLines const& lines, Next const& next) {
    MoveWindow(lines);
    int const yEnd = neededOut.y + neededOut.cy;
    for (;;) {
      int const count = std::min(linesAtOnce, yEnd - yOut);
      if (count == 0 || FourTapScaleLinesNeeded(in.cy, out.cy, yOut + count - 1) > window.end) return;
      FourTapScaleSourceOrigin(context.get(), neededIn.x, window.first);
      scaler.frame(context.get(), kept.get(), strideIn, made.get(), strideOut, neededOut.x, yOut, neededOut.cx, count);
      yOut += count;
      next({made.get(), strideOut, count});
    }
  }

  // Forgets the lines that no output line needs any more, and adds new ones.
  void MoveWindow(PixelLines const& lines) {
    int const first = std::min(FourTapScaleFirstLineNeeded(in.cy, out.cy, yOut), window.end);
    size_t const bytesKept = LinesBytes(window.end - first, strideIn);
    if (first > window.first) {
      std::memmove(kept.get(), kept.get() + LinesBytes(first - window.first, strideIn), bytesKept);
    }
    for (int line = 0; line < lines.count; ++line) {
      std::memcpy(kept.get() + bytesKept + LinesBytes(line, strideIn), lines.pixels + LinesBytes(line, lines.stride),
                  LinesBytes(1, strideIn));
    }
    window = {first, window.end + lines.count};
  }
};

int64_t ChainPlan::ContextBytes() const {
  int64_t sum = 0;
  for (size_t step = 0; step < steps.size(); ++step) {
    PictureSize const from = SizeAt(step), to = SizeAt(step + 1);
    int64_t const bytes = FourTapScaleContextBytes(from.cx, from.cy, to.cx, to.cy, 8 * BytesPerPixel(kindOut));
    if (bytes < 0) {
      throw Failure{badUsage, "--size: " + SizeText(from) + " pixels can't be scaled to " + SizeText(to) +
                                  ", expected lines below 2 GiB"};
    }
    sum += bytes;
  }
  return sum;
}

ChainPlan PlanChain(Options const& options, PictureSize in, PixelKind kind) {
  ChainPlan plan;
  plan.in = in;
  plan.kindIn = kind;
  plan.kindOut = options.alpha == AlphaRule::drop ? WithoutAlpha(kind) : kind;
  auto const scaled = options.size ? ResolveSize(*options.size, in) : in;
  if (!scaled) {
    throw Failure{badUsage, "--size: the result of " + SizeText(in) + " would be beyond 2147483647 pixels at a side"};
  }
  if (int64_t{std::max(in.cx, scaled->cx)} * BytesPerPixel(kind) > INT_MAX) {
    throw Failure{badUsage, "--size: " + SizeText(in) + " pixels can't be scaled to " + SizeText(*scaled) +
                                ", expected lines below 2 GiB"};
  }
  if (options.oneStep) {
    plan.steps = {*scaled};
  } else {
    plan.steps = StepsFor(in, *scaled);
  }
  plan.ContextBytes();
  plan.multipliesAlpha = HasAlpha(plan.kindOut) && options.alpha == AlphaRule::multiply && !plan.steps.empty();

  PictureRect const rect = options.rect.value_or(PictureRect{0, 0, scaled->cx, scaled->cy});
  if (int64_t{rect.x} + rect.cx > scaled->cx || int64_t{rect.y} + rect.cy > scaled->cy) {
    throw Failure{badUsage, "--rect: " + SizeText(rect.cx, rect.cy) + " pixels at " + std::to_string(rect.x) + "," +
                                std::to_string(rect.y) + " given, expected them inside the scaled picture of " +
                                SizeText(*scaled)};
  }
  plan.needed.resize(plan.steps.size() + 1);
  plan.needed.back() = rect;
  for (size_t step = plan.steps.size(); step-- > 0;) {
    bool const whole = IsWhole(plan.needed[step + 1], plan.SizeAt(step + 1));
    PictureSize const from = plan.SizeAt(step);
    plan.needed[step] = whole ? PictureRect{0, 0, from.cx, from.cy}
                              : NeededRect(LayoutOf(plan.kindOut), from, plan.SizeAt(step + 1), plan.needed[step + 1]);
  }
  return plan;
}

LineChain::LineChain(ChainPlan const& chainPlan, int linesPerPush, Sink theSink)
    : plan(chainPlan), sink(std::move(theSink)), changeIn(ChangeIn(plan)), changeOut(ChangeOut(plan)) {
  size_t const bytesIn = LineBytes({plan.needed.front().cx, 1}, plan.kindOut);
  if (changeIn) changedIn = Bytes(static_cast<size_t>(linesPerPush) * bytesIn);
  if (changeOut) changedOut = Bytes(LineBytes({plan.Rect().cx, 1}, plan.kindOut));
  int linesAtOnce = linesPerPush;
  for (size_t step = 0; step < plan.steps.size(); ++step) {
    steps.push_back(std::make_unique<ChainStep>(plan, step, linesAtOnce));
    linesAtOnce = steps.back()->linesAtOnce;
  }
}

LineChain::~LineChain() = default;

void LineChain::Push(unsigned char const* lines, int count) {
  PictureRect const& needed = plan.needed.front();
  int const stride = plan.in.cx * BytesPerPixel(plan.kindIn);
  int const first = std::clamp(needed.y - y, 0, count);
  int const end = std::clamp(needed.y + needed.cy - y, first, count);
  y += count;
  if (first == end) return;
  lines += LinesBytes(first, stride) + LineBytes({needed.x, 1}, plan.kindIn);
  count = end - first;
  if (!changeIn) return PushInto(0, {lines, stride, count});

  int const changedStride = needed.cx * BytesPerPixel(plan.kindOut);
  for (int line = 0; line < count; ++line) {
    changeIn(lines + LinesBytes(line, stride), static_cast<size_t>(needed.cx),
             changedIn.get() + LinesBytes(line, changedStride));
  }
  PushInto(0, {changedIn.get(), changedStride, count});
}

void LineChain::PushInto(size_t step, PixelLines const& lines) {
  if (step == steps.size()) return Deliver(lines);
  steps[step]->Push(lines, [this, step](PixelLines const& made) { PushInto(step + 1, made); });
}

void LineChain::Deliver(PixelLines const& lines) {
  for (int line = 0; line < lines.count; ++line) {
    unsigned char const* const pixels = lines.pixels + LinesBytes(line, lines.stride);
    if (changeOut) changeOut(pixels, static_cast<size_t>(plan.Rect().cx), changedOut.get());
    sink(changeOut ? changedOut.get() : pixels);
  }
}

}  // namespace tool
