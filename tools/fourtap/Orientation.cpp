#include "fourtap/Orientation.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace tool {

namespace {

// How the stored picture's places follow from the upright one's: the sides change places where they do, then each runs
// backwards or not.
struct Turn {
  bool swapsSides, mirrorsX, mirrorsY;  // of the stored picture
};
Turn TurnOf(int orientation) {
  Turn const turns[] = {{false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
                        {true, false, false},  {true, false, true},  {true, true, true},  {true, true, false}};
  return turns[orientation - 1];
}

// Pixels of a line of `cx` into another one, `step` of its pixels apart.
template <int pixelBytes>
void SpreadPixels(unsigned char const* src, int cx, unsigned char* dst, ptrdiff_t step) {
  for (int x = 0; x < cx; ++x, src += pixelBytes, dst += step) std::memcpy(dst, src, pixelBytes);
}

typedef void SpreadFunction(unsigned char const* src, int cx, unsigned char* dst, ptrdiff_t step);
SpreadFunction* SpreaderFor(PixelKind kind) {
  SpreadFunction* const spreaders[] = {SpreadPixels<1>, SpreadPixels<2>, SpreadPixels<3>, SpreadPixels<4>};
  return spreaders[BytesPerPixel(kind) - 1];
}

int const linesAtOnce = 32;

struct Turner : PictureWriter {
  std::unique_ptr<PictureWriter> writer;
  PictureSize const stored, upright;
  Turn const turn;
  SpreadFunction* const spread;
  ptrdiff_t const pixelBytes;
  std::unique_ptr<unsigned char[]> const whole;  // the stored picture, where its lines must wait
  std::unique_ptr<unsigned char[]> const lines;  // upright ones
  int y = 0;

  Turner(std::unique_ptr<PictureWriter> to, PictureSize size, PixelKind kind, int orientation)
      : writer(std::move(to)),
        stored(size),
        upright(Turned(size, orientation)),
        turn(TurnOf(orientation)),
        spread(SpreaderFor(kind)),
        pixelBytes(BytesPerPixel(kind)),
        whole(Bytes(static_cast<size_t>(TurningBytes(size, kind, orientation)))),
        lines(Bytes(linesAtOnce * LineBytes(upright, kind))) {
    remarks = writer->remarks;
  }

  ptrdiff_t StoredBytes(ptrdiff_t pixels) const { return pixels * pixelBytes; }

  void WriteLines(unsigned char const* from, int count) override {
    ptrdiff_t const lineBytes = StoredBytes(stored.cx);
    if (turn.swapsSides || turn.mirrorsY) {
      std::memcpy(whole.get() + lineBytes * y, from, static_cast<size_t>(lineBytes * count));
      y += count;
      return;
    }
    for (int line = 0; line < count; ++line) WriteLine(from + lineBytes * line);
  }

  // One that becomes a line.
  void WriteLine(unsigned char const* from) {
    ptrdiff_t const step = turn.mirrorsX ? -pixelBytes : pixelBytes;
    spread(from, stored.cx, lines.get() + (turn.mirrorsX ? StoredBytes(stored.cx - 1) : 0), step);
    writer->WriteLines(lines.get(), 1);
  }

  void Finish() override {
    if (turn.swapsSides) {
      for (int first = 0; first < upright.cy; first += linesAtOnce) {
        WriteColumns(first, std::min(linesAtOnce, upright.cy - first));
      }
    } else if (turn.mirrorsY) {
      for (int line = stored.cy; line-- > 0;) WriteLine(whole.get() + StoredBytes(stored.cx) * line);
    }
    writer->Finish();
  }

  // Stored columns that become `count` upright lines.
  void WriteColumns(int first, int count) {
    ptrdiff_t const lineBytes = StoredBytes(upright.cx);
    int const column = turn.mirrorsX ? stored.cx - first - count : first;
    for (int line = 0; line < stored.cy; ++line) {
      unsigned char const* const src = whole.get() + StoredBytes(stored.cx) * line + StoredBytes(column);
      unsigned char* const dst = lines.get() + StoredBytes(turn.mirrorsY ? stored.cy - 1 - line : line);
      if (turn.mirrorsX) {
        spread(src, count, dst + lineBytes * (count - 1), -lineBytes);
      } else {
        spread(src, count, dst, lineBytes);
      }
    }
    writer->WriteLines(lines.get(), count);
  }
};

}  // namespace

PictureRect Stored(PictureRect const& upright, PictureSize uprightSize, int orientation) {
  Turn const turn = TurnOf(orientation);
  PictureRect rect = upright;
  PictureSize const size = Turned(uprightSize, orientation);
  if (turn.swapsSides) rect = {rect.y, rect.x, rect.cy, rect.cx};
  if (turn.mirrorsX) rect.x = size.cx - rect.x - rect.cx;
  if (turn.mirrorsY) rect.y = size.cy - rect.y - rect.cy;
  return rect;
}

int64_t TurningBytes(PictureSize size, PixelKind kind, int orientation) {
  Turn const turn = TurnOf(orientation);
  return turn.swapsSides || turn.mirrorsY ? static_cast<int64_t>(LineBytes(size, kind)) * size.cy : 0;
}

std::unique_ptr<PictureWriter> TurningWriter(std::unique_ptr<PictureWriter> writer, PictureSize size, PixelKind kind,
                                             int orientation) {
  return std::make_unique<Turner>(std::move(writer), size, kind, orientation);
}

}  // namespace tool
