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

// Output lines that are made at once where the scaler works by rectangles; fewer when they are very long.
int const mostLinesPerBand = 16;
int const bandBytes = 1 << 20;
int LinesPerBand(int lineBytes) { return std::clamp(bandBytes / lineBytes, 1, mostLinesPerBand); }

// Source lines that an output line is made of.
int const tapLines = 4;

bool IsWhole(PictureRect const& rect, PictureSize size) { return rect.cx == size.cx && rect.cy == size.cy; }

PixelKind WithoutAlpha(PixelKind kind) {
  return kind == PixelKind::grayAlpha ? PixelKind::gray : kind == PixelKind::rgba ? PixelKind::rgb : kind;
}

FourTapLayout LayoutOf(int bytesPerPixel) {
  return bytesPerPixel == 1 ? FourTapLayoutPlane : bytesPerPixel == 3 ? FourTapLayoutRGB24 : FourTapLayoutRGB32;
}

// Colours times alpha, rounded to nearest.
unsigned char Multiplied(unsigned char colour, unsigned char alpha) {
  return static_cast<unsigned char>((2 * colour * alpha + 255) / 510);
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

template <size_t channels, bool multiply>
void TakeApart(unsigned char const* pixels, size_t cx, unsigned char* colours, unsigned char* alpha) {
  for (size_t x = 0; x < cx; ++x, pixels += channels + 1, colours += channels) {
    unsigned char const a = pixels[channels];
    if (alpha) alpha[x] = a;
    for (size_t c = 0; c < channels; ++c) colours[c] = multiply ? Multiplied(pixels[c], a) : pixels[c];
  }
}

template <size_t channels, bool divide>
void PutTogether(unsigned char const* colours, unsigned char const* alpha, size_t cx, unsigned char* pixels) {
  for (size_t x = 0; x < cx; ++x, pixels += channels + 1, colours += channels) {
    auto const& divided = Divided()[alpha[x]];
    for (size_t c = 0; c < channels; ++c) pixels[c] = divide ? divided[colours[c]] : colours[c];
    pixels[channels] = alpha[x];
  }
}

}  // namespace

// One step of the chain.
struct ChainStep {
  struct Plane {
    int bytesPerPixel;
    conformance::Variant const& scaler;
    conformance::OwnedContext context;
    int strideIn, strideOut;
    std::unique_ptr<unsigned char[]> window;  // source lines at hand, as far as they are needed
    std::unique_ptr<unsigned char[]> made;    // output lines, for the next step
  };

  PictureSize in, out;
  PictureRect neededIn, neededOut;
  // Whole pictures go through the progressive scaler. But of a rectangle only what it needs is computed; and the slices
  // of an enlargement, however small, could give any number of lines: there the frame scaler makes one band after the
  // other.
  bool byBands;
  int linesAtOnce;  // at most, for the next step
  std::vector<Plane> planes;
  SampleRange window;  // source lines
  int yOut;            // lines made, those before neededOut included

  ChainStep(ChainPlan const& plan, size_t step, int linesPerPush)
      : in(plan.SizeAt(step)),
        out(plan.SizeAt(step + 1)),
        neededIn(plan.needed[step]),
        neededOut(plan.needed[step + 1]),
        byBands(out.cy > in.cy || !IsWhole(neededOut, out)),
        linesAtOnce(byBands ? LinesPerBand(neededOut.cx * plan.Planes().front())
                            : FourTapScaleMostLinesWritten(in.cy, out.cy, linesPerPush)),
        window{neededIn.y, neededIn.y},
        yOut(neededOut.y) {
    for (int const bytesPerPixel : plan.Planes()) {
      conformance::OwnedContext context(InitScaleContext(in.cx, in.cy, out.cx, out.cy, 8 * bytesPerPixel));
      if (!context) throw std::bad_alloc();
      int const strideIn = neededIn.cx * bytesPerPixel, strideOut = neededOut.cx * bytesPerPixel;
      planes.push_back({.bytesPerPixel = bytesPerPixel,
                        .scaler = ScalersOf(LayoutOf(bytesPerPixel)),
                        .context = std::move(context),
                        .strideIn = strideIn,
                        .strideOut = strideOut,
                        .window = byBands ? Bytes(LinesBytes(tapLines - 1 + linesPerPush, strideIn)) : nullptr,
                        .made = Bytes(LinesBytes(linesAtOnce, strideOut))});
    }
  }

  static size_t LinesBytes(int count, int stride) { return static_cast<size_t>(count) * static_cast<size_t>(stride); }

  template <class Next>
  void Push(PlaneLines const& lines, Next const& next) {
    byBands ? PushBands(lines, next) : PushSlice(lines, next);
  }

  template <class Next>
  void PushSlice(PlaneLines const& lines, Next const& next) {
    PlaneLines made = Made();
    for (size_t i = 0; i < planes.size(); ++i) {
      Plane& plane = planes[i];
      plane.scaler.slice(plane.context.get(), lines.planes[i], lines.strides[i], lines.count, plane.made.get(),
                         plane.strideOut, made.count);
    }
    if (made.count > 0) next(made);
  }

  template <class Next>
  void PushBands(PlaneLines const& lines, Next const& next) {
    MoveWindow(lines);
    int const yEnd = neededOut.y + neededOut.cy;
    for (;;) {
      PlaneLines made = Made();
      while (made.count < linesAtOnce && yOut + made.count < yEnd &&
             FourTapScaleLinesNeeded(in.cy, out.cy, yOut + made.count) <= window.end) {
        ++made.count;
      }
      if (made.count == 0) return;
      for (Plane& plane : planes) {
        FourTapScaleSourceOrigin(plane.context.get(), neededIn.x, window.first);
        plane.scaler.frame(plane.context.get(), plane.window.get(), plane.strideIn, plane.made.get(), plane.strideOut,
                           neededOut.x, yOut, neededOut.cx, made.count);
      }
      yOut += made.count;
      next(made);
    }
  }

  // Forgets the lines that no output line needs any more, and adds new ones.
  void MoveWindow(PlaneLines const& lines) {
    int const yEnd = neededOut.y + neededOut.cy;
    int const first =
        yOut == yEnd ? window.end : std::min(FourTapScaleFirstLineNeeded(in.cy, out.cy, yOut), window.end);
    for (size_t i = 0; i < planes.size(); ++i) {
      Plane const& plane = planes[i];
      size_t const kept = LinesBytes(window.end - first, plane.strideIn);
      std::memmove(plane.window.get(), plane.window.get() + LinesBytes(first - window.first, plane.strideIn), kept);
      unsigned char* const dst = plane.window.get() + kept;
      for (int line = 0; line < lines.count; ++line) {
        std::memcpy(dst + LinesBytes(line, plane.strideIn), lines.planes[i] + ptrdiff_t{line} * lines.strides[i],
                    LinesBytes(1, plane.strideIn));
      }
    }
    window = {first, window.end + lines.count};
  }

  PlaneLines Made() const {
    PlaneLines made{};
    for (size_t i = 0; i < planes.size(); ++i) {
      made.planes[i] = planes[i].made.get();
      made.strides[i] = planes[i].strideOut;
    }
    return made;
  }
};

std::vector<int> ChainPlan::Planes() const {
  std::vector<int> planes{BytesPerPixel(WithoutAlpha(kindIn))};
  if (HasAlpha(kindOut)) planes.push_back(1);
  return planes;
}

int64_t ChainPlan::ContextBytes() const {
  int64_t sum = 0;
  for (size_t step = 0; step < steps.size(); ++step) {
    PictureSize const from = SizeAt(step), to = SizeAt(step + 1);
    for (int const bytesPerPixel : Planes()) {
      int64_t const bytes = FourTapScaleContextBytes(from.cx, from.cy, to.cx, to.cy, 8 * bytesPerPixel);
      if (bytes < 0) {
        throw Failure{badUsage, "--size: " + SizeText(from) + " pixels can't be scaled to " + SizeText(to) +
                                    ", expected lines below 2 GiB"};
      }
      sum += bytes;
    }
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
                              : NeededRect(FourTapLayoutPlane, from, plan.SizeAt(step + 1), plan.needed[step + 1]);
  }
  return plan;
}

LineChain::LineChain(ChainPlan const& chainPlan, int linesPerPush, Sink theSink)
    : plan(chainPlan), sink(std::move(theSink)) {
  if (HasAlpha(plan.kindIn)) {
    int const colourBytes = BytesPerPixel(WithoutAlpha(plan.kindIn));
    for (int i = 0; i < 2; ++i) {
      parts[i] = Bytes(ChainStep::LinesBytes(linesPerPush, plan.needed.front().cx * (i == 0 ? colourBytes : 1)));
    }
  }
  if (HasAlpha(plan.kindOut)) together = Bytes(LineBytes({plan.Rect().cx, plan.Rect().cy}, plan.kindOut));
  int linesAtOnce = linesPerPush;
  for (size_t step = 0; step < plan.steps.size(); ++step) {
    steps.push_back(std::make_unique<ChainStep>(plan, step, linesAtOnce));
    linesAtOnce = steps.back()->linesAtOnce;
  }
}

LineChain::~LineChain() = default;

void LineChain::Push(unsigned char const* lines, int count) {
  PictureRect const& needed = plan.needed.front();
  size_t const lineBytes = LineBytes(plan.in, plan.kindIn);
  int const first = std::clamp(needed.y - y, 0, count);
  int const end = std::clamp(needed.y + needed.cy - y, first, count);
  y += count;
  if (first == end) return;
  lines += lineBytes * static_cast<size_t>(first) + LineBytes({needed.x, 1}, plan.kindIn);
  count = end - first;

  int const colourBytes = BytesPerPixel(WithoutAlpha(plan.kindIn));
  if (!HasAlpha(plan.kindIn)) return PushInto(0, {{lines, nullptr}, {static_cast<int>(lineBytes), 0}, count});
  auto const takeApart = plan.multipliesAlpha ? (colourBytes == 1 ? TakeApart<1, true> : TakeApart<3, true>)
                                              : (colourBytes == 1 ? TakeApart<1, false> : TakeApart<3, false>);
  int const stride = needed.cx * colourBytes;
  for (int line = 0; line < count; ++line, lines += lineBytes) {
    takeApart(lines, static_cast<size_t>(needed.cx), parts[0].get() + ptrdiff_t{line} * stride,
              parts[1].get() + ptrdiff_t{line} * needed.cx);
  }
  PushInto(0, {{parts[0].get(), parts[1].get()}, {stride, needed.cx}, count});
}

void LineChain::PushInto(size_t step, PlaneLines const& lines) {
  if (step == steps.size()) return Deliver(lines);
  steps[step]->Push(lines, [this, step](PlaneLines const& made) { PushInto(step + 1, made); });
}

void LineChain::Deliver(PlaneLines const& lines) {
  int const colourBytes = BytesPerPixel(WithoutAlpha(plan.kindIn));
  auto const putTogether = plan.multipliesAlpha ? (colourBytes == 1 ? PutTogether<1, true> : PutTogether<3, true>)
                                                : (colourBytes == 1 ? PutTogether<1, false> : PutTogether<3, false>);
  for (int line = 0; line < lines.count; ++line) {
    unsigned char const* const colours = lines.planes[0] + ptrdiff_t{line} * lines.strides[0];
    if (together) {
      putTogether(colours, lines.planes[1] + ptrdiff_t{line} * lines.strides[1], static_cast<size_t>(plan.Rect().cx),
                  together.get());
    }
    sink(together ? together.get() : colours);
  }
}

}  // namespace tool
