// BMP: uncompressed, of 8, 16, 24 and 32 bits per pixel.
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <utility>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"

namespace tool {

namespace {

int const fileHeaderSize = 14;
int const alphaHeaderSize = 108;  // the shortest information header with a mask for alpha

// Bytes of a stored line, padding included.
int64_t StoredLineBytes(int64_t cx, int bitsPerPixel) { return (cx * bitsPerPixel + 31) / 32 * 4; }

struct Masks {
  uint32_t red, green, blue, alpha;
  bool operator==(Masks const&) const = default;
};
Masks const masks555{0x7C00, 0x03E0, 0x001F, 0};
Masks const masks565{0xF800, 0x07E0, 0x001F, 0};
Masks const masks888{0xFF0000, 0x00FF00, 0x0000FF, 0};
Masks const masks8888{0xFF0000, 0x00FF00, 0x0000FF, 0xFF000000};

struct Headers {
  uint32_t pixelOffset, infoSize;
  int32_t cx, cy;
  uint16_t planes, bitsPerPixel;
  uint32_t compression, colourCount;
  Masks masks;

  int64_t Cy() const { return cy < 0 ? -int64_t{cy} : cy; }
};

// The lowest byte comes first.
template <class Value>
Value Field(unsigned char const* at, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < sizeof(Value); ++i) value |= uint32_t{at[offset + i]} << 8 * i;
  return static_cast<Value>(value);
}

template <class Value>
void PutField(unsigned char* at, size_t offset, Value value) {
  for (size_t i = 0; i < sizeof(Value); ++i) {
    at[offset + i] = static_cast<unsigned char>(static_cast<uint32_t>(value) >> 8 * i);
  }
}

[[noreturn]] void Fail(InputFile const& file, std::string const& fault) {
  throw Failure{badInput, file.name + ": " + fault};
}

Headers ParseHeaders(InputFile const& file, unsigned char const* bytes, int64_t maxPixels) {
  Headers headers{Field<uint32_t>(bytes, 10), Field<uint32_t>(bytes, 14), Field<int32_t>(bytes, 18),
                  Field<int32_t>(bytes, 22),  Field<uint16_t>(bytes, 26), Field<uint16_t>(bytes, 28),
                  Field<uint32_t>(bytes, 30), Field<uint32_t>(bytes, 46), {}};
  int const bits = headers.bitsPerPixel;
  if (headers.infoSize < 40 || headers.infoSize > 1000) {
    Fail(file, "has an information header of " + std::to_string(headers.infoSize) + " bytes, expected 40 to 1000");
  }
  if (headers.planes != 1) Fail(file, "has " + std::to_string(headers.planes) + " planes, expected 1");
  if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
    Fail(file, "has " + std::to_string(bits) + " bits per pixel, expected 8, 16, 24 or 32");
  }
  bool const hasMasks = headers.compression == 3 && (bits == 16 || bits == 32);
  if (headers.compression != 0 && !hasMasks) {
    Fail(file, "has compression " + std::to_string(headers.compression) +
                   ", expected 0, which is none, or 3 with 16 or 32 bits per pixel");
  }
  headers.masks = bits == 16 ? masks555 : masks888;
  if (hasMasks) {
    bool const hasAlphaMask = headers.infoSize >= 56;
    headers.masks = {Field<uint32_t>(bytes, 54), Field<uint32_t>(bytes, 58), Field<uint32_t>(bytes, 62),
                     hasAlphaMask ? Field<uint32_t>(bytes, 66) : 0};
    Masks const& masks = headers.masks;
    bool const known = bits == 16 ? masks == masks555 || masks == masks565 : masks == masks888 || masks == masks8888;
    if (!known) Fail(file, "has unusual channel masks, expected 5-5-5, 5-6-5, or 8 bits each in the order BGR or BGRA");
  }
  CheckClaimedSize(file.name, headers.cx, headers.Cy(), maxPixels);
  int64_t const headersEnd = fileHeaderSize + int64_t{headers.infoSize} + (hasMasks && headers.infoSize == 40 ? 12 : 0);
  if (headers.pixelOffset < headersEnd) {
    Fail(file, "has its pixels at byte " + std::to_string(headers.pixelOffset) + ", expected them behind its headers");
  }
  return headers;
}

struct BitmapReader : PictureReader {
  InputFile& file;
  Headers headers;
  int64_t storedBytes;                                // of a line
  std::vector<std::array<unsigned char, 3>> colours;  // of 8 bits per pixel
  std::unique_ptr<unsigned char[]> whole;             // the stored picture, where it must be held
  std::vector<unsigned char> stored;                  // lines as they are stored
  int y = 0;
  int64_t position = 0;  // of what the file gives next

  BitmapReader(InputFile& from, int64_t maxPixels) : file(from) {
    unsigned char bytes[70] = {};
    size_t headersRead = file.Peek(sizeof bytes).size();
    if (headersRead < 54) Fail(file, "is cut short in its headers, expected at least 54 bytes");
    std::memcpy(bytes, file.Peek(sizeof bytes).data(), headersRead);
    headers = ParseHeaders(file, bytes, maxPixels);
    size = {headers.cx, static_cast<int>(headers.Cy())};
    kind = PixelKind::rgb;
    if (headers.bitsPerPixel == 32) kind = headers.masks.alpha ? PixelKind::rgba : PixelKind::rgbx;
    if (headers.bitsPerPixel == 16) remarks.push_back("16 bits per pixel are brought to 24");
    storedBytes = StoredLineBytes(size.cx, headers.bitsPerPixel);
    CheckLength();
    SkipTo(fileHeaderSize + headers.infoSize);
    if (headers.bitsPerPixel == 8) ReadColours();
    SkipTo(headers.pixelOffset);
    if (headers.cy > 0 && !file.HasPlaces()) {
      remarks.push_back("the bottom line comes first in a pipe: the picture is held in memory");
    }
    auto const density = [&](size_t offset) {
      return static_cast<uint32_t>(std::max(0, Field<int32_t>(bytes, offset)));
    };
    if (density(38) && density(42)) notes.density = {density(38), density(42), true};
  }

  void ReadWhole() {
    whole = Bytes(static_cast<size_t>(storedBytes * size.cy));
    for (int line = 0; line < size.cy; ++line) {
      ReadPixels(file, whole.get() + storedBytes * line, static_cast<size_t>(storedBytes), size, line);
    }
  }

  void SkipTo(int64_t offset) {
    unsigned char skipped[4096];
    while (position < offset) {
      size_t const count = static_cast<size_t>(std::min<int64_t>(sizeof skipped, offset - position));
      if (file.Read(skipped, count) != count)
        Fail(file, "is cut short before its pixels, expected them at byte " + std::to_string(headers.pixelOffset));
      position += static_cast<int64_t>(count);
    }
  }

  void CheckLength() {
    int64_t const expected = headers.pixelOffset + storedBytes * size.cy;
    if (file.HasPlaces() && file.length < expected) {
      Fail(file, "is cut short: " + std::to_string(file.length) + " bytes, expected " + std::to_string(expected) +
                     " for " + SizeText(size) + " pixels");
    }
  }

  void ReadColours() {
    size_t const count = headers.colourCount ? headers.colourCount : 256;
    if (count > 256) Fail(file, "has a palette of " + std::to_string(count) + " colours, expected at most 256");
    if (position + 4 * static_cast<int64_t>(count) > headers.pixelOffset) {
      Fail(file,
           "has its pixels at byte " + std::to_string(headers.pixelOffset) + ", expected them behind its palette");
    }
    unsigned char entries[4 * 256];
    if (file.Read(entries, 4 * count) != 4 * count)
      Fail(file, "is cut short in its palette, expected " + std::to_string(count) + " colours");
    position += 4 * static_cast<int64_t>(count);
    bool gray = true;
    for (size_t i = 0; i < count; ++i) {
      unsigned char const* const entry = entries + 4 * i;
      colours.push_back({entry[2], entry[1], entry[0]});
      palette.push_back({entry[2], entry[1], entry[0], 255});
      gray = gray && entry[0] == entry[1] && entry[1] == entry[2];
    }
    kind = gray ? PixelKind::gray : PixelKind::rgb;
    if (!gray) return;
    palette.clear();
    remarks.push_back("the palette is gray");
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const bytes = static_cast<size_t>(storedBytes) * static_cast<size_t>(count);
    unsigned char const* src;
    bool const bottomUp = headers.cy > 0;
    int const firstStored = bottomUp ? size.cy - y - count : y;
    if (bottomUp && !file.HasPlaces() && !whole) ReadWhole();
    if (whole) {
      src = whole.get() + storedBytes * firstStored;
    } else {
      stored.resize(bytes);
      src = stored.data();
      if (!bottomUp) {
        ReadPixels(file, stored.data(), bytes, size, y);
      } else if (file.ReadAt(headers.pixelOffset + storedBytes * firstStored, stored.data(), bytes) != bytes) {
        Fail(file, "was cut short while it was read, expected it to stay as it is");
      }
    }
    for (int i = 0; i < count; ++i) {
      ConvertLine(src + storedBytes * (bottomUp ? count - 1 - i : i), lines, y + i);
      lines += LineBytes(size, kind);
    }
    y += count;
  }

  void ConvertLine(unsigned char const* src, unsigned char* dst, int line) const {
    auto const cx = static_cast<size_t>(size.cx);
    switch (headers.bitsPerPixel) {
      case 8:
        for (size_t x = 0; x < cx; ++x) {
          if (src[x] >= colours.size()) {
            Fail(file, "names colour " + std::to_string(src[x]) + " in line " + std::to_string(line) +
                           ", expected less than the " + std::to_string(colours.size()) + " of its palette");
          }
          auto const& colour = colours[src[x]];
          if (kind == PixelKind::gray) {
            dst[x] = colour[0];
          } else {
            std::copy(colour.begin(), colour.end(), dst + 3 * x);
          }
        }
        break;
      case 16: {
        int const greenBits = headers.masks == masks565 ? 6 : 5;
        for (size_t x = 0; x < cx; ++x) {
          unsigned const pixel = src[2 * x] | static_cast<unsigned>(src[2 * x + 1]) << 8;
          dst[3 * x] = Expand(pixel >> (5 + greenBits), 5);
          dst[3 * x + 1] = Expand(pixel >> 5, greenBits);
          dst[3 * x + 2] = Expand(pixel, 5);
        }
        break;
      }
      default:
        SwapRedAndBlue(src, dst, cx, static_cast<size_t>(headers.bitsPerPixel / 8));
    }
  }

  // The lowest bits, repeated down to 8.
  static unsigned char Expand(unsigned value, int bits) {
    value &= (1u << bits) - 1;
    return static_cast<unsigned char>(value << (8 - bits) | value >> (2 * bits - 8));
  }

  static void SwapRedAndBlue(unsigned char const* src, unsigned char* dst, size_t cx, size_t pixelBytes) {
    for (size_t x = 0; x < cx; ++x, src += pixelBytes, dst += pixelBytes) {
      dst[0] = src[2];
      dst[1] = src[1];
      dst[2] = src[0];
      if (pixelBytes == 4) dst[3] = src[3];
    }
  }
};

// Bottom line first, as all programs read it; but top line first to stdout, where nothing can be put before what is
// written already.
struct BitmapWriter : PictureWriter {
  OutputFile& file;
  PicturePlan plan;
  int bitsPerPixel;
  int64_t storedBytes;
  int64_t pixelOffset;
  std::vector<unsigned char> stored;
  int y = 0;

  BitmapWriter(OutputFile& to, PicturePlan const& thePlan) : file(to), plan(thePlan) {
    bool const gray = plan.kind == PixelKind::gray;
    bool const alpha = HasAlpha(plan.kind);
    bitsPerPixel = gray ? 8 : plan.kind == PixelKind::rgb ? 24 : 32;
    int const infoSize = alpha ? alphaHeaderSize : 40;
    size_t const headersEnd = static_cast<size_t>(fileHeaderSize + infoSize);
    pixelOffset = static_cast<int64_t>(headersEnd) + (gray ? 4 * 256 : 0);
    storedBytes = StoredLineBytes(plan.size.cx, bitsPerPixel);
    if (storedBytes > INT_MAX || storedBytes > (int64_t{UINT32_MAX} - pixelOffset) / plan.size.cy) {
      throw Failure{badOutput, file.name + ": " + SizeText(plan.size) + " pixels of " + std::to_string(bitsPerPixel) +
                                   " bits are more than a BMP file can hold, expected less than 4 GiB"};
    }
    int64_t const imageBytes = storedBytes * plan.size.cy;
    std::vector<unsigned char> headers(static_cast<size_t>(pixelOffset));
    unsigned char* const at = headers.data();
    at[0] = 'B';
    at[1] = 'M';
    PutField(at, 2, static_cast<uint32_t>(pixelOffset + imageBytes));
    PutField(at, 10, static_cast<uint32_t>(pixelOffset));
    PutField(at, 14, infoSize);
    PutField(at, 18, plan.size.cx);
    PutField(at, 22, file.isStdout ? -plan.size.cy : plan.size.cy);
    PutField(at, 26, uint16_t{1});
    PutField(at, 28, static_cast<uint16_t>(bitsPerPixel));
    PutField(at, 30, alpha ? 3 : 0);
    PutField(at, 34, static_cast<uint32_t>(imageBytes));
    if (auto const& density = plan.notes->density; density && density->isPerMetre) {
      PutField(at, 38, density->x);
      PutField(at, 42, density->y);
    }
    if (gray) PutField(at, 46, 256);
    if (alpha) {
      PutField(at, 54, masks8888.red);
      PutField(at, 58, masks8888.green);
      PutField(at, 62, masks8888.blue);
      PutField(at, 66, masks8888.alpha);
      std::memcpy(at + 70, "BGRs", 4);  // sRGB, as the other kinds have without saying
    }
    for (size_t i = 0; gray && i < 256; ++i) PutField(at, headersEnd + 4 * i, static_cast<uint32_t>(i * 0x010101));
    file.Write(headers.data(), headers.size());
  }

  void WriteLines(unsigned char const* lines, int count) override {
    size_t const bytes = static_cast<size_t>(storedBytes) * static_cast<size_t>(count);
    stored.assign(bytes, 0);
    for (int i = 0; i < count; ++i, lines += LineBytes(plan.size, plan.kind)) {
      StoreLine(lines, stored.data() + storedBytes * (file.isStdout ? i : count - 1 - i));
    }
    if (file.isStdout) {
      file.Write(stored.data(), bytes);
    } else {
      file.WriteAt(pixelOffset + storedBytes * (plan.size.cy - y - count), stored.data(), bytes);
    }
    y += count;
  }

  void StoreLine(unsigned char const* src, unsigned char* dst) const {
    auto const cx = static_cast<size_t>(plan.size.cx);
    if (plan.kind == PixelKind::gray) {
      std::memcpy(dst, src, cx);
    } else if (plan.kind == PixelKind::grayAlpha) {
      for (size_t x = 0; x < cx; ++x) {
        std::fill_n(dst + 4 * x, 3, src[2 * x]);
        dst[4 * x + 3] = src[2 * x + 1];
      }
    } else {
      BitmapReader::SwapRedAndBlue(src, dst, cx, static_cast<size_t>(BytesPerPixel(plan.kind)));
    }
  }
};

}  // namespace

std::unique_ptr<PictureReader> OpenBitmap(InputFile& file, int64_t maxPixels) {
  return std::make_unique<BitmapReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreateBitmap(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<BitmapWriter>(file, plan);
}

}  // namespace tool
