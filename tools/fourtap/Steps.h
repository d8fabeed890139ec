// The way from one size to another in steps of at most 2:1, beyond which four taps alias.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tool {

struct StepSize {
  int cx, cy;
};

// The sizes after each step, the last of them the result; none when nothing is to be scaled. Each axis on its own is
// halved until at most 2:1 remains for the last step, which is made on both together. Halves are rounded up: lines to
// whole ones, columns to a multiple of `cxMultiple`, as both widths are already.
inline std::vector<StepSize> StepsFor(int cxIn, int cyIn, int cxOut, int cyOut, int cxMultiple = 1) {
  auto const far = [](int64_t n, int64_t nOut) { return n > 2 * nOut; };
  auto const half = [](int n, int multiple) { return (n / multiple - n / multiple / 2) * multiple; };
  std::vector<StepSize> steps;
  StepSize size{cxIn, cyIn};
  while (far(size.cx, cxOut) || far(size.cy, cyOut)) {
    if (far(size.cx, cxOut)) size.cx = half(size.cx, cxMultiple);
    if (far(size.cy, cyOut)) size.cy = half(size.cy, 1);
    steps.push_back(size);
  }
  if (size.cx != cxOut || size.cy != cyOut) steps.push_back({cxOut, cyOut});
  return steps;
}

// Samples along one axis.
struct SampleRange {
  int first, end;
};

// The source samples that a range of the scaled ones is made of, or a few more.
inline SampleRange NeededSamples(int nIn, int nOut, SampleRange out) {
  if (nIn == nOut) return {std::max(0, out.first - 1), std::min(nIn, out.end + 2)};
  return {std::max(0, FourTapScaleLinesNeeded(nIn, nOut, out.first) - 4),
          FourTapScaleLinesNeeded(nIn, nOut, out.end - 1)};
}

}  // namespace tool
