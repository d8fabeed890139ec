#include "fourtap/Padding.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace tool {

namespace {

struct Padder : PictureWriter {
  std::unique_ptr<PictureWriter> writer;
  PixelKind const kind, kindOut;
  PictureRect const place;
  PictureSize const canvas;
  std::unique_ptr<unsigned char[]> const empty, line;  // lines of the canvas, the latter with pixels at their place
  int y = 0;

  Padder(std::unique_ptr<PictureWriter> to, PixelKind kindIn, PictureRect const& where, PictureSize size, Colour colour)
      : writer(std::move(to)),
        kind(kindIn),
        kindOut(KindPadded(kind, colour)),
        place(where),
        canvas(size),
        empty(Bytes(LineBytes(canvas, kindOut))),
        line(Bytes(LineBytes(canvas, kindOut))) {
    remarks = writer->remarks;
    auto const bytes = static_cast<size_t>(BytesPerPixel(kindOut));
    std::fill_n(empty.get(), LineBytes(canvas, kindOut), 0);
    size_t const channels = HasAlpha(kindOut) ? 0 : std::min(bytes, colour.size());
    for (size_t x = 0; x < static_cast<size_t>(canvas.cx); ++x) {
      std::copy_n(colour.begin(), channels, empty.get() + bytes * x);
    }
    std::memcpy(line.get(), empty.get(), LineBytes(canvas, kindOut));
  }

  void WriteEmptyUntil(int end) {
    for (; y < end; ++y) writer->WriteLines(empty.get(), 1);
  }

  void WriteLines(unsigned char const* lines, int count) override {
    WriteEmptyUntil(place.y);
    unsigned char* const pixels = line.get() + LineBytes({place.x, 1}, kindOut);
    size_t const lineBytes = LineBytes({place.cx, 1}, kind);
    for (int i = 0; i < count; ++i, ++y, lines += lineBytes) {
      if (kindOut == kind) {
        std::memcpy(pixels, lines, lineBytes);
      } else {
        for (size_t x = 0; x < lineBytes; ++x) std::fill_n(pixels + 3 * x, 3, lines[x]);
      }
      writer->WriteLines(line.get(), 1);
    }
  }

  void Finish() override {
    WriteEmptyUntil(canvas.cy);
    writer->Finish();
  }
};

}  // namespace

PixelKind KindPadded(PixelKind kind, Colour colour) {
  bool const gray = colour[0] == colour[1] && colour[1] == colour[2];
  return kind == PixelKind::gray && !gray ? PixelKind::rgb : kind;
}

std::unique_ptr<PictureWriter> PaddingWriter(std::unique_ptr<PictureWriter> writer, PixelKind kind,
                                             PictureRect const& place, PictureSize canvas, Colour colour) {
  return std::make_unique<Padder>(std::move(writer), kind, place, canvas, colour);
}

}  // namespace tool
