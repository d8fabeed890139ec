// Draws a test chart that shows a scaler's faults: rings and beats where it aliases, blur and halos at strokes and
// edges, steps in gradients, lost or doubled lines at the borders.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>
#include <utility>
#include <vector>

#include "chart/Drawing.h"
#include "chart/Letters.h"

namespace chart {

namespace {

int const cxChart = 640;
int const cyChart = 480;
tool::PictureSize const size{cxChart, cyChart};
double const pi = std::numbers::pi;

// Colours at a point of a region, from its top left corner, in pixels.
typedef Colour Pattern(double x, double y);

// Half of the side of the two round patterns.
double const radius = 100;

// A cosine over the squared distance from the centre: its frequency grows evenly, to one ring per two pixels at the
// edge.
Colour ZonePlate(double x, double y) {
  double const distance = std::hypot(x - radius, y - radius);
  if (distance > radius) return Gray(0.5);
  return Gray(0.5 + 0.5 * std::cos(pi * distance * distance / (2 * radius)));
}

// Spokes that get finer towards the centre.
Colour SiemensStar(double x, double y) {
  int const spokes = 36;
  if (std::hypot(x - radius, y - radius) > radius - 2) return Gray(0.5);
  return Gray(std::sin(spokes * std::atan2(y - radius, x - radius)) > 0 ? 1 : 0);
}

// Lines of text in strokes of one pixel, each line in another pair of colours.
Colour Text(double x, double y) {
  static std::string_view const text = "FOUR TAPS FILTER A PICTURE  SMALL LETTERS ON MANY COLOURS  ";
  static struct {
    Colour ink, paper;
  } const colours[] = {
      {Gray(0), Gray(1)},     {Gray(1), Gray(0)},       {Gray(0.35), Gray(0.5)},
      {{1, 0, 0}, {0, 0, 1}}, {{1, 1, 0}, {0, 0, 0.4}}, {{0, 0.6, 0}, Gray(1)},
  };
  int const line = static_cast<int>(y) / 11;
  int const column = static_cast<int>(x) / 6;
  auto const& [ink, paper] = colours[static_cast<size_t>(line) % std::size(colours)];
  char const letter = text[static_cast<size_t>(column + 9 * line) % text.size()];
  return InLetter(letter, static_cast<int>(x) % 6, static_cast<int>(y) % 11 - 2) ? ink : paper;
}

// Groups of lines of one, two and three pixels, upright, level and slanted.
Colour FineLines(double x, double y) {
  int const group = static_cast<int>(x) / 32;
  int const width = 1 + static_cast<int>(y) / 34;
  double const along = group % 3 == 0 ? x : group % 3 == 1 ? y : x + y / 3;
  bool const onLine = static_cast<int>(along) / width % 2 == 0;
  return Gray(onLine ? 0 : 1);
}

// From black to white and to each primary colour.
Colour Ramps(double x, double y) {
  double const level = x / 400;
  switch (static_cast<int>(y) / 20) {
    case 0:
      return Gray(level);
    case 1:
      return {level, 0, 0};
    case 2:
      return {0, level, 0};
    case 3:
      return {0, 0, level};
    default:
      return Gray(0.45 + 0.1 * level);
  }
}

// All hues, washed out downwards.
Colour Hues(double x, double y) {
  double const turn = 2 * pi * x / 200;
  double const strength = 0.5 * (1 - y / 100);
  auto const channel = [=](double shift) { return 0.5 + strength * std::cos(turn - shift); };
  return {channel(0), channel(2 * pi / 3), channel(4 * pi / 3)};
}

// Fields of full colour that meet at upright, level and slanted edges.
Colour ColourEdges(double x, double y) {
  static Colour const colours[] = {{1, 0, 0}, {0, 1, 1}, {0, 0, 1}, {1, 1, 0}, {0, 1, 0}, {1, 0, 1}, Gray(1), Gray(0)};
  int const field = static_cast<int>((x + 0.4 * y) / 27) + (y < 51 ? 0 : 3);
  return colours[static_cast<size_t>(field) % std::size(colours)];
}

// A round and a slanted edge between black and white, and single points.
Colour Edges(double x, double y) {
  if (y > 80 && y < 97) return Gray(static_cast<int>(x) % 8 == 4 && static_cast<int>(y) % 8 == 4 ? 1 : 0);
  bool const inside = std::hypot(x - 50, y - 40) < 34;
  bool const right = x > 120 + y / 4;
  return Gray(inside || right ? 0.9 : 0.1);
}

struct Region {
  int x, y, cx, cy;
  int samples;  // per pixel and direction: 1 draws whole pixels, more smooth the edges
  Pattern* pattern;
};

Region const regions[] = {
    {10, 10, 200, 200, 1, ZonePlate},    {220, 10, 200, 200, 8, SiemensStar}, {430, 10, 200, 99, 1, Text},
    {430, 111, 200, 99, 1, FineLines},   {10, 220, 400, 100, 1, Ramps},       {430, 220, 200, 100, 1, Hues},
    {10, 330, 400, 140, 8, ColourEdges}, {430, 330, 200, 140, 8, Edges},
};

// RGB, or RGBA.
struct Canvas {
  tool::PixelKind kind;
  std::vector<unsigned char> pixels;

  explicit Canvas(tool::PixelKind theKind) : kind(theKind), pixels(tool::LineBytes(size, kind) * cyChart) {}
  unsigned char* Pixel(int x, int y) { return pixels.data() + ptrdiff_t{y * cxChart + x} * tool::BytesPerPixel(kind); }
};

void SetPixel(Canvas& canvas, int x, int y, Colour colour) { StoreColour(canvas.Pixel(x, y), colour); }

void DrawRegion(Canvas& canvas, Region const& region) {
  int const samples = region.samples;
  for (int y = 0; y < region.cy; ++y) {
    for (int x = 0; x < region.cx; ++x) {
      Colour sum = Gray(0);
      for (int sample = 0; sample < samples * samples; ++sample) {
        Colour const colour =
            region.pattern(x + (sample % samples + 0.5) / samples, y + (sample / samples + 0.5) / samples);
        sum = {sum.red + colour.red, sum.green + colour.green, sum.blue + colour.blue};
      }
      double const n = samples * samples;
      SetPixel(canvas, region.x + x, region.y + y, {sum.red / n, sum.green / n, sum.blue / n});
    }
  }
}

// Leaves an oval with a hole opaque. What is transparent is bright green, which must not shine through.
void CutOut(Canvas& canvas) {
  for (int y = 0; y < cyChart; ++y) {
    for (int x = 0; x < cxChart; ++x) {
      double const dx = x - cxChart / 2.0, dy = y - cyChart / 2.0;
      double const inOval = (1 - std::hypot(dx / (cxChart / 2.0), dy / (cyChart / 2.0))) * cyChart / 2;
      double const outsideHole = std::hypot(dx, dy) - 40;
      double const alpha = std::clamp(std::min(inOval, outsideHole), 0.0, 1.0);
      if (alpha == 0) SetPixel(canvas, x, y, {0, 1, 0});
      canvas.Pixel(x, y)[3] = Byte(alpha);
    }
  }
}

// Nested frames of one pixel: the outermost line has a colour of its own at each border.
void DrawBorders(Canvas& canvas) {
  static Colour const rings[] = {Gray(1), Gray(0), Gray(1), Gray(0)};
  for (int y = 0; y < cyChart; ++y) {
    for (int x = 0; x < cxChart; ++x) {
      int const left = x, right = cxChart - 1 - x, top = y, bottom = cyChart - 1 - y;
      int const depth = std::min({left, right, top, bottom});
      if (depth >= 4) continue;
      Colour colour = rings[depth];
      if (depth == 0) {
        colour = top == 0      ? Colour{1, 0, 0}
                 : bottom == 0 ? Colour{0, 1, 0}
                 : left == 0   ? Colour{1, 1, 0}
                               : Colour{0, 1, 1};
      }
      SetPixel(canvas, x, y, colour);
    }
  }
}

}  // namespace

Drawing TestChart(bool cutOut) {
  Canvas canvas(cutOut ? tool::PixelKind::rgba : tool::PixelKind::rgb);
  DrawRegion(canvas, {0, 0, cxChart, cyChart, 1, [](double, double) { return Gray(0.5); }});
  for (Region const& region : regions) DrawRegion(canvas, region);
  DrawBorders(canvas);
  if (cutOut) CutOut(canvas);
  size_t const bytes = tool::LineBytes(size, canvas.kind);
  return {size, canvas.kind, [=, pixels = std::move(canvas.pixels)](int y, unsigned char* line) {
            std::copy_n(pixels.data() + bytes * static_cast<size_t>(y), bytes, line);
          }};
}

}  // namespace chart
