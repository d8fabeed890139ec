// The vertical filter as the scalers use it: over a stretch of several lines at once.
//
// Included by files compiled for newer processors: nothing here but plain records and declarations.
#pragma once

#include <fourtapscale/FourTapFilters.h>

#include "ProcessorSets.h"

namespace fourtap {

// Where a line that is filtered vertically comes from: four source lines, and their taps. Behind these lines stand so
// many more that are worth fetching ahead.
struct VertTaps {
  unsigned char const* const* lines;
  short* coefs;
  int comingLines;
};

// Filters `count` bytes of lines, from byte `firstByte` of their source lines on. The taps are those of a context. The
// MMX state is not cleared where it was not used: that counts on short lines.
typedef void VertFilterLines(VertTaps const*, int lineCount, int firstByte, int count, unsigned char* const* dst);

#define FOURTAP_DECLARE_FILTER(with, set, ...) VertFilterLines FilterLinesVertically_##set;
FOURTAP_SETS(FOURTAP_DECLARE_FILTER, )
#undef FOURTAP_DECLARE_FILTER

}  // namespace fourtap
