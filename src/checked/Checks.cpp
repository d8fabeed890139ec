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

int fourtap::BitsPerPixel(int layout) { return layouts[layout].bitsPerPixel; }

bool fourtap::NeedsPairs(int layout, int cxIn, int cyIn, int cxOut, int cyOut) {
  bool const horizontally = cxIn != cxOut || cyIn == cyOut;
  return layouts[layout].unitPixels == 2 && horizontally;
}

fourtap_status fourtap::CheckThere(char const* name, void const* address) {
  if (address) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "%s: null given, expected an address", name);
}

fourtap_status fourtap::CheckLayout(int layout) {
  if (0 <= layout && layout < layoutCount) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "layout: %d given, expected 0 to %d", layout, layoutCount - 1);
}

fourtap_status fourtap::CheckSizes(int cxIn, int cyIn, int cxOut, int cyOut, bool inPairs) {
  if (cxIn < 1 || cyIn < 1 || cxOut < 1 || cyOut < 1) {
    return Refuse(FOURTAP_INVALID, "sizes: %dx%d to %dx%d given, expected at least 1x1", cxIn, cyIn, cxOut, cyOut);
  }
  if (inPairs && (cxIn % 2 != 0 || cxOut % 2 != 0)) {
    return Refuse(FOURTAP_INVALID, "sizes: %d and %d pixels wide given, expected even widths: two pixels share chroma",
                  cxIn, cxOut);
  }
  return FOURTAP_OK;
}

fourtap_status fourtap::RefuseSizes(int cxIn, int cyIn, int cxOut, int cyOut) {
  return Refuse(FOURTAP_INVALID, "sizes: %dx%d to %dx%d given, expected lines below 2 GiB and fewer of them", cxIn,
                cyIn, cxOut, cyOut);
}

fourtap_status fourtap::CheckRect(char const* name, fourtap_rect const& rect, int cx, int cy, bool inPairs) {
  if (rect.x < 0 || rect.y < 0 || rect.cx < 1 || rect.cy < 1 || rect.x > cx - rect.cx || rect.y > cy - rect.cy) {
    return Refuse(FOURTAP_INVALID,
                  "%s: %dx%d pixels at %d,%d given, expected at least one and all of them inside %dx%d", name, rect.cx,
                  rect.cy, rect.x, rect.y, cx, cy);
  }
  if (inPairs && (rect.x % 2 != 0 || rect.cx % 2 != 0)) {
    return Refuse(FOURTAP_INVALID, "%s: columns %d and %d more given, expected even numbers: two pixels share chroma",
                  name, rect.x, rect.cx);
  }
  return FOURTAP_OK;
}

fourtap_status fourtap::CheckHolds(fourtap_rect const& part, fourtap_rect const& needed) {
  bool const holds = part.x <= needed.x && part.y <= needed.y && part.x + part.cx >= needed.x + needed.cx &&
                     part.y + part.cy >= needed.y + needed.cy;
  if (holds) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "part: %dx%d pixels at %d,%d given, expected at least %dx%d at %d,%d", part.cx,
                part.cy, part.x, part.y, needed.cx, needed.cy, needed.x, needed.y);
}

fourtap_status fourtap::CheckLines(char const* name, void const* data, size_t bytes, ptrdiff_t given, int64_t lineBytes,
                                   int cy, HandedLines& lines) {
  int64_t const stride = given == 0 ? lineBytes : given;
  if (stride > INT_MAX || stride < -INT_MAX || std::abs(stride) < lineBytes) {
    return Refuse(FOURTAP_INVALID, "%s.stride: %lld given, expected 0, or %lld to %d bytes up or down", name,
                  static_cast<long long>(stride), static_cast<long long>(lineBytes), INT_MAX);
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
  int64_t const top = stride < 0 && cy > 0 ? distance * (cy - 1) : 0;
  lines = {static_cast<ptrdiff_t>(top), static_cast<int>(stride), first, first + static_cast<uintptr_t>(needed)};
  return FOURTAP_OK;
}

fourtap_status fourtap::CheckApart(HandedLines const& source, HandedLines const& target) {
  bool const empty = source.first == source.end || target.first == target.end;
  if (empty || source.first >= target.end || target.first >= source.end) return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID, "target: shares memory with the source, expected them apart");
}

fourtap_status fourtap::CheckSet(int widest) {
  if (widest == FOURTAP_SET_WIDEST || *fourtap_set_name(widest) != '\0') return FOURTAP_OK;
  return Refuse(FOURTAP_INVALID,
                "widest: %d given, expected the number of a set of this processor's or FOURTAP_SET_WIDEST", widest);
}

fourtap_status fourtap::FindSet(int widest, int& set) {
  set = FourTapSetFor(widest);
  if (set != FourTapSetNone) return FOURTAP_OK;
  return Refuse(FOURTAP_PROCESSOR, "processor: none of the scalers runs here, expected %s at least",
                fourtap_set_name(FOURTAP_BASE_SET));
}
