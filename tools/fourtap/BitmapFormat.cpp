#include "fourtap/BitmapFormat.h"

#include <fourtapscale/ImageUtil.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "fourtap/Failure.h"
#include "fourtap/OutputFile.h"

namespace tool {

namespace {

int const headersSize = 54;  // file header and the shortest information header

std::string Size(int64_t cx, int64_t cy) { return std::to_string(cx) + "x" + std::to_string(cy); }

bool FitsBitmap(int cx, int cy, int bitsPerPixel) {
  int64_t const lineBytes = LineBytes(cx, bitsPerPixel);
  return lineBytes <= INT_MAX && lineBytes <= (int64_t{UINT32_MAX} - headersSize) / cy;
}

template <class Value>
Value Field(char const* headers, int offset) {
  Value value;
  std::memcpy(&value, headers + offset, sizeof value);
  return value;
}

// ReadBitmapFile trusts the file: this looks whether it may.
void CheckBitmapFile(std::string const& name) {
  auto const fail = [&name](std::string const& fault) { throw Failure{badInput, name + ": " + fault}; };

  std::error_code error;
  std::filesystem::file_status const status = std::filesystem::status(name, error);
  if (!std::filesystem::exists(status)) fail("can't be read: " + error.message() + "; expected a bitmap file");
  if (!std::filesystem::is_regular_file(status)) fail("is no regular file, expected a bitmap file");
  std::ifstream file(name, std::ios::binary);
  if (!file) fail("can't be read: " + std::generic_category().message(errno) + "; expected a bitmap file");
  char headers[headersSize] = {};
  file.read(headers, headersSize);
  std::streamsize const headersRead = file.gcount();
  if (headersRead < 2 || std::memcmp(headers, "BM", 2) != 0)
    fail("is no bitmap file, expected one that begins with BM");
  if (headersRead < headersSize) fail("is cut short in its headers, expected at least 54 bytes");

  auto const pixelOffset = Field<uint32_t>(headers, 10);
  auto const infoSize = Field<uint32_t>(headers, 14);
  auto const cx = Field<int32_t>(headers, 18);
  auto const cy = Field<int32_t>(headers, 22);
  auto const planes = Field<uint16_t>(headers, 26);
  auto const bitsPerPixel = Field<uint16_t>(headers, 28);
  auto const compression = Field<uint32_t>(headers, 30);
  if (infoSize < 40) fail("has an information header of " + std::to_string(infoSize) + " bytes, expected 40 or more");
  if (planes != 1) fail("has " + std::to_string(planes) + " planes, expected 1");
  if (bitsPerPixel != 24 && bitsPerPixel != 32) {
    fail("has " + std::to_string(bitsPerPixel) + " bits per pixel, expected 24 or 32");
  }
  if (compression != 0) fail("has compression " + std::to_string(compression) + ", expected 0, which is none");
  if (cy < 0) fail("has height " + std::to_string(cy) + ", top line first; expected the bottom line first");
  if (cx < 1 || cy < 1) fail("has size " + Size(cx, cy) + ", expected at least 1x1");
  if (!FitsBitmap(cx, cy, bitsPerPixel)) fail("has size " + Size(cx, cy) + ", more than a bitmap file can hold");
  if (pixelOffset < 14 + int64_t{infoSize}) {
    fail("has its pixels at byte " + std::to_string(pixelOffset) + ", expected them behind its headers");
  }
  int64_t const expected = pixelOffset + LineBytes(cx, bitsPerPixel) * cy;
  file.seekg(0, std::ios::end);
  int64_t const length = file.tellg();
  if (length < expected) {
    fail("is cut short: " + std::to_string(length) + " bytes, expected " + std::to_string(expected) + " for " +
         Size(cx, cy) + " pixels");
  }
}

}  // namespace

Picture ReadBitmap(std::string const& name) {
  CheckBitmapFile(name);
  Failure const changed{badInput, name + ": changed while it was read, expected it to stay as it is"};
  int cx, cy, stride, bitsPerPixel;
  if (!ReadBitmapFile(name.c_str(), cx, cy, stride, bitsPerPixel, nullptr)) throw changed;
  Picture picture = MakePicture(cx, cy, bitsPerPixel);
  if (!ReadBitmapFile(name.c_str(), cx, cy, stride, bitsPerPixel, picture.pixels.data())) throw changed;
  CheckBitmapFile(name);
  return picture;
}

void CheckBitmapSize(std::string const& name, int cx, int cy, int bitsPerPixel) {
  if (FitsBitmap(cx, cy, bitsPerPixel)) return;
  throw Failure{badOutput, name + ": " + Size(cx, cy) + " pixels of " + std::to_string(bitsPerPixel) +
                               " bits are more than a bitmap file can hold, expected less than 4 GiB"};
}

void WriteBitmap(std::string const& name, Picture const& picture) {
  OutputFile file(name);
  // Only reads the pixels.
  auto* const pixels = const_cast<unsigned char*>(picture.pixels.data());
  WriteBitmapFile(file.temporaryName.c_str(), picture.cx, picture.cy, picture.stride, picture.bitsPerPixel, pixels);
  PutInPlace(file, headersSize + int64_t{picture.stride} * picture.cy);
}

}  // namespace tool
