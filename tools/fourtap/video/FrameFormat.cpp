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

std::vector<std::string_view> NamesOf(fourtap_format const& format) {
  std::vector<std::string_view> names;
  std::string_view left = format.names;
  for (size_t blank; (blank = left.find(' ')) != left.npos; left.remove_prefix(blank + 1)) {
    names.push_back(left.substr(0, blank));
  }
  names.push_back(left);
  return names;
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
  auto const names = NamesOf(channelsLast);
  return std::find(names.begin(), names.end(), Lower(name)) == names.end() ? nullptr : &channelsLast;
}

std::string RawFormatNames() {
  std::vector<std::string_view> names;
  for (int number = 0; fourtap_format const* const format = fourtap_format_at(number); ++number) {
    names.push_back(NamesOf(*format).front());
  }
  names.push_back(NamesOf(channelsLast).front());
  return Alternatives(names);
}

fourtap_format const* Y4MFormat(std::string const& chroma) {
  for (Y4MName const& known : y4mNames) {
    if (known.chroma == chroma) return fourtap_format_named(known.format);
  }
  return nullptr;
}

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
