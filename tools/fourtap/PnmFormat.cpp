// PNM: binary PGM and PPM, of 8 and 16 bits per sample.
#include <algorithm>
#include <cctype>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"

namespace tool {

namespace {

[[noreturn]] void Fail(InputFile const& file, std::string const& fault) {
  throw Failure{badInput, file.name + ": " + fault};
}

// A pipe may have comments without end.
int const longestHeader = 1 << 16;

// What stands before the pixels.
struct Header {
  InputFile& file;
  int bytesLeft = longestHeader;

  int NextByte() {
    if (bytesLeft-- == 0) {
      Fail(file, "has a header without end, expected one of at most " + std::to_string(longestHeader) + " bytes");
    }
    unsigned char c;
    return file.Read(&c, 1) == 1 ? c : -1;
  }

  // The next byte, a comment with the end of its line being one space; -1 at the end of the file.
  int Next() {
    int c = NextByte();
    if (c != '#') return c;
    while (c >= 0 && c != '\n') c = NextByte();
    return c;
  }

  int ReadNumber(char const* what) {
    int c = Next();
    while (std::isspace(c)) c = Next();
    int64_t number = 0;
    bool any = false;
    for (; std::isdigit(c) && number <= INT32_MAX; c = Next()) {
      number = number * 10 + (c - '0');
      any = true;
    }
    // One space ends the last number; the pixels follow it.
    if (!any || number > INT32_MAX || !std::isspace(c)) {
      Fail(file, std::string("has no ") + what + " in its header, expected a number up to 2147483647");
    }
    return static_cast<int>(number);
  }
};

struct PnmReader : PictureReader {
  InputFile& file;
  int y = 0;
  int bytesPerSample;
  std::vector<unsigned char> level;       // of each stored sample value; empty where that is the level
  std::unique_ptr<unsigned char[]> line;  // as stored, where samples have two bytes

  PnmReader(InputFile& from, int64_t maxPixels) : file(from) {
    char type[2];
    file.Read(type, 2);
    if (type[1] != '5' && type[1] != '6') {
      char const* const name = type[1] == '1' || type[1] == '4'   ? "PBM, black and white"
                               : type[1] == '2' || type[1] == '3' ? "PNM in plain text"
                               : type[1] == '7'                   ? "PAM"
                                                                  : "PFM";
      Fail(file, std::string("is ") + name + ", expected binary PGM or PPM, that is P5 or P6");
    }
    kind = type[1] == '5' ? PixelKind::gray : PixelKind::rgb;
    Header header{file};
    size.cx = header.ReadNumber("width");
    size.cy = header.ReadNumber("height");
    CheckClaimedSize(file.name, size.cx, size.cy, maxPixels);
    int const max = header.ReadNumber("maximum");
    if (max < 1 || max > 65535) Fail(file, "has maximum " + std::to_string(max) + ", expected 1 to 65535");
    bytesPerSample = max > 255 ? 2 : 1;
    if (bytesPerSample == 2) line = Bytes(2 * LineBytes(size, kind));
    if (max == 255) return;
    (max > 255 ? warnings : remarks).push_back("samples from 0 to " + std::to_string(max) + " are brought to 0 to 255");
    level.resize(bytesPerSample == 2 ? 65536 : 256, 255);
    for (int value = 0; value < max; ++value) {
      level[static_cast<size_t>(value)] = static_cast<unsigned char>((value * 255 + max / 2) / max);
    }
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const samples = LineBytes(size, kind);
    if (bytesPerSample == 1) {
      size_t const bytes = samples * static_cast<size_t>(count);
      ReadPixels(file, lines, bytes, size, y);
      if (!level.empty()) std::transform(lines, lines + bytes, lines, [this](unsigned char v) { return level[v]; });
    } else {
      for (int i = 0; i < count; ++i, lines += samples) {
        ReadPixels(file, line.get(), 2 * samples, size, y + i);
        for (size_t x = 0; x < samples; ++x) {
          lines[x] = level[static_cast<size_t>(line[2 * x]) * 256 + line[2 * x + 1]];
        }
      }
    }
    y += count;
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
  return start.size() == 3 && start[0] == 'P' && (start[1] == '5' || start[1] == '6') &&
         (std::isspace(static_cast<unsigned char>(start[2])) || start[2] == '#');
}

std::unique_ptr<PictureReader> OpenPnm(InputFile& file, int64_t maxPixels) {
  return std::make_unique<PnmReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreatePnm(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<PnmWriter>(file, plan);
}

}  // namespace tool
