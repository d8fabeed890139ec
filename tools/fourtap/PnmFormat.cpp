// PNM: PBM, PGM, PPM and PAM are read, binary and plain, of up to 16 bits per sample; 8-bit PGM and PPM are written.
#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"

namespace tool {

namespace {

[[noreturn]] void Fail(InputFile const& file, std::string const& fault) {
  throw Failure{badInput, file.name + ": " + fault};
}

// A pipe may have comments without end.
int const longestHeader = 1 << 16;

// What is written in letters and digits: what stands before the pixels, and plain pixels.
struct Text {
  InputFile& file;
  char const* what = "header";
  int bytesLeft = longestHeader;
  int last = 0;  // byte that Next gave

  int NextByte() {
    if (bytesLeft-- == 0) {
      Fail(file, std::string("has a ") + what + " without end, expected one of at most " +
                     std::to_string(longestHeader) + " bytes");
    }
    unsigned char c;
    return file.Read(&c, 1) == 1 ? c : -1;
  }

  // The next byte, a comment with the end of its line being one space; -1 at the end of the file.
  int Next() {
    last = NextByte();
    if (last != '#') return last;
    while (last >= 0 && last != '\n') last = NextByte();
    return last;
  }

  // Up to the one space behind it, or the file's end; nothing where there is none.
  std::optional<int> ReadNumber() {
    int c = Next();
    while (std::isspace(c)) c = Next();
    int64_t number = 0;
    bool any = false;
    for (; std::isdigit(c) && number <= INT32_MAX; c = Next()) {
      number = number * 10 + (c - '0');
      any = true;
    }
    if (!any || number > INT32_MAX || (c >= 0 && !std::isspace(c))) return std::nullopt;
    return static_cast<int>(number);
  }

  int ReadHeaderNumber(char const* name) {
    auto const number = ReadNumber();
    if (!number || last < 0)
      Fail(file, std::string("has no ") + name + " in its header, expected a number up to 2147483647");
    return *number;
  }

  // Without its end; a comment is an empty line.
  std::string ReadLine() {
    std::string line;
    int c = Next();
    for (; c >= 0 && c != '\n'; c = Next()) line += static_cast<char>(c);
    if (c < 0) Fail(file, "is cut short in its header, expected ENDHDR");
    return line;
  }
};

// What a sample is in the file.
enum class Stored { plainBit, plain, bit, byte, twoBytes };

struct PnmHeader {
  PictureSize size;
  PixelKind kind;
  int maximum;
  Stored stored;
  bool isPam;
};

// A PAM picture's pixels are told by their number of samples, and by a name that may be missing.
struct TupleType {
  std::string_view name;
  int depth;
  PixelKind kind;
};
constexpr TupleType tupleTypes[] = {
    {"GRAYSCALE", 1, PixelKind::gray},
    {"GRAYSCALE_ALPHA", 2, PixelKind::grayAlpha},
    {"RGB", 3, PixelKind::rgb},
    {"RGB_ALPHA", 4, PixelKind::rgba},
    {"BLACKANDWHITE", 1, PixelKind::gray},
    {"BLACKANDWHITE_ALPHA", 2, PixelKind::grayAlpha},
};

PnmHeader ReadPamHeader(Text& text) {
  PnmHeader header{};
  header.isPam = true;
  int depth = 0;
  std::string type;
  std::pair<std::string_view, int*> const numbers[] = {
      {"WIDTH", &header.size.cx}, {"HEIGHT", &header.size.cy}, {"DEPTH", &depth}, {"MAXVAL", &header.maximum}};
  for (std::string line; line != "ENDHDR";) {
    line = text.ReadLine();
    std::string_view const trimmed(line.data(), line.find_last_not_of(" \t\r") + 1);
    size_t const space = trimmed.find_first_of(" \t"), value = trimmed.find_first_not_of(" \t", space);
    std::string_view const name = trimmed.substr(0, space);
    std::string_view const content = value == trimmed.npos ? "" : trimmed.substr(value);
    line = name;
    if (name == "TUPLTYPE") type = content;
    for (auto const& [known, number] : numbers) {
      if (name != known) continue;
      auto const count = content == "0" ? std::optional(0) : ParseCount(content);
      if (!count) Fail(text.file, "has no " + std::string(name) + " in its header, expected a number up to 2147483647");
      *number = *count;
    }
  }
  for (TupleType const& known : tupleTypes) {
    if (depth != known.depth || (!type.empty() && type != known.name)) continue;
    header.kind = known.kind;
    header.stored = header.maximum > 255 ? Stored::twoBytes : Stored::byte;
    return header;
  }
  Fail(text.file, "has pixels of " + std::to_string(depth) + " samples" + (type.empty() ? "" : " and type " + type) +
                      ", expected gray or RGB, with alpha or without");
}

PnmHeader ReadHeader(InputFile& file) {
  char type[2];
  file.Read(type, 2);
  Text text{file};
  char const digit = type[1];
  if (digit == '7') return ReadPamHeader(text);
  if (digit == 'F' || digit == 'f') Fail(file, "is PFM, expected PBM, PGM, PPM or PAM");
  PnmHeader header{};
  header.size.cx = text.ReadHeaderNumber("width");
  header.size.cy = text.ReadHeaderNumber("height");
  header.kind = digit == '3' || digit == '6' ? PixelKind::rgb : PixelKind::gray;
  header.maximum = digit == '1' || digit == '4' ? 1 : text.ReadHeaderNumber("maximum");
  header.stored = digit == '1'           ? Stored::plainBit
                  : digit == '4'         ? Stored::bit
                  : digit < '4'          ? Stored::plain
                  : header.maximum > 255 ? Stored::twoBytes
                                         : Stored::byte;
  return header;
}

struct PnmReader : PictureReader {
  InputFile& file;
  PnmHeader const header;
  int y = 0;
  std::vector<unsigned char> level;       // of each stored sample value; empty where that is the level
  std::unique_ptr<unsigned char[]> line;  // as stored, where samples are not bytes
  size_t storedBytes = 0;                 // of that

  PnmReader(InputFile& from, int64_t maxPixels) : file(from), header(ReadHeader(file)) {
    size = header.size;
    kind = header.kind;
    isAsWritten = !header.isPam && (header.stored == Stored::byte || header.stored == Stored::twoBytes);
    CheckClaimedSize(file.name, size.cx, size.cy, maxPixels);
    int const max = header.maximum;
    if (max < 1 || max > 65535) Fail(file, "has maximum " + std::to_string(max) + ", expected 1 to 65535");
    if (header.stored == Stored::twoBytes) storedBytes = 2 * LineBytes(size, kind);
    if (header.stored == Stored::bit) storedBytes = (static_cast<size_t>(size.cx) + 7) / 8;
    if (storedBytes) line = Bytes(storedBytes);
    if (max == 255) return;
    (max > 255 ? warnings : remarks).push_back("samples from 0 to " + std::to_string(max) + " are brought to 0 to 255");
    level.resize(max > 255 ? 65536 : 256, 255);
    for (int value = 0; value < max; ++value) {
      level[static_cast<size_t>(value)] = static_cast<unsigned char>((value * 255 + max / 2) / max);
    }
  }

  unsigned char Level(int value) const {
    return level.empty() ? static_cast<unsigned char>(value) : level[static_cast<size_t>(value)];
  }

  [[noreturn]] void FailInLine(std::string const& fault) const {
    Fail(file, fault + " in line " + std::to_string(y) + ", expected " + std::to_string(size.cy) + " lines of " +
                   std::to_string(size.cx) + " pixels");
  }

  void ReadPlainLine(unsigned char* samples, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      Text text{file, "gap before a sample"};
      if (header.stored == Stored::plainBit) {
        int c = text.Next();
        while (std::isspace(c)) c = text.Next();
        if (c != '0' && c != '1') FailInLine("has no bit");
        samples[i] = c == '0' ? 255 : 0;
      } else {
        auto const value = text.ReadNumber();
        if (!value || *value > header.maximum) FailInLine("has no sample up to " + std::to_string(header.maximum));
        samples[i] = Level(*value);
      }
    }
  }

  void ReadLine(unsigned char* samples, size_t count) {
    switch (header.stored) {
      case Stored::byte:
        ReadPixels(file, samples, count, size, y);
        if (!level.empty()) std::transform(samples, samples + count, samples, [this](int v) { return Level(v); });
        break;
      case Stored::twoBytes:
        ReadPixels(file, line.get(), storedBytes, size, y);
        for (size_t i = 0; i < count; ++i) samples[i] = Level(line[2 * i] * 256 + line[2 * i + 1]);
        break;
      case Stored::bit:
        ReadPixels(file, line.get(), storedBytes, size, y);
        for (size_t i = 0; i < count; ++i) samples[i] = line[i / 8] >> (7 - i % 8) & 1 ? 0 : 255;
        break;
      default:
        ReadPlainLine(samples, count);
    }
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const samples = LineBytes(size, kind);
    if (header.stored == Stored::byte && level.empty()) {
      ReadPixels(file, lines, samples * static_cast<size_t>(count), size, y);
      y += count;
      return;
    }
    for (int i = 0; i < count; ++i, ++y, lines += samples) ReadLine(lines, samples);
  }
};

struct PnmWriter : PictureWriter {
  OutputFile& file;
  PicturePlan plan;
  std::unique_ptr<unsigned char[]> line;  // where its pixels differ from those that come

  PnmWriter(OutputFile& to, PicturePlan const& thePlan) : file(to), plan(thePlan) {
    bool const colour = !IsGray(plan.kind) || plan.grayAsColour;
    std::string const header =
        (colour ? "P6\n" : "P5\n") + std::to_string(plan.size.cx) + " " + std::to_string(plan.size.cy) + "\n255\n";
    file.Write(header.data(), header.size());
    if (colour && plan.kind != PixelKind::rgb) line = Bytes(LineBytes(plan.size, PixelKind::rgb));
  }

  void WriteLines(unsigned char const* lines, int count) override {
    if (!line) return file.Write(lines, LineBytes(plan.size, plan.kind) * static_cast<size_t>(count));
    size_t const pixelBytes = static_cast<size_t>(BytesPerPixel(plan.kind));
    size_t const cx = static_cast<size_t>(plan.size.cx);
    for (int i = 0; i < count; ++i, lines += cx * pixelBytes) {
      for (size_t x = 0; x < cx; ++x) {
        for (size_t channel = 0; channel < 3; ++channel) {
          line[3 * x + channel] = lines[x * pixelBytes + (IsGray(plan.kind) ? 0 : channel)];
        }
      }
      file.Write(line.get(), 3 * cx);
    }
  }
};

}  // namespace

bool MorePicturesFollow(InputFile& file) {
  std::string_view const start = file.Peek(3);
  return start.size() == 3 && start[0] == 'P' && start[1] >= '4' && start[1] <= '7' &&
         (std::isspace(static_cast<unsigned char>(start[2])) || start[2] == '#');
}

std::unique_ptr<PictureReader> OpenPnm(InputFile& file, int64_t maxPixels) {
  return std::make_unique<PnmReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreatePnm(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<PnmWriter>(file, plan);
}

}  // namespace tool
