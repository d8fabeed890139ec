#include "fourtap/SizeGrammar.h"

#include <algorithm>
#include <charconv>
#include <climits>

namespace tool {

namespace {

using Wide = unsigned __int128;

// a * b / c, rounded to nearest, but at least 1; nothing when it is beyond int.
std::optional<int> Proportion(int64_t a, int64_t b, int64_t c) {
  Wide const doubled = Wide(a) * Wide(b) * 2 + Wide(c);
  Wide const rounded = std::max(Wide(1), doubled / (Wide(c) * 2));
  if (rounded > INT_MAX) return std::nullopt;
  return static_cast<int>(rounded);
}

// Takes the > < ! from the end.
bool ParseModifiers(std::string_view& text, SizeRequest& request) {
  while (!text.empty()) {
    bool* flag = nullptr;
    if (text.back() == '>') flag = &request.onlyShrink;
    if (text.back() == '<') flag = &request.onlyEnlarge;
    if (text.back() == '!') flag = &request.ignoreProportions;
    if (!flag) break;
    if (*flag) return false;
    *flag = true;
    text.remove_suffix(1);
  }
  return !(request.onlyShrink && request.onlyEnlarge);
}

// A decimal number with up to three places, in thousandths; 0 for anything else.
int ParseThousandths(std::string_view text) {
  size_t const point = text.find('.');
  std::string_view const fraction = point == text.npos ? "" : text.substr(point + 1);
  auto const isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (point != text.npos && (fraction.empty() || fraction.size() > 3)) return 0;
  std::string_view const whole = text.substr(0, point);
  if (whole.empty() || whole.size() > 6 || !std::all_of(whole.begin(), whole.end(), isDigit) ||
      !std::all_of(fraction.begin(), fraction.end(), isDigit)) {
    return 0;
  }
  int thousandths = 0;
  for (char const digit : whole) thousandths = thousandths * 10 + (digit - '0');
  for (size_t place = 0; place < 3; ++place) {
    thousandths = thousandths * 10 + (place < fraction.size() ? fraction[place] - '0' : 0);
  }
  return thousandths;
}

// The largest size of the picture's proportions that fits into the box, or the smallest that covers it; a side of 0 is
// free.
std::optional<PictureSize> FitBox(PictureSize box, PictureSize picture, bool covers) {
  int64_t const across = int64_t{box.cx} * picture.cy, down = int64_t{box.cy} * picture.cx;
  bool const widthDecides = box.cy == 0 || (box.cx != 0 && (covers ? across >= down : across <= down));
  if (widthDecides) {
    auto const cy = Proportion(picture.cy, box.cx, picture.cx);
    return cy ? std::optional<PictureSize>({box.cx, *cy}) : std::nullopt;
  }
  auto const cx = Proportion(picture.cx, box.cy, picture.cy);
  return cx ? std::optional<PictureSize>({*cx, box.cy}) : std::nullopt;
}

}  // namespace

std::optional<int> ParseCount(std::string_view text) {
  int count = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc() || end != text.data() + text.size() || count < 1) return std::nullopt;
  return count;
}

std::optional<PictureSize> ParsePlainSize(std::string_view text) {
  size_t const cross = text.find('x');
  if (cross == text.npos) return std::nullopt;
  auto const cx = ParseCount(text.substr(0, cross));
  auto const cy = ParseCount(text.substr(cross + 1));
  if (!cx || !cy) return std::nullopt;
  return PictureSize{*cx, *cy};
}

std::optional<SizeRequest> ParseSize(std::string_view text) {
  SizeRequest request;
  if (!ParseModifiers(text, request)) return std::nullopt;
  if (text.ends_with('%')) {
    request.thousandthsOfPercent = ParseThousandths(text.substr(0, text.size() - 1));
    if (request.thousandthsOfPercent == 0) return std::nullopt;
    return request;
  }
  size_t const cross = text.find('x');
  if (cross == text.npos || text.size() == 1) return std::nullopt;
  for (auto const& [side, digits] :
       {std::pair(&request.cx, text.substr(0, cross)), std::pair(&request.cy, text.substr(cross + 1))}) {
    if (digits.empty()) continue;
    auto const count = ParseCount(digits);
    if (!count) return std::nullopt;
    *side = *count;
  }
  return request;
}

std::optional<SizeRequest> ParseBox(std::string_view text) {
  auto const request = ParseSize(text);
  return request && request->cx && request->cy && !request->ignoreProportions ? request : std::nullopt;
}

std::optional<PictureSize> ResolveSize(SizeRequest const& request, PictureSize picture) {
  PictureSize const box{request.cx, request.cy};
  std::optional<PictureSize> size;
  if (request.thousandthsOfPercent != 0) {
    auto const cx = Proportion(picture.cx, request.thousandthsOfPercent, 100000);
    auto const cy = Proportion(picture.cy, request.thousandthsOfPercent, 100000);
    if (cx && cy) size = {*cx, *cy};
  } else if (request.ignoreProportions) {
    size = {box.cx ? box.cx : picture.cx, box.cy ? box.cy : picture.cy};
  } else {
    size = FitBox(box, picture, request.covers);
  }
  bool const shrinks = size && (size->cx < picture.cx || size->cy < picture.cy);
  bool const enlarges = !size || size->cx > picture.cx || size->cy > picture.cy;
  if ((request.onlyShrink && (enlarges || !shrinks)) || (request.onlyEnlarge && (shrinks || !enlarges))) return picture;
  return size;
}

std::optional<PictureRect> ParseRect(std::string_view text) {
  int numbers[4];
  char const* at = text.data();
  char const* const end = at + text.size();
  for (int i = 0; i < 4; ++i) {
    if (i > 0 && (at == end || *at++ != ',')) return std::nullopt;
    auto const [next, error] = std::from_chars(at, end, numbers[i]);
    if (error != std::errc() || numbers[i] < (i < 2 ? 0 : 1)) return std::nullopt;
    at = next;
  }
  if (at != end) return std::nullopt;
  return PictureRect{numbers[0], numbers[1], numbers[2], numbers[3]};
}

std::string SizeText(int64_t cx, int64_t cy) { return std::to_string(cx) + "x" + std::to_string(cy); }

}  // namespace tool
