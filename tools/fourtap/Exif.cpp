#include "fourtap/Exif.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tool {

namespace {

enum Tag {
  imageWidth = 0x0100,
  imageLength = 0x0101,
  orientation = 0x0112,
  thumbnailOffset = 0x0201,
  thumbnailLength = 0x0202,
  exifDirectory = 0x8769,
  pixelXDimension = 0xa002,
  pixelYDimension = 0xa003,
};

enum FieldType { shortField = 3, longField = 4 };

// Numbers in either byte order, wherever they are told to lie. A place beyond the end reads as 0, and is not written.
struct Tiff {
  std::vector<unsigned char>& bytes;
  bool bigEndian;

  uint32_t Get(size_t at, size_t count) const {
    if (at > bytes.size() || count > bytes.size() - at) return 0;
    uint32_t number = 0;
    for (size_t i = 0; i < count; ++i) number = number << 8 | bytes[bigEndian ? at + i : at + count - 1 - i];
    return number;
  }
  void Set(size_t at, size_t count, uint32_t number) {
    if (at > bytes.size() || count > bytes.size() - at) return;
    for (size_t i = 0; i < count; ++i, number >>= 8) {
      bytes[bigEndian ? at + count - 1 - i : at + i] = static_cast<unsigned char>(number);
    }
  }

  // A directory is a count of fields, twelve bytes for each (tag, type, count, value), and the place of the next one.
  size_t FieldCount(size_t directory) const { return directory == 0 ? 0 : Get(directory, 2); }
  // Where the field lies, if the directory has it and it is a single number.
  std::optional<size_t> Find(size_t directory, uint32_t tag) const {
    for (size_t i = 0; i < FieldCount(directory); ++i) {
      size_t const field = directory + 2 + 12 * i;
      uint32_t const type = Get(field + 2, 2);
      if (Get(field, 2) == tag && (type == shortField || type == longField) && Get(field + 4, 4) == 1) return field;
    }
    return std::nullopt;
  }
  uint32_t Value(size_t directory, uint32_t tag) const {
    auto const field = Find(directory, tag);
    return field ? Get(*field + 8, Get(*field + 2, 2) == shortField ? 2 : 4) : 0;
  }
  void SetValue(size_t directory, uint32_t tag, uint32_t value) {
    auto const field = Find(directory, tag);
    if (!field) return;
    bool const isShort = value <= UINT16_MAX;
    Set(*field + 2, 2, isShort ? shortField : longField);
    Set(*field + 8, 4, 0);
    Set(*field + 8, isShort ? 2 : 4, value);
  }

  size_t FirstDirectory() const { return Get(4, 4); }
  size_t NextDirectoryPlace(size_t directory) const { return directory + 2 + 12 * FieldCount(directory); }
};

std::optional<Tiff> ParseTiff(std::vector<unsigned char>& bytes) {
  if (bytes.size() < 8 || bytes[0] != bytes[1] || (bytes[0] != 'I' && bytes[0] != 'M')) return std::nullopt;
  Tiff const tiff{bytes, bytes[0] == 'M'};
  return tiff.Get(2, 2) == 42 ? std::optional(tiff) : std::nullopt;
}

void RemoveThumbnail(Tiff& tiff, size_t details) {
  size_t const place = tiff.NextDirectoryPlace(tiff.FirstDirectory());
  size_t const directory = tiff.Get(place, 4);
  if (directory == 0) return;
  size_t const size = tiff.bytes.size();
  size_t const first = std::min<size_t>(tiff.Value(directory, thumbnailOffset), size);
  size_t const end = std::min<size_t>(first + tiff.Value(directory, thumbnailLength), size);
  tiff.Set(place, 4, 0);
  if (first <= std::max({tiff.FirstDirectory(), directory, details}) || first == end) return;
  // An end that is padded to an even one is an end too.
  if (end + 1 >= size) {
    tiff.bytes.resize(first);
  } else {
    std::fill(tiff.bytes.begin() + static_cast<ptrdiff_t>(first), tiff.bytes.begin() + static_cast<ptrdiff_t>(end), 0);
  }
}

}  // namespace

int ExifOrientation(std::vector<unsigned char> const& exif) {
  auto bytes = exif;
  auto const tiff = ParseTiff(bytes);
  uint32_t const value = tiff ? tiff->Value(tiff->FirstDirectory(), orientation) : 1;
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void RefreshExif(std::vector<unsigned char>& exif, PictureSize size, bool turned) {
  auto tiff = ParseTiff(exif);
  if (!tiff) return;
  size_t const first = tiff->FirstDirectory();
  size_t const details = tiff->Value(first, exifDirectory);
  tiff->SetValue(first, imageWidth, static_cast<uint32_t>(size.cx));
  tiff->SetValue(first, imageLength, static_cast<uint32_t>(size.cy));
  tiff->SetValue(details, pixelXDimension, static_cast<uint32_t>(size.cx));
  tiff->SetValue(details, pixelYDimension, static_cast<uint32_t>(size.cy));
  RemoveThumbnail(*tiff, details);
  // Last: what makes no sense may lie on top of each other.
  if (turned) tiff->SetValue(first, orientation, 1);
}

void SetXmpUpright(std::string& xmp) {
  std::string_view const name = "tiff:Orientation";
  for (size_t at = 0; (at = xmp.find(name, at)) != xmp.npos;) {
    at += name.size();
    // tiff:Orientation="6", or <tiff:Orientation>6</tiff:Orientation>
    size_t const digit = xmp.find_first_not_of(" \t\r\n='\">", at);
    if (digit != xmp.npos && digit > at && xmp[digit] >= '1' && xmp[digit] <= '8') xmp[digit] = '1';
  }
}

}  // namespace tool
