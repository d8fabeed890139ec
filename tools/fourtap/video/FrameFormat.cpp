#include "fourtap/video/FrameFormat.h"

#include <algorithm>

namespace tool {

namespace {

FrameFormat const mono{&FourTapScalePlane, 1};
FrameFormat const rgb24{&FourTapScaleRGB24, 3};
FrameFormat const rgb32{&FourTapScaleRGB32, 4};
FrameFormat const rgb32ChannelsLast{&FourTapScaleRGB32, 4, 1, 1};
FrameFormat const xyxy{&FourTapScaleXYXY, 2, 2};
FrameFormat const yxyx{&FourTapScaleYXYX, 2, 2};
FrameFormat const planar420{&FourTapScalePlane, 1, 1, 0, 3, 2, 2};
FrameFormat const planar411{&FourTapScalePlane, 1, 1, 0, 3, 4, 1};
FrameFormat const planar422{&FourTapScalePlane, 1, 1, 0, 3, 2, 1};
FrameFormat const planar444{&FourTapScalePlane, 1, 1, 0, 3, 1, 1};

struct Names {
  std::string_view names;  // one blank between two
  FrameFormat const& format;
};

// GStreamer's, FFmpeg's and V4L2's names among them.
Names const rawNames[] = {
    {"plane gray gray8 grey y800", mono},
    {"rgb24 bgr24 rgb bgr rgb3 bgr3", rgb24},
    {"rgb32 rgb0 bgr0 rgbx bgrx xr24 xb24 bgr4", rgb32},
    {"xrgb xbgr 0rgb 0bgr rx24 bx24 rgb4", rgb32ChannelsLast},
    {"xyxy uyvy uyvy422 vyuy 2vuy hdyc", xyxy},
    {"yxyx yuyv yuyv422 yuy2 yunv v422 yvyu yvyu422", yxyx},
    {"yuv420p yuvj420p i420 yu12 yv12", planar420},
    {"yuv411p y41b 411p", planar411},
    {"yuv422p yuvj422p y42b 422p", planar422},
    {"yuv444p yuvj444p y444", planar444},
};

Names const y4mNames[] = {
    {"mono", mono},     {"420 420jpeg 420mpeg2 420paldv", planar420}, {"411", planar411}, {"422", planar422},
    {"444", planar444},
};

bool Has(std::string_view names, std::string_view name) {
  while (!names.empty()) {
    size_t const end = std::min(names.find(' '), names.size());
    if (names.substr(0, end) == name) return true;
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return false;
}

template <size_t count>
FrameFormat const* Find(Names const (&table)[count], std::string_view name) {
  for (Names const& row : table) {
    if (Has(row.names, name)) return &row.format;
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
  return Find(rawNames, lower);
}

std::string RawFormatNames() {
  std::string list;
  for (Names const& row : rawNames) {
    if (!list.empty()) list += &row == std::end(rawNames) - 1 ? " or " : ", ";
    list += row.names.substr(0, row.names.find(' '));
  }
  return list;
}

FrameFormat const* Y4MFormat(std::string_view chroma) { return Find(y4mNames, chroma); }

}  // namespace tool
