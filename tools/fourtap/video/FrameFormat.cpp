#include "fourtap/video/FrameFormat.h"

#include <algorithm>
#include <vector>

#include "fourtap/Failure.h"

namespace tool {

namespace {

FrameFormat const mono{.layout = FourTapLayoutPlane, .bytesPerPixel = 1};
FrameFormat const rgb24{.layout = FourTapLayoutRGB24, .bytesPerPixel = 3};
FrameFormat const rgb32{.layout = FourTapLayoutRGB32, .bytesPerPixel = 4};
FrameFormat const rgb32ChannelsLast{.layout = FourTapLayoutRGB32, .bytesPerPixel = 4, .firstChannel = 1};
FrameFormat const xyxy{.layout = FourTapLayoutXYXY, .bytesPerPixel = 2, .cxMultiple = 2};
FrameFormat const yxyx{.layout = FourTapLayoutYXYX, .bytesPerPixel = 2, .cxMultiple = 2};

constexpr FrameFormat Planar(int cxPerChroma, int cyPerChroma) {
  return {.layout = FourTapLayoutPlane,
          .bytesPerPixel = 1,
          .planes = 3,
          .cxPerChroma = cxPerChroma,
          .cyPerChroma = cyPerChroma};
}
FrameFormat const planar420 = Planar(2, 2);
FrameFormat const planar411 = Planar(4, 1);
FrameFormat const planar422 = Planar(2, 1);
FrameFormat const planar444 = Planar(1, 1);

struct NamedFormat {
  std::vector<std::string_view> names;
  FrameFormat const& format;
};

// GStreamer's, FFmpeg's and V4L2's names among them.
std::vector<NamedFormat> const rawFormats = {
    {{"plane", "gray", "gray8", "grey", "y800"}, mono},
    {{"rgb24", "bgr24", "rgb", "bgr", "rgb3", "bgr3"}, rgb24},
    {{"rgb32", "rgb0", "bgr0", "rgbx", "bgrx", "xr24", "xb24", "bgr4"}, rgb32},
    {{"xrgb", "xbgr", "0rgb", "0bgr", "rx24", "bx24", "rgb4"}, rgb32ChannelsLast},
    {{"xyxy", "uyvy", "uyvy422", "vyuy", "2vuy", "hdyc"}, xyxy},
    {{"yxyx", "yuyv", "yuyv422", "yuy2", "yunv", "v422", "yvyu", "yvyu422"}, yxyx},
    {{"yuv420p", "yuvj420p", "i420", "yu12", "yv12"}, planar420},
    {{"yuv411p", "y41b", "411p"}, planar411},
    {{"yuv422p", "yuvj422p", "y42b", "422p"}, planar422},
    {{"yuv444p", "yuvj444p", "y444"}, planar444},
};

std::vector<NamedFormat> const y4mFormats = {
    {{"mono"}, mono},     {{"420", "420jpeg", "420mpeg2", "420paldv"}, planar420},
    {{"411"}, planar411}, {{"422"}, planar422},
    {{"444"}, planar444},
};

FrameFormat const* Find(std::vector<NamedFormat> const& formats, std::string_view name) {
  for (NamedFormat const& known : formats) {
    if (std::find(known.names.begin(), known.names.end(), name) != known.names.end()) return &known.format;
  }
  return nullptr;
}

}  // namespace

PictureSize PlaneSize(FrameFormat const& format, int plane, PictureSize frame) {
  if (plane == 0) return frame;
  auto const rounded = [](int n, int divisor) { return n / divisor + (n % divisor != 0); };
  return {rounded(frame.cx, format.cxPerChroma), rounded(frame.cy, format.cyPerChroma)};
}

int64_t PlaneBytes(FrameFormat const& format, int plane, PictureSize frame) {
  auto const [cx, cy] = PlaneSize(format, plane, frame);
  return int64_t{cx} * cy * format.bytesPerPixel;
}

int64_t FrameBytes(FrameFormat const& format, PictureSize frame) {
  int64_t bytes = 0;
  for (int plane = 0; plane < format.planes; ++plane) bytes += PlaneBytes(format, plane, frame);
  return bytes;
}

FrameFormat const* RawFormat(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return Find(rawFormats, lower);
}

std::string RawFormatNames() {
  std::vector<std::string_view> names;
  for (NamedFormat const& known : rawFormats) names.push_back(known.names.front());
  return Alternatives(names);
}

FrameFormat const* Y4MFormat(std::string_view chroma) { return Find(y4mFormats, chroma); }

std::string Y4MFormatNames() {
  std::vector<std::string_view> names;
  for (NamedFormat const& known : y4mFormats) names.insert(names.end(), known.names.begin(), known.names.end());
  return Alternatives(names);
}

}  // namespace tool
