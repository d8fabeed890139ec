// Pictures line by line, whatever their format.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fourtap/InputFile.h"
#include "fourtap/Notes.h"
#include "fourtap/OutputFile.h"
#include "fourtap/SizeGrammar.h"

namespace tool {

// The bytes of a pixel, in this order.
enum class PixelKind {
  gray,
  grayAlpha,
  rgb,
  rgbx,  // x means nothing
  rgba,
};

inline int BytesPerPixel(PixelKind kind) {
  int const bytes[] = {1, 2, 3, 4, 4};
  return bytes[static_cast<int>(kind)];
}
inline bool IsGray(PixelKind kind) { return kind == PixelKind::gray || kind == PixelKind::grayAlpha; }
inline bool HasAlpha(PixelKind kind) { return kind == PixelKind::grayAlpha || kind == PixelKind::rgba; }

// Colours that are told by their numbers: red, green, blue and alpha of each.
using Palette = std::vector<std::array<unsigned char, 4>>;

// Reads a picture's lines, the top line first. All functions throw a Failure for what is wrong with the file.
struct PictureReader {
  PictureSize size{};
  PixelKind kind{};
  bool isAsWritten = true;  // of a kind that the format's writer makes; others are not copied
  Palette palette;          // of which all pixels are; empty where there may be others
  PictureNotes notes;
  std::vector<std::string> remarks;   // what a user may want to know of how the file is read
  std::vector<std::string> warnings;  // of what is lost; complete after Finish

  virtual ~PictureReader() = default;
  // The next lines, without gaps between them.
  virtual void ReadLines(unsigned char* lines, int count) = 0;
  // After the last line: looks at what the file holds behind it, which may add to the text notes.
  virtual void Finish() {}
};

// Writes a picture's lines, the top line first. All functions throw a Failure when that can't be done.
struct PictureWriter {
  std::vector<std::string> remarks;  // what a user may want to know of what is left out

  virtual ~PictureWriter() = default;
  virtual void WriteLines(unsigned char const* lines, int count) = 0;
  // After the last line, with text notes that have come meanwhile; OutputFile::Finish is left to the caller.
  virtual void Finish() {}
};

constexpr int defaultLevel = 6;

// What is to be written.
struct PicturePlan {
  PictureSize size{};
  PixelKind kind{};
  PictureNotes const* notes = nullptr;  // those that the format holds are written
  int quality = 0;                      // where the format has one, 1 to 100
  int level = defaultLevel;             // of compression of PNG, 1 to 9
  int threads = 1;                      // that compress it; the file is the same
  bool lossless = false;                // where the format can be either
  bool progressive = false;             // where the format can be
  bool grayAsColour = false;            // where the format would tell them apart
  Palette const* palette = nullptr;     // of which all pixels are, for formats that hold one
};

typedef std::unique_ptr<PictureReader> PictureOpener(InputFile& file, int64_t maxPixels);
typedef std::unique_ptr<PictureWriter> PictureCreator(OutputFile& file, PicturePlan const& plan);

struct PictureFormat {
  std::string_view name;                     // for users, and for --format in any case
  std::vector<std::string_view> signatures;  // how its files begin; ? stands for any byte
  std::vector<std::string_view> suffixes;
  std::vector<std::pair<std::string_view, std::string_view>> readSuffixes{};  // of files only read, and their results
  bool holdsAlpha = false;
  bool holdsPalette = false;
  bool hasQuality = false;
  bool hasLevel = false;
  bool canBeLossless = false;  // for those that are not always
  bool canBeProgressive = false;
  bool makesGrayColour = false;
  unsigned notes = 0;  // kinds that it holds
  PictureOpener* open;
  PictureCreator* create;
};

// The format of a file, by how it begins. Throws a Failure when it is none that can be read.
PictureFormat const& FormatOfFile(InputFile& file);
// Of a file's name, by its suffix in any case, or null.
PictureFormat const* FormatOfName(std::string_view fileName);
// Of the result of a file with that suffix: the same, but where files with it are only read. Both begin with a point.
std::string ResultSuffix(std::string const& suffix);
// By its name or one of its suffixes, in any case, or null.
PictureFormat const* FormatNamed(std::string_view name);
// Of all formats.
std::vector<std::string_view> FormatNames();
// Of those of which it is true.
std::vector<std::string_view> FormatNamesWith(bool PictureFormat::*what);

// What the formats have in common.
// Throws a Failure unless 1 to maxPixels pixels are claimed.
void CheckClaimedSize(std::string const& name, int64_t cx, int64_t cy, int64_t maxPixels);
// Whether another PNM picture begins here.
bool MorePicturesFollow(InputFile& file);
// Reads all of `bytes`, for lines from `y` on, or throws a Failure.
void ReadPixels(InputFile& file, void* bytes, size_t count, PictureSize size, int y);
inline size_t LineBytes(PictureSize size, PixelKind kind) {
  return static_cast<size_t>(size.cx) * static_cast<size_t>(BytesPerPixel(kind));
}
// An array that is not filled with anything. Throws std::bad_alloc.
std::unique_ptr<unsigned char[]> Bytes(size_t count);

}  // namespace tool
