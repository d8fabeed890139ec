#include "checked/Checks.h"

#include <climits>
#include <cstdlib>
#include <iterator>

#include "checked/Refusal.h"
#include "variants/Variants.h"

namespace {

struct Layout {
  int number;
  int bitsPerPixel;
  int unitPixels;  // that share samples
};
#define LAYOUT_OF(with, name, bitsPerPixel, unitPixels) {FourTapLayout##name, bitsPerPixel, unitPixels},
constexpr Layout layouts[] = {FOURTAP_LAYOUTS(LAYOUT_OF, )};
#undef LAYOUT_OF
int const layoutCount = std::size(layouts);

static_assert(FOURTAP_PLANE == +FourTapLayoutPlane && FOURTAP_RGB24 == +FourTapLayoutRGB24 &&
              FOURTAP_RGB32 == +FourTapLayoutRGB32 && FOURTAP_XYXY == +FourTapLayoutXYXY &&
              FOURTAP_YXYX == +FourTapLayoutYXYX && FOURTAP_UV16 == +FourTapLayoutUV16 &&
              FOURTAP_RGBA32 == +FourTapLayoutRGBA32 && FOURTAP_RGBA32 + 1 == layoutCount);
}  // namespace

int fourtap::BitsPerPixel(fourtap_scaler const& scaler) { return layouts[scaler.layout].bitsPerPixel; }

bool fourtap::NeedsPairs(fourtap_scaler const& scaler) {
  bool const horizontally = scaler.cxIn != scaler.cxOut || scaler.cyIn == scaler.cyOut;
  return layouts[scaler.layout].unitPixels == 2 && horizontally;
}

fourtap_status fourtap::CheckThere(char const* name, void const* address) {
  if (address) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "%s: null given, expected an address", name);
}

fourtap_status fourtap::CheckLayout(int layout) {
  if (0 <= layout && layout < layoutCount) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "layout: %d given, expected 0 to %d", layout, layoutCount - 1);
}

fourtap_status fourtap::CheckRect(fourtap_scaler const& scaler, char const* name, fourtap_rect const& rect, int cx,
                                  int cy) {
  if (rect.x < 0 || rect.y < 0 || rect.cx < 1 || rect.cy < 1 || rect.x > cx - rect.cx || rect.y > cy - rect.cy) {
    return Refuse(FOURTAP_INVALID,
                  "%s: %dx%d pixels at %d,%d given, expected at least one and all of them inside %dx%d", name, rect.cx,
                  rect.cy, rect.x, rect.y, cx, cy);
  }
  if (NeedsPairs(scaler) && (rect.x % 2 != 0 || rect.cx % 2 != 0)) {
    return Refuse(FOURTAP_INVALID, "%s: columns %d and %d more given, expected even numbers: two pixels share chroma",
                  name, rect.x, rect.cx);
  }
  return FOURTAP_OK;
}

fourtap_status fourtap::CheckLines(fourtap_scaler const& scaler, char const* name, void const* data, size_t bytes,
                                   ptrdiff_t stride, int cx, int cy, HandedLines& lines) {
  int64_t const lineBytes = int64_t{cx} * BitsPerPixel(scaler) / 8;
  if (stride == 0) stride = lineBytes;
  if (stride > INT_MAX || stride < -INT_MAX || std::abs(stride) < lineBytes) {
    return Refuse(FOURTAP_INVALID, "%s.stride: %td given, expected 0, or %lld to %d bytes up or down", name, stride,
                  static_cast<long long>(lineBytes), INT_MAX);
  }
  int64_t const distance = std::abs(stride);
  // Both factors are below 2^31.
  uint64_t const needed = cy == 0 ? 0 : static_cast<uint64_t>(distance * (cy - 1) + lineBytes);
  if (bytes < needed) {
    return Refuse(FOURTAP_INVALID, "%s.bytes: %zu given, expected at least %llu for %d lines of %lld bytes", name,
                  bytes, static_cast<unsigned long long>(needed), cy, static_cast<long long>(lineBytes));
  }
  if (!data && needed > 0) return Refuse(FOURTAP_INVALID, "%s.data: null given, expected an address", name);
  auto const first = reinterpret_cast<uintptr_t>(data);
  if (needed > UINTPTR_MAX - first) {
    return Refuse(FOURTAP_INVALID, "%s.bytes: %zu given, expected memory that does not wrap around", name, bytes);
  }
  lines = {stride < 0 && cy > 0 ? distance * (cy - 1) : 0, static_cast<int>(stride), first, first + needed};
  return FOURTAP_OK;
}

fourtap_status fourtap::CheckApart(HandedLines const& source, HandedLines const& target) {
  bool const empty = source.first == source.end || target.first == target.end;
  if (empty || source.first >= target.end || target.first >= source.end) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "target: shares memory with the source, expected them apart");
}
