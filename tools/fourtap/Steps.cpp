#include "fourtap/Steps.h"

#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdint>

namespace tool {

namespace {

SampleRange NeededSamples(int nIn, int nOut, SampleRange out) {
  int const end = nIn == nOut ? std::min(nIn, out.end + 2) : FourTapScaleLinesNeeded(nIn, nOut, out.end - 1);
  return {FirstNeeded(nIn, nOut, out.first), end};
}

// Those of units of `multiple` columns, besides the columns' own.
SampleRange NeededColumns(int cxIn, int cxOut, SampleRange out, int multiple) {
  SampleRange const columns = NeededSamples(cxIn, cxOut, out);
  SampleRange const units =
      NeededSamples(cxIn / multiple, cxOut / multiple, {out.first / multiple, (out.end - 1) / multiple + 1});
  return {std::min(columns.first / multiple, units.first) * multiple,
          std::max((columns.end - 1) / multiple + 1, units.end) * multiple};
}

}  // namespace

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

int FirstNeeded(int nIn, int nOut, int sample) {
  return std::max(0, nIn == nOut ? sample - 1 : FourTapScaleLinesNeeded(nIn, nOut, sample) - 4);
}

PictureRect NeededRect(PictureSize in, PictureSize out, PictureRect const& rect, int cxMultiple) {
  SampleRange const x = NeededColumns(in.cx, out.cx, {rect.x, rect.x + rect.cx}, cxMultiple);
  SampleRange const y = NeededSamples(in.cy, out.cy, {rect.y, rect.y + rect.cy});
  return {x.first, y.first, x.end - x.first, y.end - y.first};
}

}  // namespace tool
