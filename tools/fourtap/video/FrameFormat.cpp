#include "fourtap/video/FrameFormat.h"

#include <algorithm>
#include <cctype>
#include <span>
#include <string_view>
#include <vector>

#include "fourtap/Failure.h"
#include "variants/Variants.h"

namespace tool {

namespace {

struct PixelTraits {
  int bytes;
  int sharing;  // that have samples in common
};
#define TRAITS_OF(with, name, bitsPerPixel, pixelsPerUnit) {(bitsPerPixel) / 8, pixelsPerUnit},
constexpr PixelTraits pixels[] = {FOURTAP_LAYOUTS(TRAITS_OF, )};
#undef TRAITS_OF

// The library's scalers know RGB32 with its channels first. These have them last, and are scaled from the second byte
// on.
constexpr fourtap_format channelsLast{"xrgb xbgr 0rgb 0bgr rx24 bx24 rgb4", 1, {{FOURTAP_RGB32, 1, 1}}};

struct Y4MName {
  std::string_view chroma;
  char const* format;
};
constexpr Y4MName y4mNames[] = {
    {"mono", "gray"},     {"420jpeg", "i420"}, {"420", "i420"}, {"420mpeg2", "i420"},
    {"420paldv", "i420"}, {"411", "i411"},     {"422", "i422"}, {"444", "i444"},
};

// What the bytes of a pixel, or of two that share their chroma, are, plane by plane; x is anything.
struct SampleOrder {
  std::string_view names;
  std::string_view samples;
};
constexpr SampleOrder sampleOrders[] = {
    {"gray plane gray8 grey y800 mono", "Y"},
    {"rgb24 rgb rgb3", "RGB"},
    {"bgr24 bgr bgr3", "BGR"},
    {"rgb32 rgb0 rgbx xb24", "RGBx"},
    {"bgr0 bgrx xr24 bgr4", "BGRx"},
    {"xrgb 0rgb bx24 rgb4", "xRGB"},
    {"xbgr 0bgr rx24", "xBGR"},
    {"rgba32 rgba ab24", "RGBA"},
    {"bgra ar24", "BGRA"},
    {"argb ba24", "ARGB"},
    {"abgr ra24", "ABGR"},
    {"uyvy xyxy uyvy422 2vuy hdyc", "UYVY"},
    {"vyuy", "VYUY"},
    {"yuyv yxyx yuyv422 yuy2 yunv v422", "YUYV"},
    {"yvyu yvyu422", "YVYU"},
    {"ya8 gray8a uv16", "YA"},
    {"yv12", "Y V U"},
    {"i420 yuv420p yuvj420p yu12 i411 yuv411p y41b 411p i422 yuv422p yuvj422p y42b 422p i444 yuv444p yuvj444p y444",
     "Y U V"},
    {"gbrp gbr", "G B R"},
    {"yuva444p", "Y U V A"},
    {"gbrap", "G B R A"},
    {"nv12 nv16 nv24", "Y UV"},
    {"nv21 nv61 nv42", "Y VU"},
};

std::vector<std::string_view> Words(std::string_view left) {
  std::vector<std::string_view> names;
  for (size_t blank; (blank = left.find(' ')) != left.npos; left.remove_prefix(blank + 1)) {
    names.push_back(left.substr(0, blank));
  }
  names.push_back(left);
  return names;
}

std::vector<std::string_view> NamesOf(fourtap_format const& format) { return Words(format.names); }

bool Has(std::string_view words, std::string_view word) {
  auto const all = Words(words);
  return std::find(all.begin(), all.end(), word) != all.end();
}

// n / d, rounded to nearest; d is positive.
int64_t Rounded(int64_t n, int64_t d) { return (2 * n + (n < 0 ? -d : d)) / (2 * d); }

// A sample of a colour, by its letter. Luma and chroma are BT.709's from 720 lines on, and BT.601's below.
unsigned char Sample(char letter, std::array<unsigned char, 3> const& colour, bool isOpaque, bool isRanged,
                     bool isLarge) {
  int64_t const whole = 10000, red = isLarge ? 2126 : 2990, blue = isLarge ? 722 : 1140;
  auto const [r, g, b] = colour;
  int64_t const luma = red * r + (whole - red - blue) * g + blue * b;
  auto const chroma = [&](int64_t one, int64_t weight) {
    int64_t const n = (one * whole - luma) * (isRanged ? 224 : 255), d = 2 * (whole - weight) * 255;
    return static_cast<unsigned char>(std::min<int64_t>(128 + Rounded(n, d), 255));
  };
  switch (letter) {
    case 'R':
      return r;
    case 'G':
      return g;
    case 'B':
      return b;
    case 'Y':
      return static_cast<unsigned char>(isRanged ? 16 + Rounded(219 * luma, 255 * whole) : Rounded(luma, whole));
    case 'U':
      return chroma(b, blue);
    case 'V':
      return chroma(r, red);
    case 'A':
      return isOpaque ? 255 : 0;
    default:
      return 0;
  }
}

std::span<fourtap_plane const> Planes(fourtap_format const& format) {
  return {format.planes, static_cast<size_t>(format.plane_count)};
}

}  // namespace

int BytesPerPixel(int layout) { return pixels[layout].bytes; }

int FirstChannel(fourtap_format const& format) { return &format == &channelsLast ? 1 : 0; }

int CxMultiple(fourtap_format const& format) {
  int multiple = 1;
  for (fourtap_plane const& plane : Planes(format)) multiple = std::max(multiple, pixels[plane.layout].sharing);
  return multiple;
}

PictureSize SharingPixels(fourtap_format const& format) {
  PictureSize sharing{1, 1};
  for (fourtap_plane const& plane : Planes(format)) {
    sharing = {std::max(sharing.cx, plane.columns * pixels[plane.layout].sharing), std::max(sharing.cy, plane.lines)};
  }
  return sharing;
}

PictureSize PlaneSize(fourtap_format const& format, int plane, PictureSize frame) {
  PictureSize size{};
  fourtap_plane_size(&format, plane, frame.cx, frame.cy, &size.cx, &size.cy);
  return size;
}

int64_t PlaneBytes(fourtap_format const& format, int plane, PictureSize frame) {
  auto const [cx, cy] = PlaneSize(format, plane, frame);
  return int64_t{cx} * cy * BytesPerPixel(format.planes[plane].layout);
}

int64_t FrameBytes(fourtap_format const& format, PictureSize frame) {
  int64_t bytes = 0;
  for (int plane = 0; plane < format.plane_count; ++plane) bytes += PlaneBytes(format, plane, frame);
  return bytes;
}

int64_t LongestLineBytes(fourtap_format const& format, PictureSize frame) {
  int64_t longest = 0;
  for (int plane = 0; plane < format.plane_count; ++plane) {
    longest = std::max(longest, PlaneBytes(format, plane, {frame.cx, 1}));
  }
  return longest;
}

std::string Lower(std::string name) {
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

fourtap_format const* RawFormat(std::string const& name) {
  if (fourtap_format const* const format = fourtap_format_named(name.c_str())) return format;
  return Has(channelsLast.names, Lower(name)) ? &channelsLast : nullptr;
}

std::string RawFormatNames() {
  std::vector<std::string_view> names;
  for (int number = 0; fourtap_format const* const format = fourtap_format_at(number); ++number) {
    names.push_back(NamesOf(*format).front());
  }
  names.push_back(NamesOf(channelsLast).front());
  return Alternatives(names);
}

void FillFrame(std::string const& name, bool isRanged, std::optional<std::array<unsigned char, 3>> const& colour,
               PictureSize frame, unsigned char* dst) {
  auto const order = std::ranges::find_if(
      sampleOrders, [lower = Lower(name)](SampleOrder const& known) { return Has(known.names, lower); });
  fourtap_format const& format = *RawFormat(name);
  bool const isLarge = frame.cy >= 720;
  int plane = 0;
  for (std::string_view const letters : Words(order->samples)) {
    std::vector<unsigned char> samples;
    for (char const letter : letters) {
      samples.push_back(
          Sample(letter, colour.value_or(std::array<unsigned char, 3>{}), colour.has_value(), isRanged, isLarge));
    }
    int64_t const bytes = PlaneBytes(format, plane++, frame);
    for (int64_t at = 0; at < bytes; ++at) *dst++ = samples[static_cast<size_t>(at) % samples.size()];
  }
}

bool IsRanged(std::string const& name) {
  std::string const lower = Lower(name);
  return !lower.starts_with("yuvj") && RawFormat(lower) != RawFormat("gray") && RawFormat(lower) != RawFormat("ya8");
}

fourtap_format const* Y4MFormat(std::string const& chroma) {
  for (Y4MName const& known : y4mNames) {
    if (known.chroma == chroma) return fourtap_format_named(known.format);
  }
  return nullptr;
}

std::string Y4MRawName(std::string const& chroma) { return std::string(NamesOf(*Y4MFormat(chroma)).front()); }

std::optional<std::string> Y4MChroma(std::string const& rawName) {
  if (Lower(rawName) == "yv12") return std::nullopt;  // its chroma planes change places
  fourtap_format const* const format = RawFormat(rawName);
  for (Y4MName const& known : y4mNames) {
    if (fourtap_format_named(known.format) == format) return std::string(known.chroma);
  }
  return std::nullopt;
}

std::string Y4MFormatNames() {
  std::vector<std::string_view> names;
  for (Y4MName const& known : y4mNames) names.push_back(known.chroma);
  return Alternatives(names);
}

}  // namespace tool
