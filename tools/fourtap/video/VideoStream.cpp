#include "fourtap/video/VideoStream.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "fourtap/Failure.h"
#include "fourtap/video/Video.h"

namespace tool {

namespace {

// Up to the next line end, which is included; nothing at the end of the input.
std::optional<std::string> ReadHeaderLine(InputFile& input, std::string const& what) {
  auto const fail = [&](std::string const& fault) -> Failure { return {badInput, input.name + ": " + what + fault}; };
  for (size_t count = 1; count <= longestHeader; ++count) {
    std::string_view const line = input.Peek(count);
    if (line.size() < count) {
      if (line.empty()) return std::nullopt;
      throw fail(" is cut short in its header line");
    }
    if (line.back() != '\n') continue;
    std::string header(line);
    input.Read(header.data(), count);
    return header;
  }
  throw fail(" has no header line, expected one of at most " + std::to_string(longestHeader) + " bytes");
}

std::vector<std::string> Words(std::string_view line) {
  std::vector<std::string> words;
  for (size_t first = 0; (first = line.find_first_not_of(" \n", first)) != line.npos;) {
    size_t const end = line.find_first_of(" \n", first);
    words.emplace_back(line.substr(first, end - first));
    first = end;
  }
  return words;
}

// Such as 420p10 and mono16.
bool HasDeepSamples(std::string_view chroma) {
  size_t const digits = chroma.find_last_not_of("0123456789") + 1;
  return digits > 3 && digits < chroma.size() && (chroma[digits - 1] == 'p' || chroma.substr(0, digits) == "mono");
}

void CheckInterlacing(std::string const& name, std::string const& parameter) {
  if (parameter == "Ip" || parameter == "I?") return;
  throw Failure{badInput, name + ": is interlaced (" + parameter + "), expected progressive video (Ip)"};
}

fourtap_format const& CheckedY4MFormat(std::string const& name, std::string const& chroma) {
  if (fourtap_format const* const format = Y4MFormat(chroma)) return *format;
  std::string const fault = HasDeepSamples(chroma) ? ", more than 8 bits per sample" : "";
  throw Failure{badInput, name + ": has frames of type \"" + chroma + "\"" + fault + "; expected " + Y4MFormatNames()};
}

VideoStream OpenY4M(InputFile& input) {
  auto const header = ReadHeaderLine(input, "the stream");
  std::vector<std::string> words = header ? Words(*header) : std::vector<std::string>();
  if (words.empty() || words[0] != y4mSignature) {
    throw Failure{badInput, input.name + ": is no Y4M video, expected one that begins with " + y4mSignature};
  }
  words.erase(words.begin());

  std::optional<int> cx, cy;
  std::string chroma = "420";
  bool isRanged = true;
  for (std::string const& parameter : words) {
    std::string const value = parameter.substr(1);
    if (parameter[0] == 'W') cx = ParseCount(value);
    if (parameter[0] == 'H') cy = ParseCount(value);
    if (parameter[0] == 'C') chroma = value;
    if (parameter == "XCOLORRANGE=FULL") isRanged = false;
    if (parameter[0] == 'I') CheckInterlacing(input.name, parameter);
  }
  if (!cx || !cy) {
    throw Failure{badInput, input.name + ": doesn't tell its frames' size, expected numbers after W and H"};
  }
  fourtap_format const& format = CheckedY4MFormat(input.name, chroma);
  return {.isY4M = true,
          .format = &format,
          .formatName = chroma,
          .rawName = Y4MRawName(chroma),
          .isRanged = isRanged,
          .size = {*cx, *cy},
          .parameters = words,
          .headerBytes = std::ssize(*header)};
}

VideoStream OpenRaw(std::string const& raw) {
  auto const fail = [&raw](std::string const& expected) -> Failure {
    return {badUsage, "--raw: \"" + raw + "\" given, expected " + expected};
  };
  size_t const colon = raw.find(':');
  if (colon == raw.npos) throw fail("a layout and a size, such as nv12:1920x1080");
  std::string const name = raw.substr(0, colon);
  fourtap_format const* const format = RawFormat(name);
  if (!format) throw fail("one of the layouts " + RawFormatNames());
  auto const size = ParsePlainSize(std::string_view(raw).substr(colon + 1));
  if (!size) throw fail("a size such as 1920x1080 after the colon");
  if (size->cx % CxMultiple(*format) != 0) throw fail("an even width: two pixels of this layout share their chroma");
  return {
      .isY4M = false, .format = format, .formatName = name, .rawName = name, .isRanged = IsRanged(name), .size = *size};
}

}  // namespace

VideoStream OpenVideo(Options const& options, InputFile& input) {
  return options.raw.empty() ? OpenY4M(input) : OpenRaw(options.raw);
}

bool BecomesY4M(Options const& options, VideoStream const& stream, std::string const& outputName) {
  auto const fail = [&](std::string const& fault) -> Failure { return {badUsage, fault}; };
  std::string const format = Lower(options.format);
  if (!format.empty() && format != "y4m" && format != "raw") {
    throw fail("--format: \"" + options.format + "\" given for a video, expected y4m or raw");
  }
  size_t const point = outputName.rfind('.');
  std::string const suffix = point == outputName.npos ? "" : Lower(outputName.substr(point + 1));
  bool const isStdout = outputName == "-";
  bool const becomesY4M = format.empty() ? (isStdout ? stream.isY4M : suffix == "y4m") : format == "y4m";
  if (format.empty() && !isStdout && !becomesY4M) {
    bool const isRawName = suffix == "raw" || suffix == "yuv" || suffix == "rgb" || RawFormat(suffix);
    if (stream.isY4M || !isRawName) {
      throw fail(outputName + ": is no name for " + (stream.isY4M ? "Y4M video" : "raw frames") +
                 ", expected one that ends in .y4m" +
                 (stream.isY4M ? "" : ", .raw, .yuv, .rgb or a layout such as .nv12") + ", or -, or --format raw");
    }
  }
  if (becomesY4M && !stream.isY4M && !Y4MChroma(stream.formatName)) {
    throw fail(outputName + ": Y4M has no name for " + stream.formatName +
               " frames, expected gray, i420, i411, i422 or i444");
  }
  return becomesY4M;
}

namespace {

// A pixel's proportions, such that the picture keeps its own; as they are where those have changed by rounding only.
std::string PixelAspect(std::string const& aspect, PictureSize in, PictureSize scaled) {
  using Wide = unsigned __int128;
  size_t const colon = aspect.find(':');
  auto const across = ParseCount(std::string_view(aspect).substr(0, colon));
  auto const down = colon == aspect.npos ? std::nullopt : ParseCount(std::string_view(aspect).substr(colon + 1));
  if (!across || !down) return aspect;
  int64_t const off = std::abs(int64_t{scaled.cx} * in.cy - int64_t{scaled.cy} * in.cx);
  if (off < 2 * int64_t{in.cx} || off < 2 * int64_t{in.cy}) return aspect;
  Wide const n = Wide(*across) * Wide(in.cx) * Wide(scaled.cy), d = Wide(*down) * Wide(in.cy) * Wide(scaled.cx);
  Wide a = n, b = d;
  while (b != 0) a = std::exchange(b, a % b);
  if (n / a > INT_MAX || d / a > INT_MAX) return "0:0";
  return std::to_string(static_cast<int>(n / a)) + ':' + std::to_string(static_cast<int>(d / a));
}

}  // namespace

std::string StreamHeader(VideoStream const& stream, PictureSize scaled, PictureSize size) {
  std::vector<std::string> parameters = stream.parameters;
  if (!stream.isY4M) {
    // What raw frames don't say.
    parameters = {"W", "H", "F25:1", "Ip", "A0:0", Y4MChroma(stream.formatName).value().insert(0, 1, 'C')};
  }
  std::string header = y4mSignature;
  for (std::string const& parameter : parameters) {
    header += ' ';
    if (parameter[0] == 'W') {
      header += 'W' + std::to_string(size.cx);
    } else if (parameter[0] == 'H') {
      header += 'H' + std::to_string(size.cy);
    } else if (parameter[0] == 'A') {
      header += 'A';
      header += PixelAspect(parameter.substr(1), stream.size, scaled);
    } else {
      header += parameter;
    }
  }
  return header + '\n';
}

std::optional<std::string> ReadFrame(VideoStream const& stream, InputFile& input, int64_t frameNumber,
                                     unsigned char* frame, size_t bytes) {
  auto const what = [frameNumber] { return "frame " + std::to_string(frameNumber); };
  std::string header;
  if (stream.isY4M) {
    auto const line = ReadHeaderLine(input, what());
    if (!line) return std::nullopt;
    header = *line;
    if (header.substr(0, 5) != "FRAME" || (header[5] != ' ' && header[5] != '\n')) {
      throw Failure{badInput, input.name + ": " + what() + " begins with \"" +
                                  header.substr(0, std::min<size_t>(header.find_first_of(" \n"), 16)) +
                                  "\", expected FRAME"};
    }
  }
  size_t const count = input.Read(frame, bytes);
  if (count == 0 && !stream.isY4M) return std::nullopt;
  if (count < bytes) {
    throw Failure{badInput, input.name + ": " + what() + " is cut short: " + std::to_string(bytes - count) +
                                " of its " + std::to_string(bytes) + " bytes are missing"};
  }
  return header;
}

}  // namespace tool
