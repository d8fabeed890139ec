#include "fourtap/Steps.h"

#include <cstdint>

namespace tool {

std::vector<PictureSize> StepsFor(PictureSize in, PictureSize out, int cxMultiple) {
  auto const far = [](int64_t n, int64_t nOut) { return n > 2 * nOut; };
  auto const half = [](int n, int multiple) { return (n / multiple - n / multiple / 2) * multiple; };
  std::vector<PictureSize> steps;
  PictureSize size = in;
  while (far(size.cx, out.cx) || far(size.cy, out.cy)) {
    if (far(size.cx, out.cx)) size.cx = half(size.cx, cxMultiple);
    if (far(size.cy, out.cy)) size.cy = half(size.cy, 1);
    steps.push_back(size);
  }
  if (size != out) steps.push_back(out);
  return steps;
}

std::string StepsText(PictureSize in, std::vector<PictureSize> const& steps, bool passedOn) {
  std::string text = SizeText(in);
  for (PictureSize const size : steps) text += " -> " + SizeText(size);
  return passedOn ? text + ", passed on unfiltered" : text;
}

PictureRect NeededRect(int layout, PictureSize in, PictureSize out, PictureRect const& rect) {
  PictureRect needed;
  FourTapScaleSourceNeeded(layout, in.cx, in.cy, out.cx, out.cy, rect.x, rect.y, rect.cx, rect.cy, needed.x, needed.y,
                           needed.cx, needed.cy);
  return needed;
}

}  // namespace tool
