// What reductions beyond 2:1 spend their time in, for each instruction set. The same bytes from all.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ProcessorSets.h"

namespace fourtap {

// Bytes behind the lines that kernels write which they may overwrite, and behind those that ReduceColumns reads which
// it may read.
int const slackBytes = 64;

// The average of two lines, rounded to nearest.
//   halvesUp  what lies in the middle is rounded up; else down
typedef void AverageLines(unsigned char const* first, unsigned char const* second, int count, bool halvesUp,
                          unsigned char* dst);

// The averages of blocks of two pixels in each of two lines, rounded likewise; with the same line twice, of two pixels.
//   cx  of the lines; where it is odd, the last pixel stands for two
typedef void AverageBlocks(unsigned char const* first, unsigned char const* second, int cx, bool halvesUp,
                           unsigned char* dst);

// Filters bytes of many lines: the sum of byte times tap over 1 << tapBits, rounded and clamped.
//   tapCount  even, at most mostTaps
typedef void ReduceLines(unsigned char const* const* lines, signed char const* taps, int tapCount, int count,
                         unsigned char* dst);

// Filters up to four lines horizontally.
int const linesAtOnce = 4;
struct ReducedColumns {
  int32_t const* firsts;    // of each output column: the source column of its first tap
  signed char const* taps;  // mostTaps for each, the last ones 0
  bool eightAreEnough;      // no column has more
  unsigned char const* lines[linesAtOnce];
  int lineCount;
  int xOrigin;  // the source column that the lines begin with
  int x, cx;    // output columns
  unsigned char* dst;
  ptrdiff_t dstStride;
};
typedef void ReduceColumns(ReducedColumns const&);

int const mostChannels = 4;
struct ReducingKernels {
  AverageLines* averageLines;
  ReduceLines* reduceLines;
  // By channels, from 1 on.
  AverageBlocks* averageBlocks[mostChannels];
  ReduceColumns* reduceColumns[mostChannels];
};

#define FOURTAP_DECLARE_KERNELS(with, set, ...) extern ReducingKernels const reducingKernels_##set;
FOURTAP_REDUCING_SETS(FOURTAP_DECLARE_KERNELS, )
#undef FOURTAP_DECLARE_KERNELS

// Of a FourTapSet; the plain ones for one that has none.
ReducingKernels const& ReducingKernelsFor(int set);

}  // namespace fourtap
