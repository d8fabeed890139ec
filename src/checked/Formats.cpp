// Formats of whole frames, as others name them.
#include <fourtapscale/fourtap.h>

#include <iterator>
#include <string_view>

#include "checked/Refusal.h"

namespace {

constexpr fourtap_plane whole{FOURTAP_PLANE, 1, 1};
constexpr fourtap_plane halfWidth{FOURTAP_PLANE, 2, 1}, halfBoth{FOURTAP_PLANE, 2, 2},
    quarterWidth{FOURTAP_PLANE, 4, 1};
constexpr fourtap_plane pairsHalfWidth{FOURTAP_UV16, 2, 1}, pairsHalfBoth{FOURTAP_UV16, 2, 2},
    pairsWhole{FOURTAP_UV16, 1, 1};

// Names of GStreamer, FFmpeg and V4L2 among them. Which chroma comes first does not matter to a scaler.
constexpr fourtap_format formats[] = {
    {"gray plane gray8 grey y800 mono", 1, {whole}},
    {"rgb24 bgr24 rgb bgr rgb3 bgr3", 1, {{FOURTAP_RGB24, 1, 1}}},
    {"rgb32 rgb0 bgr0 rgbx bgrx xr24 xb24 bgr4", 1, {{FOURTAP_RGB32, 1, 1}}},
    {"rgba32 rgba bgra argb abgr ra24 ba24 ar24 ab24", 1, {{FOURTAP_RGBA32, 1, 1}}},
    {"uyvy xyxy uyvy422 vyuy 2vuy hdyc", 1, {{FOURTAP_XYXY, 1, 1}}},
    {"yuyv yxyx yuyv422 yuy2 yunv v422 yvyu yvyu422", 1, {{FOURTAP_YXYX, 1, 1}}},
    {"ya8 gray8a uv16", 1, {{FOURTAP_UV16, 1, 1}}},
    {"i420 yuv420p yuvj420p yu12 yv12", 3, {whole, halfBoth, halfBoth}},
    {"i411 yuv411p y41b 411p", 3, {whole, quarterWidth, quarterWidth}},
    {"i422 yuv422p yuvj422p y42b 422p", 3, {whole, halfWidth, halfWidth}},
    {"i444 yuv444p yuvj444p y444", 3, {whole, whole, whole}},
    {"gbrp gbr", 3, {whole, whole, whole}},
    {"yuva444p gbrap", 4, {whole, whole, whole, whole}},
    {"nv12 nv21", 2, {whole, pairsHalfBoth}},
    {"nv16 nv61", 2, {whole, pairsHalfWidth}},
    {"nv24 nv42", 2, {whole, pairsWhole}},
};

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool Same(std::string_view known, char const* name) {
  for (char const c : known) {
    if (Lower(*name++) != c) return false;
  }
  return *name == '\0';
}

bool Has(std::string_view names, char const* name) {
  while (!names.empty()) {
    size_t const end = names.find(' ');
    if (Same(names.substr(0, end), name)) return true;
    if (end == names.npos) return false;
    names.remove_prefix(end + 1);
  }
  return false;
}

int Divided(int n, int divisor) { return n / divisor + (n % divisor != 0); }

}  // namespace

fourtap_format const* fourtap_format_at(int number) {
  return number < 0 || number >= static_cast<int>(std::size(formats)) ? nullptr : &formats[number];
}

fourtap_format const* fourtap_format_named(char const* name) {
  if (!name) return nullptr;
  for (fourtap_format const& format : formats) {
    if (Has(format.names, name)) return &format;
  }
  return nullptr;
}

fourtap_status fourtap_plane_size(fourtap_format const* format, int plane, int cx, int cy, int* plane_cx,
                                  int* plane_cy) {
  using fourtap::Refuse;
  if (!format || !plane_cx || !plane_cy) {
    return Refuse(FOURTAP_INVALID, "%s: null given, expected an address",
                  !format     ? "format"
                  : !plane_cx ? "plane_cx"
                              : "plane_cy");
  }
  int const mostPlanes = sizeof format->planes / sizeof *format->planes;
  if (format->plane_count < 1 || format->plane_count > mostPlanes) {
    return Refuse(FOURTAP_INVALID, "format: has %d planes, expected 1 to %d", format->plane_count, mostPlanes);
  }
  if (plane < 0 || plane >= format->plane_count) {
    return Refuse(FOURTAP_INVALID, "plane: %d given, expected 0 to %d", plane, format->plane_count - 1);
  }
  fourtap_plane const& measured = format->planes[plane];
  if (measured.columns < 1 || measured.lines < 1) {
    return Refuse(FOURTAP_INVALID, "format: has %dx%d pixels to one of plane %d, expected at least 1x1",
                  measured.columns, measured.lines, plane);
  }
  if (cx < 1 || cy < 1) {
    return Refuse(FOURTAP_INVALID, "size: %dx%d given, expected at least 1x1", cx, cy);
  }
  *plane_cx = Divided(cx, measured.columns);
  *plane_cy = Divided(cy, measured.lines);
  return FOURTAP_OK;
}
