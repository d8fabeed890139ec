#include "fourtap/Picture.h"

#include <algorithm>
#include <cctype>
#include <climits>

#include "fourtap/Failure.h"

namespace tool {

// Of each format, in a file of its own.
PictureOpener OpenPnm, OpenPng, OpenJpeg, OpenBitmap, OpenWebp;
PictureCreator CreatePnm, CreatePng, CreateJpeg, CreateBitmap, CreateWebp;

namespace {

std::string_view const webpSignature = "RIFF????WEBP";

std::vector<PictureFormat> const formats = {
    {.name = "PNM",
     .signatures = {"P1", "P2", "P3", "P4", "P5", "P6", "P7", "PF", "Pf"},
     .suffixes = {"pnm", "ppm", "pgm"},
     .readSuffixes = {{".pbm", ".pgm"}, {".pam", ".pnm"}},
     .open = OpenPnm,
     .create = CreatePnm},
    {.name = "PNG",
     .signatures = {"\x89PNG\r\n\x1a\n"},
     .suffixes = {"png"},
     .holdsAlpha = true,
     .holdsPalette = true,
     .hasLevel = true,
     .notes = allNotes,
     .open = OpenPng,
     .create = CreatePng},
    {.name = "JPEG",
     .signatures = {"\xff\xd8\xff"},
     .suffixes = {"jpg", "jpeg"},
     .hasQuality = true,
     .canBeProgressive = true,
     .notes = profileNote | densityNote | exifNote | xmpNote | commentNote,
     .open = OpenJpeg,
     .create = CreateJpeg},
    {.name = "BMP",
     .signatures = {"BM"},
     .suffixes = {"bmp"},
     .holdsAlpha = true,
     .notes = densityNote,
     .open = OpenBitmap,
     .create = CreateBitmap},
#ifdef FOURTAP_HAS_WEBP
    {.name = "WebP",
     .signatures = {webpSignature},
     .suffixes = {"webp"},
     .holdsAlpha = true,
     .hasQuality = true,
     .canBeLossless = true,
     .makesGrayColour = true,
     .notes = profileNote | exifNote | xmpNote,
     .open = OpenWebp,
     .create = CreateWebp},
#endif
};

// Those that are known by name only.
struct UnreadFormat {
  char const* name;
  std::vector<std::string_view> signatures;
};
UnreadFormat const unreadFormats[] = {
    {"WebP", {webpSignature}},
    {"GIF", {"GIF87a", "GIF89a"}},
    {"TIFF", {std::string_view("II*\0", 4), std::string_view("MM\0*", 4), std::string_view("II+\0", 4)}},
    {"AVIF", {"????ftypavif", "????ftypavis"}},
    {"HEIC", {"????ftypheic", "????ftypheix", "????ftyphevc", "????ftypmif1", "????ftypmsf1"}},
    {"JPEG XL", {"\xff\x0a", std::string_view("\0\0\0\x0cJXL ", 8)}},
    {"JPEG 2000", {"\xff\x4f\xff\x51", std::string_view("\0\0\0\x0cjP  ", 8)}},
};

bool Begins(InputFile& file, std::vector<std::string_view> const& signatures) {
  return std::any_of(signatures.begin(), signatures.end(), [&file](std::string_view signature) {
    std::string_view const start = file.Peek(signature.size());
    return std::equal(start.begin(), start.end(), signature.begin(), signature.end(),
                      [](char byte, char known) { return known == '?' || byte == known; });
  });
}

bool SameInAnyCase(std::string_view a, std::string_view b) {
  auto const lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

bool HasSuffix(PictureFormat const& format, std::string_view suffix) {
  return std::any_of(format.suffixes.begin(), format.suffixes.end(),
                     [&](std::string_view known) { return SameInAnyCase(known, suffix); });
}

template <class Select>
std::vector<std::string_view> NamesOf(Select const& select) {
  std::vector<std::string_view> names;
  for (PictureFormat const& format : formats) {
    if (select(format)) names.push_back(format.name);
  }
  return names;
}

}  // namespace

PictureFormat const& FormatOfFile(InputFile& file) {
  for (PictureFormat const& format : formats) {
    if (Begins(file, format.signatures)) return format;
  }
  std::string fault = file.Peek(1).empty() ? ": is empty" : ": is of no known format";
  for (UnreadFormat const& format : unreadFormats) {
    if (Begins(file, format.signatures))
      fault = std::string(": is ") + format.name + ", which this build does not read";
  }
  throw Failure{badInput, file.name + fault + ", expected " + Alternatives(FormatNames()) + ", or Y4M video"};
}

PictureFormat const* FormatOfName(std::string_view fileName) {
  size_t const point = fileName.rfind('.');
  if (point == fileName.npos) return nullptr;
  auto const format = std::find_if(formats.begin(), formats.end(), [&](PictureFormat const& one) {
    return HasSuffix(one, fileName.substr(point + 1));
  });
  return format == formats.end() ? nullptr : &*format;
}

std::string ResultSuffix(std::string const& suffix) {
  for (PictureFormat const& format : formats) {
    for (auto const& [read, written] : format.readSuffixes) {
      if (SameInAnyCase(read, suffix)) return std::string(written);
    }
  }
  return suffix;
}

PictureFormat const* FormatNamed(std::string_view name) {
  auto const format = std::find_if(formats.begin(), formats.end(), [&](PictureFormat const& one) {
    return SameInAnyCase(one.name, name) || HasSuffix(one, name);
  });
  return format == formats.end() ? nullptr : &*format;
}

std::vector<std::string_view> FormatNames() {
  return NamesOf([](PictureFormat const&) { return true; });
}

std::vector<std::string_view> FormatNamesWith(bool PictureFormat::*what) {
  return NamesOf([what](PictureFormat const& format) { return format.*what; });
}

void CheckClaimedSize(std::string const& name, int64_t cx, int64_t cy, int64_t maxPixels) {
  if (cx < 1 || cy < 1) throw Failure{badInput, name + ": has size " + SizeText(cx, cy) + ", expected at least 1x1"};
  if (cx > INT_MAX || cy > INT_MAX) {
    throw Failure{badInput, name + ": claims " + SizeText(cx, cy) + " pixels, expected sides below 2147483648"};
  }
  if (cx > maxPixels / cy) {
    throw Failure{badInput, name + ": claims " + SizeText(cx, cy) + " pixels, expected at most " +
                                std::to_string(maxPixels) + " in all; --max-pixels allows more"};
  }
}

void ReadPixels(InputFile& file, void* bytes, size_t count, PictureSize size, int y) {
  size_t const read = file.Read(bytes, count);
  if (read == count) return;
  throw Failure{badInput, file.name + ": is cut short " + std::to_string(read) +
                              " bytes behind the beginning of line " + std::to_string(y) + ", expected " +
                              std::to_string(size.cy) + " lines of " + std::to_string(size.cx) + " pixels"};
}

std::unique_ptr<unsigned char[]> Bytes(size_t count) { return std::make_unique_for_overwrite<unsigned char[]>(count); }

}  // namespace tool
