#include "reduced/ReducingTaps.h"

#include <algorithm>

namespace fourtap {

namespace {

// Distances and places are counted in 1 / (2 nIn) of the output samples' distance.
int64_t MiddleOf(Reduction const& reduction, int sample) { return (2 * int64_t{sample} + 1) * reduction.nIn; }
int64_t BlockDistance(Reduction const& reduction) { return (int64_t{2} * reduction.nOut) << reduction.halvings; }

// How far the cubic reaches.
int64_t Reach(Reduction const& reduction) { return (reduction.cubic == Cubic::crisp ? 4 : 2) * int64_t{reduction.nIn}; }

// The cubic at a distance within its reach, of 65536 at 0.
int Weight(Reduction const& reduction, int64_t distance) {
  int64_t const one = 1 << 16;
  int64_t const t = (distance << 15) / reduction.nIn;
  int64_t const twice = reduction.cubic == Cubic::gentle ? 4 * t * t * t - 6 * t * t * one + 2 * one * one * one
                        : t < one                        ? 3 * t * t * t - 5 * t * t * one + 2 * one * one * one
                                  : -t * t * t + 5 * t * t * one - 8 * t * one * one + 4 * one * one * one;
  return static_cast<int>(twice >> 33);
}

int64_t RoundedDown(int64_t dividend, int64_t divisor) { return dividend / divisor - (dividend % divisor < 0); }

}  // namespace

Reduction ReductionOf(int nIn, int nOut, Cubic cubic) {
  Reduction reduction{nIn, nOut, 0, cubic};
  while (nIn >= (int64_t{4} * nOut) << reduction.halvings) ++reduction.halvings;
  return reduction;
}

TapSpan SpanOf(Reduction const& reduction, int sample) {
  int64_t const reach = Reach(reduction);
  int64_t const distance = BlockDistance(reduction);
  int64_t const middle = MiddleOf(reduction, sample) - distance / 2;
  int64_t const first = RoundedDown(middle - reach, distance) + 1;
  int64_t const last = RoundedDown(middle + reach - 1, distance);
  return {static_cast<int>(first), static_cast<int>(last - first + 1)};
}

void ComputeTaps(Reduction const& reduction, int sample, TapSpan const& span, signed char* taps) {
  int weights[mostTaps];
  int64_t all = 0;
  for (int t = 0; t < span.count; ++t) {
    int64_t const block = int64_t{span.first} + t;
    int64_t const distance =
        block * BlockDistance(reduction) + BlockDistance(reduction) / 2 - MiddleOf(reduction, sample);
    weights[t] = Weight(reduction, distance < 0 ? -distance : distance);
    all += weights[t];
  }
  // Each running sum is rounded, not each tap: so what is lost at one tap is made good at the next.
  int64_t sum = 0, rounded = 0;
  for (int t = 0; t < span.count; ++t) {
    sum += weights[t];
    int64_t const next = RoundedDown(((sum << tapBits) * 2 + all), 2 * all);
    taps[t] = static_cast<signed char>(next - rounded);
    rounded = next;
  }
}

SampleSpan SamplesNeeded(Reduction const& reduction, int first, int last) {
  TapSpan const span = SpanOf(reduction, last);
  int const firstBlock = std::max(0, SpanOf(reduction, first).first);
  int64_t const endBlock = std::min<int64_t>(span.End(), reduction.Blocks());
  int64_t const end = endBlock << reduction.halvings;
  return {firstBlock << reduction.halvings, static_cast<int>(std::min<int64_t>(end, reduction.nIn))};
}

}  // namespace fourtap
