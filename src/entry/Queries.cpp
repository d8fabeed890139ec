// What hosts can ask without a context: from the sizes alone, and the version.
#include <fourtapscale/FourTapScale.h>

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "core/HorzRange.h"
#include "core/SourceStepping.h"
#include "variants/Variants.h"

namespace {

#define LINES_AT_A_TIME(with, name, number, linesAtATime) linesAtATime,
constexpr int mostLinesAtATime = std::max({FOURTAP_SETS(LINES_AT_A_TIME, )});
#undef LINES_AT_A_TIME

#define UNIT_OF(with, name, bitsPerPixel, unitPixels) unitPixels,
constexpr int unitPixelsOf[] = {FOURTAP_LAYOUTS(UNIT_OF, )};
#undef UNIT_OF

}  // namespace

int FourTapScaleVersion() { return FOURTAP_VERSION; }

int FourTapScaleFirstLineNeeded(int cyIn, int cyOut, int line) {
  if (cyIn == cyOut) return line;
  return std::max(0, fourtap::SourcePosition(cyIn, cyOut, line) - 1);
}

int FourTapScaleLinesNeeded(int cyIn, int cyOut, int line) {
  if (cyIn == cyOut) return line + 1;
  int64_t const end = int64_t{fourtap::SourcePosition(cyIn, cyOut, line)} + 3;
  return static_cast<int>(std::min<int64_t>(cyIn, end));
}

int FourTapScaleMostLinesWritten(int cyIn, int cyOut, int cySlice) {
  int64_t const added = std::min(cySlice, cyIn);
  if (added <= 0) return 0;
  if (cyIn == cyOut) return static_cast<int>(added);
  // An output line is due with the second source line behind its position. So the positions of those that a slice
  // brings lie in as many source lines as it has, or in two more at the picture's end; and some may have waited for
  // their block.
  int64_t const brought = ((added + 2) * cyOut + cyIn - 1) / cyIn;
  return static_cast<int>(std::min<int64_t>(cyOut, brought + mostLinesAtATime - 1));
}

void FourTapScaleSourceNeeded(int layout, int cxIn, int cyIn, int cxOut, int cyOut, int xDest, int yDest, int cxDest,
                              int cyDest, int& xSrc, int& ySrc, int& cxSrc, int& cySrc) {
  xSrc = ySrc = cxSrc = cySrc = 0;
  if (layout < 0 || layout >= static_cast<int>(std::size(unitPixelsOf)) || cxDest <= 0 || cyDest <= 0) return;
  int const unit = unitPixelsOf[layout];
  fourtap::TapColumns columns{xDest, xDest + cxDest - 1};
  if (cxIn != cxOut || cyIn == cyOut) {
    columns = fourtap::TapColumnsOf(unit, fourtap::SourcePosition(cxIn, cxOut, columns.first),
                                    fourtap::SourcePosition(cxIn, cxOut, columns.last));
  }
  xSrc = std::max(columns.first / unit * unit, 0);
  cxSrc = std::min((columns.last / unit + 1) * unit, cxIn) - xSrc;
  ySrc = FourTapScaleFirstLineNeeded(cyIn, cyOut, yDest);
  cySrc = FourTapScaleLinesNeeded(cyIn, cyOut, yDest + cyDest - 1) - ySrc;
}
