#include "Formats.h"

#include <algorithm>

namespace gstfourtap {

namespace {

// The fourth byte of RGBx and its like is filtered like the colours: one that is the same everywhere, such as 255,
// stays so, wherever in the pixel it lies and whichever direction is scaled.
constexpr Format formats[] = {
    {GST_VIDEO_FORMAT_I420, "i420", 0, false},
    {GST_VIDEO_FORMAT_YV12, "i420", 0, false},
    {GST_VIDEO_FORMAT_NV12, "nv12", 0, false},
    {GST_VIDEO_FORMAT_NV21, "nv12", 0, false},
    {GST_VIDEO_FORMAT_UYVY, "uyvy", 0, true},
    {GST_VIDEO_FORMAT_VYUY, "uyvy", 0, true},
    {GST_VIDEO_FORMAT_YUY2, "yuyv", 0, true},
    {GST_VIDEO_FORMAT_YVYU, "yuyv", 0, true},
    {GST_VIDEO_FORMAT_Y42B, "i422", 0, false},
    {GST_VIDEO_FORMAT_NV16, "nv16", 0, false},
    {GST_VIDEO_FORMAT_NV61, "nv16", 0, false},
    {GST_VIDEO_FORMAT_Y444, "i444", 0, false},
    {GST_VIDEO_FORMAT_NV24, "nv24", 0, false},
    {GST_VIDEO_FORMAT_Y41B, "i411", 0, false},
    {GST_VIDEO_FORMAT_GRAY8, "gray", 0, false},
    {GST_VIDEO_FORMAT_RGB, "rgb24", 0, false},
    {GST_VIDEO_FORMAT_BGR, "rgb24", 0, false},
    {GST_VIDEO_FORMAT_RGBx, "rgba32", 0, false},
    {GST_VIDEO_FORMAT_BGRx, "rgba32", 0, false},
    {GST_VIDEO_FORMAT_xRGB, "rgba32", 0, false},
    {GST_VIDEO_FORMAT_xBGR, "rgba32", 0, false},
    {GST_VIDEO_FORMAT_RGBA, "rgba32", FOURTAP_RGB_ALPHA, false},
    {GST_VIDEO_FORMAT_BGRA, "rgba32", FOURTAP_RGB_ALPHA, false},
    {GST_VIDEO_FORMAT_ARGB, "rgba32", FOURTAP_ALPHA_RGB, false},
    {GST_VIDEO_FORMAT_ABGR, "rgba32", FOURTAP_ALPHA_RGB, false},
    {GST_VIDEO_FORMAT_GBR, "gbrp", 0, false},
};

}  // namespace

std::span<Format const> Formats() { return formats; }

Format const* FormatOf(GstVideoFormat format) {
  auto const found = std::ranges::find(formats, format, &Format::format);
  return found == std::end(formats) ? nullptr : found;
}

}  // namespace gstfourtap
