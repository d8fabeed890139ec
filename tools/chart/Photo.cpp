// A fair at a lake: what is smooth is sky and haze, what is rough is cloud, rock, water and meadow, what is sharp is
// drawn over them. Lengths are parts of the shorter side, from the centre to the right and down.
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "chart/Drawing.h"
#include "chart/Letters.h"

namespace chart {

namespace {

struct Point {
  double x, y;
};
Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
double Dot(Point a, Point b) { return a.x * b.x + a.y * b.y; }
double Length(Point a) { return std::sqrt(Dot(a, a)); }
Point Direction(double turns) { return {Cosine(turns), Sine(turns)}; }

Colour Blend(Colour a, Colour b, double share) {
  auto const between = [=](double from, double to) { return from + (to - from) * share; };
  return {between(a.red, b.red), between(a.green, b.green), between(a.blue, b.blue)};
}
Colour Lit(Colour colour, double light) { return Blend({0, 0, 0}, colour, light); }

// A bright colour of the circle of hues.
Colour Hue(double turns) {
  return {0.55 + 0.4 * Cosine(turns), 0.5 + 0.4 * Cosine(turns - 1.0 / 3), 0.5 + 0.4 * Cosine(turns + 1.0 / 3)};
}

double Smooth(double from, double to, double value) {
  double const part = std::clamp((value - from) / (to - from), 0.0, 1.0);
  return part * part * (3 - 2 * part);
}

// The generator splitmix64, by its state.
uint64_t Random(uint64_t state) {
  state += 0x9E3779B97F4A7C15;
  state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9;
  state = (state ^ (state >> 27)) * 0x94D049BB133111EB;
  return state ^ (state >> 31);
}
uint64_t Random(int64_t x, int64_t y, uint64_t use) {
  return Random(Random((use << 32) + static_cast<uint64_t>(x)) + static_cast<uint64_t>(y));
}
// One of the numbers from 0 to 1 in a random one, by their index up to 3.
double Share(uint64_t random, int index) { return static_cast<double>(random >> (16 * index) & 0xFFFF) / 65535; }

// What random numbers are for, so that each gets others.
enum Use : uint64_t { cloud, ripple, meadow, flower, rock, shore, grain, wood };

// Hills and hollows about one unit apart, from -1 to 1 or so: slopes at the corners of squares, joined smoothly.
double Noise(Point at, uint64_t use) {
  Point const corner{std::floor(at.x), std::floor(at.y)};
  Point const inside = at - corner;
  auto const height = [&](int right, int down) {
    uint64_t const random = Random(static_cast<int64_t>(corner.x) + right, static_cast<int64_t>(corner.y) + down, use);
    return Dot(inside - Point{double(right), double(down)}, {4 * Share(random, 0) - 2, 4 * Share(random, 1) - 2});
  };
  double const right = Smooth(0, 1, inside.x), down = Smooth(0, 1, inside.y);
  double const above = height(0, 0) + (height(1, 0) - height(0, 0)) * right;
  double const below = height(0, 1) + (height(1, 1) - height(0, 1)) * right;
  return above + (below - above) * down;
}

// What is seen from one pixel.
struct View {
  Point at;
  double pixel;  // its side
  double halfCx, halfCy;

  // Of a place given in parts of the picture's sides from its centre.
  Point From(double x, double y) const { return {at.x - 2 * x * halfCx, at.y - 2 * y * halfCy}; }
  // How much of a pixel is inside an edge that lies this far away.
  double Inside(double depth) const { return std::clamp(depth / pixel + 0.5, 0.0, 1.0); }
  // The same between two edges around a line.
  double OnLine(double distance, double halfWidth) const {
    return Inside(halfWidth - distance) - Inside(-halfWidth - distance);
  }
};

// Noise of ever smaller hills, `perUnit` of them at first, down to about two pixels; of each next size a part as high.
double Fractal(View const& view, Point at, double perUnit, double part, uint64_t use) {
  double sum = 0, height = 1;
  for (int octave = 0; octave < 12 && perUnit * view.pixel < 0.5; ++octave, perUnit *= 2, height *= part) {
    sum += height * Noise({at.x * perUnit, at.y * perUnit}, use + 100 * static_cast<uint64_t>(octave));
  }
  return sum;
}

// Inside a polygon whose corners go round clockwise.
double InPolygon(View const& view, Point at, std::initializer_list<Point> corners) {
  double depth = 1;
  Point from = *(corners.end() - 1);
  for (Point const to : corners) {
    Point const side = to - from, away = at - from;
    depth = std::min(depth, (side.x * away.y - side.y * away.x) / Length(side));
    from = to;
  }
  return view.Inside(depth);
}

// On a straight stroke with square ends.
double OnStroke(View const& view, Point at, Point from, Point to, double width) {
  double const length = Length(to - from);
  Point const along{(to.x - from.x) / length, (to.y - from.y) / length}, away = at - from;
  double const across = std::abs(along.x * away.y - along.y * away.x);
  return view.OnLine(across, width / 2) *
         std::min(view.Inside(Dot(along, away)), view.Inside(length - Dot(along, away)));
}

// In every other one of stripes, `width` wide in lengths of the picture, of which `count` have gone by.
double InStripe(View const& view, double count, double width) {
  double const fromMiddle = std::abs(count / 2 - std::floor(count / 2) - 0.5);  // 0.25 at the edges
  return view.Inside((0.25 - fromMiddle) * 2 * width);
}

double const horizon = 0.06;  // in parts of the height

Colour Sky(View const& view, Point at) {
  double const height = std::clamp((horizon * 2 * view.halfCy - at.y) / ((1 + 2 * horizon) * view.halfCy), 0.0, 1.0);
  Colour colour = Blend({0.97, 0.84, 0.68}, {0.72, 0.82, 0.90}, Smooth(0, 0.35, height));
  colour = Blend(colour, {0.18, 0.38, 0.68}, Smooth(0.2, 1, height));
  Point const sun = at - Point{-0.5 * view.halfCx, -0.42 * view.halfCy};
  double const glow = 0.012 / (0.012 + Dot(sun, sun));
  colour = Blend(colour, {1, 0.95, 0.80}, 0.75 * glow);
  colour = Blend(colour, {1, 0.99, 0.93}, view.Inside(0.035 - Length(sun)));
  Point const drawn{at.x, at.y * 2.2};
  double const density = Fractal(view, drawn, 3, 0.55, cloud);
  double const shaded = Noise({drawn.x * 6 - 0.25, drawn.y * 6 - 0.35}, cloud + 100);
  double const cover = Smooth(0.0, 0.75, density) * Smooth(0, 0.3, height);
  return Blend(colour, Blend({0.99, 0.98, 0.96}, {0.76, 0.79, 0.85}, Smooth(-0.3, 1.1, density + 0.3 * shaded)),
               0.9 * cover);
}

// Three ranges, the nearest last.
Colour Mountains(View const& view, Point at, Colour colour) {
  for (int range = 0; range < 3; ++range) {
    uint64_t const use = rock + 1000 * static_cast<uint64_t>(range + 1);
    double const peak = Fractal(view, {at.x, 0.5 + range}, 1.6 + range, 0.5, use);
    double const top = horizon * 2 * view.halfCy - 0.13 + 0.035 * range + (0.10 - 0.028 * range) * peak;
    double const inside = view.Inside((at.y - top) * 0.7);
    if (inside == 0) continue;
    double const rough = Fractal(view, {at.x + 0.4 * at.y, at.y}, 14, 0.72, use + 7);
    Colour stone = Lit(Blend({0.42, 0.45, 0.55}, {0.27, 0.38, 0.20}, 0.5 * range), 1.05 + 0.4 * rough);
    double const snow = Smooth(0.02, -0.01, at.y - top - 0.03 + 0.03 * rough) * (range == 0 ? 1 : 0);
    stone = Blend(stone, {0.95, 0.96, 0.99}, snow);
    colour = Blend(colour, Blend(stone, {0.80, 0.83, 0.88}, 0.50 - 0.20 * range), inside);
  }
  return colour;
}

Colour Lake(View const& view, double depth) {
  Point const at = view.at;
  double const far = 1 / (depth + 0.03);
  double const wave = Fractal(view, {at.x * far * 0.5, far}, 5, 0.6, ripple) * Smooth(0, 0.06, depth);
  Point const mirrored{at.x + 0.03 * wave, horizon * 4 * view.halfCy - at.y - 0.05 * wave};
  Colour const colour = Blend({0.06, 0.20, 0.28}, Mountains(view, mirrored, Sky(view, mirrored)), 0.68 + 0.22 * wave);
  double const glitter = Smooth(0.35, 0.8, wave) * Smooth(0.30, 0, std::abs(at.x + 0.5 * view.halfCx));
  return Blend(colour, {1, 0.95, 0.80}, glitter);
}

Colour Meadow(View const& view, double depth, Colour colour) {
  Point const at = view.at;
  double const blades = Fractal(view, {at.x, at.y * 0.3}, 40, 0.75, meadow);
  double const patches = Fractal(view, at, 5, 0.5, meadow + 7);
  Colour grass = Blend({0.20, 0.34, 0.10}, {0.52, 0.55, 0.18}, 0.5 + 0.5 * patches);
  grass = Lit(grass, std::max(0.2, 0.95 + 0.5 * blades));
  // One flower in most squares.
  double const side = 0.022;
  double const column = std::floor(at.x / side), row = std::floor(at.y / side);
  uint64_t const random = Random(static_cast<int64_t>(column), static_cast<int64_t>(row), flower);
  double const radius = side * (0.06 + 0.2 * Share(random, 2)) * Smooth(0, 0.1, depth);
  Point const middle{(column + 0.3 + 0.4 * Share(random, 0)) * side, (row + 0.3 + 0.4 * Share(random, 1)) * side};
  double const distance = Length(at - middle);
  grass = Blend(grass, Hue(0.55 + 0.6 * Share(random, 3)), view.Inside(radius - distance));
  grass = Blend(grass, {0.98, 0.85, 0.25}, view.Inside(0.35 * radius - distance));
  return Blend(colour, grass, view.Inside(depth));
}

Colour Balloon(View const& view, Point at, double radius, double hue, Colour colour) {
  if (Length(at) > 3 * radius) return colour;
  // A ball that a cone leaves along its tangents.
  double const half = at.y < 0.6 * radius ? std::sqrt(std::max(0.0, radius * radius - at.y * at.y))
                                          : 0.8 * radius - 0.75 * (at.y - 0.6 * radius);
  double const across = std::clamp(at.x / std::max(half, 0.01 * radius), -1.0, 1.0);
  double const depth = at.y < 0.6 * radius ? radius - Length(at) : 0.8 * (half - std::abs(at.x));
  double const gores = 3.5 * across * (1 + 0.4 * across * across);
  Colour cloth = Blend(Hue(hue), {0.97, 0.94, 0.86}, InStripe(view, gores + 20, half / 5));
  double const band = std::abs(at.y - 0.15 * radius);
  cloth = Blend(cloth, Hue(hue + 0.45), view.OnLine(band, 0.12 * radius));
  cloth = Lit(cloth, 0.95 - 0.35 * across + 0.12 * (1 - across * across));
  double const envelope = std::min(view.Inside(depth), view.Inside(1.5 * radius - at.y));
  for (double const side : {-1.0, 1.0}) {
    double const rope = OnStroke(view, at, {side * 0.12 * radius, 1.5 * radius}, {side * 0.09 * radius, 1.85 * radius},
                                 0.014 * radius + 0.0008);
    colour = Blend(colour, {0.2, 0.15, 0.1}, rope);
  }
  double const basket =
      std::min(view.Inside(0.11 * radius - std::abs(at.x)), view.Inside(0.1 * radius - std::abs(at.y - 1.92 * radius)));
  colour = Blend(colour, {0.42, 0.27, 0.14}, basket);
  return Blend(colour, cloth, envelope);
}

Colour Kite(View const& view, Point at, double size, double turns, Colour colour) {
  if (Length(at) > 6 * size) return colour;
  Point const along = Direction(turns);
  Point const own{Dot(at, along), along.x * at.y - along.y * at.x};
  // The tail, which waves.
  double const sway = 0.18 * size * Sine(own.x / (1.6 * size)) * Smooth(-size, -3 * size, own.x);
  double const tail = std::min(view.OnLine(std::abs(own.y - sway), 0.03 * size),
                               std::min(view.Inside(-own.x), view.Inside(own.x + 5.5 * size)));
  colour = Blend(colour, {0.85, 0.2, 0.25}, tail);
  double const inside = InPolygon(view, own, {{-1.5 * size, 0}, {0, -0.8 * size}, {0.8 * size, 0}, {0, 0.8 * size}});
  Colour const left = Blend(Hue(turns), Hue(turns + 0.35), view.Inside(own.x));
  Colour const right = Blend(Hue(turns + 0.35), Hue(turns), view.Inside(own.x));
  return Blend(colour, Blend(left, right, view.Inside(own.y)), inside);
}

Colour FerrisWheel(View const& view, Colour colour) {
  Point const at = view.From(0.24, 0.08);
  double const radius = 0.21, distance = Length(at);
  if (distance > 2 * radius) return colour;
  Colour const steel{0.93, 0.93, 0.95};
  for (double const side : {-1.0, 1.0}) {
    colour = Blend(colour, {0.75, 0.22, 0.20}, OnStroke(view, at, {0, 0}, {side * 0.11, 0.30}, 0.009));
  }
  double frame = std::max(view.OnLine(std::abs(distance - radius), 0.0025),
                          view.OnLine(std::abs(distance - 0.9 * radius), 0.0015));
  int const spokes = 22;
  for (int spoke = 0; spoke < spokes && distance < 1.05 * radius; ++spoke) {
    double const turns = (spoke + 0.3) / spokes;
    Point const end = Direction(turns), next = Direction(turns + 1.0 / spokes);
    frame = std::max(frame, OnStroke(view, at, {0, 0}, {radius * end.x, radius * end.y}, 0.0014));
    frame = std::max(frame, OnStroke(view, at, {0.9 * radius * end.x, 0.9 * radius * end.y},
                                     {radius * next.x, radius * next.y}, 0.0014));
  }
  colour = Blend(colour, steel, frame);
  colour = Blend(colour, {0.80, 0.25, 0.22}, view.Inside(0.018 - distance));
  for (int spoke = 0; spoke < spokes; spoke += 2) {
    Point const end = Direction((spoke + 0.3) / spokes);
    Point const cabin = at - Point{radius * end.x, radius * end.y + 0.012};
    double const inside = view.Inside(0.0155 - Length(cabin));
    Colour const paint = Blend(Hue(spoke / 22.0), {0.16, 0.20, 0.28}, view.OnLine(std::abs(cabin.y + 0.002), 0.0042));
    colour = Blend(colour, paint, inside);
  }
  return colour;
}

Colour Boat(View const& view, Point at, double size, Colour colour) {
  if (Length(at) > 1.6 * size) return colour;
  Colour const sail = Blend({0.98, 0.97, 0.93}, {0.83, 0.20, 0.18}, InStripe(view, at.y / (0.16 * size), 0.16 * size));
  colour = Blend(colour, sail,
                 InPolygon(view, at, {{-0.04 * size, -size}, {-0.04 * size, -0.1 * size}, {-0.6 * size, -0.1 * size}}));
  colour =
      Blend(colour, {0.95, 0.94, 0.90},
            InPolygon(view, at, {{0.02 * size, -0.85 * size}, {0.45 * size, -0.1 * size}, {0.02 * size, -0.1 * size}}));
  colour = Blend(colour, {0.25, 0.16, 0.10}, OnStroke(view, at, {0, 0}, {0, -1.05 * size}, 0.03 * size));
  return Blend(
      colour, {0.16, 0.24, 0.42},
      InPolygon(view, at,
                {{-0.65 * size, 0}, {0.65 * size, 0}, {0.42 * size, 0.16 * size}, {-0.5 * size, 0.16 * size}}));
}

Colour Tent(View const& view, Point at, double size, double hue, Colour colour) {
  if (Length(at) > 1.6 * size) return colour;
  Colour const cloth = Hue(hue), white{0.97, 0.95, 0.90};
  double const half = std::max(0.02, (at.y + 0.6 * size) / (0.5 * size)) * 0.75 * size;
  Colour const roof = Blend(cloth, white, InStripe(view, 5 * at.x / half + 20.5, half / 5));
  Colour const wall = Blend(cloth, white, InStripe(view, 9 * at.x / size + 20.5, size / 9));
  colour = Blend(colour, Lit(wall, 0.82),
                 InPolygon(view, at,
                           {{-0.6 * size, -0.1 * size},
                            {0.6 * size, -0.1 * size},
                            {0.6 * size, 0.35 * size},
                            {-0.6 * size, 0.35 * size}}));
  return Blend(colour, roof,
               InPolygon(view, at, {{0, -0.6 * size}, {0.75 * size, -0.1 * size}, {-0.75 * size, -0.1 * size}}));
}

// How much ink of a line of text there is: its squares of a letter joined smoothly, and the outline where that is half.
double InText(View const& view, Point at, std::string_view text, double height) {
  double const square = height / cyLetter;
  double const x = at.x / square - 0.5, y = at.y / square - 0.5;
  if (y < -1 || y > cyLetter || x < -1) return 0;
  double const left = std::floor(x), top = std::floor(y);
  auto const ink = [&](double column, double row) {
    if (column < 0) return 0;
    size_t const letter = static_cast<size_t>(column) / (cxLetter + 1);
    return letter < text.size() &&
                   InLetter(text[letter], static_cast<int>(column) % (cxLetter + 1), static_cast<int>(row))
               ? 1
               : 0;
  };
  double const above = ink(left, top) + (ink(left + 1, top) - ink(left, top)) * (x - left);
  double const below = ink(left, top + 1) + (ink(left + 1, top + 1) - ink(left, top + 1)) * (x - left);
  return view.Inside((above + (below - above) * (y - top) - 0.42) * square);
}

// A board of planks with a sheet of paper on it, and text of many sizes.
Colour Sign(View const& view, Colour colour) {
  Point const at = view.From(-0.25, 0.30);
  double const halfCx = 0.20, halfCy = 0.145;
  if (std::abs(at.x) > 0.3 || std::abs(at.y) > 0.4) return colour;
  double const fibre = Fractal(view, {at.x, at.y * 0.06}, 60, 0.7, wood);
  Colour const timber = Lit({0.45, 0.30, 0.17}, 1 + 0.3 * fibre);
  for (double const side : {-1.0, 1.0}) {
    colour = Blend(colour, timber, OnStroke(view, at, {side * 0.16, -halfCy - 0.02}, {side * 0.16, 0.4}, 0.018));
  }
  colour = Blend(colour, timber, std::min(view.Inside(halfCx - std::abs(at.x)), view.Inside(halfCy - std::abs(at.y))));
  double const margin = 0.012;
  double const onPaper =
      std::min(view.Inside(halfCx - margin - std::abs(at.x)), view.Inside(halfCy - margin - std::abs(at.y)));
  if (onPaper == 0) return colour;
  Colour paper{0.96, 0.93, 0.84};
  static struct {
    std::string_view text;
    double height, y;
    Colour ink;
  } const lines[] = {
      {"SUMMER FAIR", 0.034, -0.118, {0.70, 0.12, 0.10}},
      {"MUSIC  PLAY  ICE CREAM", 0.0175, -0.072, {0.10, 0.20, 0.45}},
      {"SMALL LETTERS ON MANY COLOURS", 0.0130, -0.042, {0.10, 0.10, 0.10}},
      {"FOUR TAPS FILTER A PICTURE AT ALL SCALES", 0.0098, -0.018, {0.10, 0.10, 0.10}},
      {"ALL AFTERNOON  ROUTES TO A FAR SMALL ISLE FOR ALL", 0.0077, 0.001, {0.05, 0.35, 0.15}},
      {"LINES SO SMALL ARE FOR CAREFUL EYES IN FULL SUN ONLY", 0.0066, 0.018, {0.10, 0.10, 0.10}},
      {"FOUR TAPS FILTER A PICTURE   FREE ENTRY FOR ALL", 0.0077, 0.056, {0.98, 0.95, 0.85}},
      {"TREES CLIMATE LINES FRAME TIMES", 0.0130, 0.073, {0.98, 0.80, 0.25}},
      {"COME SAIL", 0.022, 0.098, {0.55, 0.80, 0.95}},
  };
  paper = Blend(paper, {0.10, 0.14, 0.24}, view.Inside(at.y - 0.040));
  for (auto const& [text, height, y, ink] : lines) {
    double const length = (static_cast<double>(text.size()) * (cxLetter + 1) - 1) * height / cyLetter;
    paper = Blend(paper, ink, InText(view, {at.x + length / 2, at.y - y}, text, height));
  }
  return Blend(colour, paper, onPaper);
}

// A sum of eight bytes, nearly the normal distribution: of deviation 1.
double Grain(uint64_t random) {
  int sum = 0;
  for (int byte = 0; byte < 8; ++byte) sum += static_cast<int>(random >> (8 * byte) & 0xFF);
  return (sum - 1020) / 209.0;
}

Colour See(View const& view) {
  Point const at = view.at;
  double const depth = (at.y - horizon * 2 * view.halfCy) / ((1 - 2 * horizon) * view.halfCy);
  double const bank =
      (at.y - 2 * view.halfCy * (0.27 - 0.08 * at.x / view.halfCx) + 0.02 * Fractal(view, {at.x, 0.5}, 3, 0.45, shore));
  Colour colour{};
  if (depth <= 0) {
    colour = Mountains(view, at, Sky(view, at));
  } else if (view.Inside(bank) < 1) {
    colour = Lake(view, depth);
  }
  colour = Boat(view, view.From(-0.06, 0.135), 0.055, colour);
  colour = Boat(view, view.From(-0.33, 0.09), 0.03, colour);
  colour = Boat(view, view.From(0.03, 0.085), 0.018, colour);
  colour = Meadow(view, bank, colour);
  colour = FerrisWheel(view, colour);
  colour = Tent(view, view.From(0.40, 0.27), 0.10, 0.02, colour);
  colour = Tent(view, view.From(0.12, 0.33), 0.08, 0.6, colour);
  colour = Tent(view, view.From(0.27, 0.38), 0.13, 0.12, colour);
  colour = Balloon(view, view.From(0.02, -0.28), 0.105, 0.0, colour);
  colour = Balloon(view, view.From(-0.40, -0.09), 0.045, 0.62, colour);
  colour = Balloon(view, view.From(0.20, -0.40), 0.028, 0.3, colour);
  for (int kite = 0; kite < 5; ++kite) {
    double const along = kite / 4.0;
    colour = Kite(view, view.From(0.26 + 0.19 * along, -0.22 - 0.20 * along * (1 - along) - 0.07 * (kite % 2)),
                  0.016 + 0.004 * (kite % 3), 0.58 + 0.087 * kite, colour);
  }
  return Sign(view, colour);
}

}  // namespace

Drawing Photo(tool::PictureSize size) {
  return {size, tool::PixelKind::rgb, [size](int y, unsigned char* line) {
            double const shorter = std::min(size.cx, size.cy);
            View view{{}, 1 / shorter, size.cx / shorter / 2, size.cy / shorter / 2};
            for (int x = 0; x < size.cx; ++x, line += 3) {
              view.at = {(x + 0.5) / shorter - view.halfCx, (y + 0.5) / shorter - view.halfCy};
              Colour const seen = See(view);
              // Lenses darken the corners, sensors add noise.
              double const light =
                  1 - 0.10 * Dot(view.at, view.at) / (view.halfCx * view.halfCx + view.halfCy * view.halfCy);
              uint64_t const random = Random(x, y, grain);
              double const noise = 0.010 * Grain(random);
              auto const exposed = [&](double level, uint64_t channel) {
                return 0.02 + 0.96 * level * light + noise + 0.005 * Grain(Random(random + channel));
              };
              StoreColour(line, {exposed(seen.red, 1), exposed(seen.green, 2), exposed(seen.blue, 3)});
            }
          }};
}

}  // namespace chart
