// Sizes as a user writes and reads them, and what they come to for a picture.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tool {

struct PictureSize {
  int cx, cy;  // at least 1
  bool operator==(PictureSize const&) const = default;
};

// Part of a picture, in its pixels.
struct PictureRect {
  int x, y, cx, cy;  // cx and cy at least 1
};

// A parsed --size: a box, one side of one, or a percentage.
struct SizeRequest {
  int cx = 0, cy = 0;              // 0: follows from the other one and the picture's proportions
  int thousandthsOfPercent = 0;    // not 0: cx and cy are 0
  bool ignoreProportions = false;  // both sides exactly; otherwise the result fits into the box
  bool covers = false;             // or is the smallest that covers it; cx and cy are not 0
  bool onlyShrink = false;
  bool onlyEnlarge = false;
};

// What a user is told to write instead.
inline char const* const sizeExamples = "a size such as 1280x720, 1280x, x720 or 50%, with > < or ! behind it";

// WxH, Wx, xH or N%, then any of > (only shrink), < (only enlarge), ! (ignore the proportions); nothing for other
// texts.
std::optional<SizeRequest> ParseSize(std::string_view text);

// A box, WxH, as ParseSize reads it, whose proportions count; nothing for other texts.
std::optional<SizeRequest> ParseBox(std::string_view text);
inline char const* const boxExamples = "a box such as 1280x720";

// The size of the result for a picture, or nothing when it is beyond int.
std::optional<PictureSize> ResolveSize(SizeRequest const& request, PictureSize picture);

// Rounded down to a multiple of `unit`, but at least that.
inline int RoundedTo(int unit, int count) { return count < unit ? unit : count / unit * unit; }
inline PictureSize RoundedTo(PictureSize unit, PictureSize size) {
  return {RoundedTo(unit.cx, size.cx), RoundedTo(unit.cy, size.cy)};
}

// x,y,w,h; nothing for other texts.
std::optional<PictureRect> ParseRect(std::string_view text);

// A decimal number from 1 to the largest int, and nothing else.
std::optional<int> ParseCount(std::string_view text);

// The same with a cross between two: WxH.
std::optional<PictureSize> ParsePlainSize(std::string_view text);

// As ParsePlainSize reads it.
std::string SizeText(int64_t cx, int64_t cy);
inline std::string SizeText(PictureSize size) { return SizeText(size.cx, size.cy); }

}  // namespace tool
