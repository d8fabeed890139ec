// Uncompressed BMP files: a 14-byte file header, a 40-byte information header, masks at 16 bits per pixel, then the
// lines from the bottom up, each padded to 4 bytes. Fields are little-endian.
#include <fourtapscale/ImageUtil.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct __attribute__((packed)) BitmapHeaders {
  char type[2];
  uint32_t fileSize;
  uint16_t reserved[2];
  uint32_t pixelOffset;

  uint32_t infoSize;
  int32_t cx;
  int32_t cy;
  uint16_t planes;
  uint16_t bitsPerPixel;
  uint32_t compression;
  uint32_t imageSize;
  int32_t xResolution;
  int32_t yResolution;
  uint32_t coloursUsed;
  uint32_t coloursImportant;
};
static_assert(sizeof(BitmapHeaders) == 54);

// Between this processor's order of bytes and a file's.
template <class Number>
Number Stored(Number number) {
  if constexpr (std::endian::native == std::endian::big) {
    unsigned char bytes[sizeof number];
    std::memcpy(bytes, &number, sizeof number);
    std::reverse(bytes, bytes + sizeof number);
    std::memcpy(&number, bytes, sizeof number);
  }
  return number;
}

uint32_t const uncompressed = 0;
uint32_t const bitFields = 3;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
typedef std::unique_ptr<std::FILE, CloseFile> File;

}  // namespace

int ReadBitmapFile(char const* fileName, int& cx, int& cy, int& stride, int& bitsPerPixel, unsigned char* buffer) {
  File const file(std::fopen(fileName, "rb"));
  if (!file) return 0;
  BitmapHeaders headers;
  if (std::fread(&headers, 1, sizeof headers, file.get()) != sizeof headers) return 0;
  // In 64 bits, since nothing in a file is trusted to be small.
  cx = Stored(headers.cx);
  cy = Stored(headers.cy);
  bitsPerPixel = Stored(headers.bitsPerPixel);
  int64_t const bytes = int64_t{cx} * bitsPerPixel * Stored(headers.planes) / 8;
  stride = static_cast<int>((bytes + 3) & ~int64_t{3});
  if (!buffer || stride <= 0) return 1;

  std::fseek(file.get(), static_cast<long>(Stored(headers.pixelOffset)), SEEK_SET);
  for (int y = cy - 1; y >= 0; --y) {
    if (std::fread(buffer + ptrdiff_t{y} * stride, 1, static_cast<size_t>(stride), file.get()) == 0) break;
  }
  return 1;
}

int WriteBitmapFile(char const* fileName, int cx, int cy, int stride, int bitsPerPixel, unsigned char* buffer) {
  int64_t const lineBytes = (int64_t{cx} * bitsPerPixel + 31) / 32 * 4;
  auto const imageSize = static_cast<uint32_t>(lineBytes * cy);
  uint32_t const masks565[3] = {Stored(uint32_t{0xF800}), Stored(uint32_t{0x07E0}), Stored(uint32_t{0x001F})};
  uint32_t const masksSize = bitsPerPixel == 16 ? sizeof masks565 : 0;
  auto const pixelOffset = static_cast<uint32_t>(sizeof(BitmapHeaders)) + masksSize;
  BitmapHeaders const headers{{'B', 'M'},
                              Stored(pixelOffset + imageSize),
                              {0, 0},
                              Stored(pixelOffset),
                              Stored(uint32_t{40}),
                              Stored(cx),
                              Stored(cy),
                              Stored(uint16_t{1}),
                              Stored(static_cast<uint16_t>(bitsPerPixel)),
                              Stored(bitsPerPixel == 16 ? bitFields : uncompressed),
                              Stored(imageSize),
                              0,
                              0,
                              0,
                              0};

  File const file(std::fopen(fileName, "wb"));
  if (!file) return 0;
  std::fwrite(&headers, 1, sizeof headers, file.get());
  std::fwrite(masks565, 1, masksSize, file.get());
  for (int y = cy - 1; y >= 0; --y) {
    std::fwrite(buffer + ptrdiff_t{y} * stride, 1, static_cast<size_t>(lineBytes), file.get());
  }
  return 1;
}
