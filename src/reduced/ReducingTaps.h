// The filter of reductions beyond 2:1: averages of neighbours until less than 4:1 is left, then a cubic.
//
// docs/arithmetic.md has the formula. All of it is whole numbers, so that every processor and compiler gets the same
// taps.
#pragma once

#include <cstdint>

namespace fourtap {

// Whether that filter takes over: nIn samples become nOut, fewer than half of them.
inline bool IsBeyondFourTaps(int nIn, int nOut) { return nIn > 2 * int64_t{nOut}; }

enum class Cubic {
  // As wide as two output samples to each side, and below zero beyond the first. By E. Catmull and R. Rom, "A class of
  // local interpolating splines", 1974, in the form of R. G. Keys, "Cubic convolution interpolation for digital image
  // processing", 1981, with a = -1/2.
  crisp,
  // As wide as one to each side, and nowhere below zero: the cubic of Hermite.
  gentle,
};

// One direction. Each halving makes the average of two neighbours one sample; the last sample, if it has none, stands
// for both. What the cubic sees are blocks of 1 << halvings samples.
struct Reduction {
  int nIn, nOut;
  int halvings;
  Cubic cubic;

  int Blocks() const { return ((nIn - 1) >> halvings) + 1; }
};
Reduction ReductionOf(int nIn, int nOut, Cubic cubic);

// The taps of an output sample: blocks from `first` on, which may lie outside the picture, as may the last ones.
struct TapSpan {
  int first;
  int count;

  int64_t End() const { return int64_t{first} + count; }
};
TapSpan SpanOf(Reduction const&, int sample);

int const mostTaps = 16;
// Writes the taps of a span; together they give 1 << tapBits.
int const tapBits = 7;
void ComputeTaps(Reduction const&, int sample, TapSpan const&, signed char* taps);

// The source samples that output samples first to last need.
struct SampleSpan {
  int first, end;
};
SampleSpan SamplesNeeded(Reduction const&, int first, int last);

}  // namespace fourtap
