#include "fourtap/Background.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tool {

namespace {

// Rounded to nearest. What is premultiplied wrongly may be more than there is.
int Blend(int colour, int behind, int alpha, bool premultiplied) {
  int const sum = colour * (premultiplied ? 255 : alpha) + behind * (255 - alpha);
  return std::min(255, (sum + 127) / 255);
}

struct ReaderOnColour : PictureReader {
  std::unique_ptr<PictureReader> reader;
  Colour const colour;
  bool const premultiplied;
  std::unique_ptr<unsigned char[]> lineIn;

  ReaderOnColour(std::unique_ptr<PictureReader> from, Colour behind, bool isPremultiplied)
      : PictureReader(*from),
        reader(std::move(from)),
        colour(behind),
        premultiplied(isPremultiplied),
        lineIn(Bytes(LineBytes(size, kind))) {
    kind = KindOnColour(kind, colour);
  }

  void ReadLines(unsigned char* lines, int count) override {
    for (int line = 0; line < count; ++line, lines += LineBytes(size, kind)) {
      reader->ReadLines(lineIn.get(), 1);
      BlendLine(lineIn.get(), lines);
    }
  }

  void BlendLine(unsigned char const* src, unsigned char* dst) const {
    ptrdiff_t const channelsIn = BytesPerPixel(reader->kind), channelsOut = BytesPerPixel(kind);
    for (int x = 0; x < size.cx; ++x, src += channelsIn, dst += channelsOut) {
      unsigned char const alpha = src[channelsIn - 1];
      for (ptrdiff_t channel = 0; channel < channelsOut; ++channel) {
        dst[channel] = static_cast<unsigned char>(
            Blend(src[IsGray(reader->kind) ? 0 : channel], colour[static_cast<size_t>(channel)], alpha, premultiplied));
      }
    }
  }

  void Finish() override {
    reader->Finish();
    warnings = reader->warnings;
    notes.textChunks = reader->notes.textChunks;
  }
};

}  // namespace

PixelKind KindOnColour(PixelKind kind, Colour colour) {
  bool const gray = colour[0] == colour[1] && colour[1] == colour[2];
  return IsGray(kind) && gray ? PixelKind::gray : PixelKind::rgb;
}

std::unique_ptr<PictureReader> OnColour(std::unique_ptr<PictureReader> reader, Colour colour, bool premultiplied) {
  return std::make_unique<ReaderOnColour>(std::move(reader), colour, premultiplied);
}

}  // namespace tool
