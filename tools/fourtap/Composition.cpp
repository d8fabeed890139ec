#include "fourtap/Composition.h"

#include <algorithm>
#include <climits>

#include "fourtap/Failure.h"

namespace tool {

namespace {

// Where `count` lie in `size`, at a multiple of `unit`.
int Placed(int gravity, int count, int size, int unit) {
  return static_cast<int>((int64_t{size} - count) * (gravity + 1) / 2 / unit * unit);
}

// Of a side that is scaled to cover something. Rounding does not enlarge what is not enlarged otherwise, but to a unit.
// Throws a Failure where the side is beyond int.
int RoundedUpTo(int unit, int count, int before, std::string const& option) {
  int64_t rounded = (int64_t{count} + unit - 1) / unit * unit;
  if (count <= before) rounded = std::min<int64_t>(rounded, std::max(before, unit));
  if (rounded > INT_MAX) throw Failure{badUsage, option + ": the result would be beyond 2147483647 pixels at a side"};
  return static_cast<int>(rounded);
}

}  // namespace

Composition Compose(Options const& options, PictureSize picture, PictureSize sharing) {
  SizeRequest request = options.size.value_or(SizeRequest{.thousandthsOfPercent = 100000});
  PictureSize unit{1, 1};
  if (options.even) unit = {2, 2};
  bool const framed = options.framing == Framing::fill || options.framing == Framing::pad;
  if (framed) {
    PictureSize const box = RoundedTo(unit, {request.cx, request.cy});
    if (box.cx % sharing.cx != 0 || box.cy % sharing.cy != 0) {
      throw Failure{badUsage, options.sizeOption + ": " + SizeText(box) + " given, expected multiples of " +
                                  SizeText(sharing) + ", pixels that share their chroma"};
    }
    request.cx = box.cx;
    request.cy = box.cy;
  }
  auto const asked = ResolveSize(request, picture);
  if (!asked) {
    throw Failure{badUsage, options.sizeOption + ": the result of " + SizeText(picture) +
                                " would be beyond 2147483647 pixels at a side"};
  }
  // Next to padding, no pixel shares anything with it.
  bool const isExact = request.ignoreProportions || (*asked == picture && options.framing != Framing::pad);
  if (!isExact) unit = {std::max(unit.cx, sharing.cx), std::max(unit.cy, sharing.cy)};
  PictureSize scaled = RoundedTo(unit, *asked);
  if (options.framing == Framing::fill) {
    scaled = {RoundedUpTo(unit.cx, asked->cx, picture.cx, options.sizeOption),
              RoundedUpTo(unit.cy, asked->cy, picture.cy, options.sizeOption)};
  }
  Composition composition{*asked, scaled, {0, 0, scaled.cx, scaled.cy}, scaled, 0, 0};
  auto const [x, y] = options.gravity;
  if (options.framing == Framing::fill) {
    PictureSize part{std::min(request.cx, scaled.cx), std::min(request.cy, scaled.cy)};
    // What is not scaled may have odd sides; then a line or column stays out.
    if (options.even) part = RoundedTo({std::max(2, sharing.cx), std::max(2, sharing.cy)}, part);
    part = {std::min(part.cx, scaled.cx), std::min(part.cy, scaled.cy)};
    composition.rect = {Placed(x, part.cx, scaled.cx, sharing.cx), Placed(y, part.cy, scaled.cy, sharing.cy), part.cx,
                        part.cy};
    composition.canvas = part;
  } else if (options.framing == Framing::pad) {
    composition.canvas = {request.cx, request.cy};
    composition.x = Placed(x, scaled.cx, request.cx, sharing.cx);
    composition.y = Placed(y, scaled.cy, request.cy, sharing.cy);
  }
  return composition;
}

std::string FramingText(Composition const& composition) {
  if (composition.canvas != composition.Part()) return ", padded to " + SizeText(composition.canvas);
  if (composition.Part() != composition.scaled) return ", cropped to " + SizeText(composition.canvas);
  return "";
}

}  // namespace tool
