// Where output samples lie in the source: positions and phases, without a division per sample.
#pragma once

#include <algorithm>
#include <cstdint>

namespace fourtap {

// Output sample i of n lies at source sample (i * nIn + centring) / nOut, held here in sixteenths of a source sample.
// 64 bits carry it for any int sizes.
struct SourceStepping {
  int64_t sixteenths;  // position, rounded down
  int64_t rest;        // what rounding down left, in 1 / nOut sixteenths; 0 to nOut - 1
  int64_t stepSixteenths;
  int64_t stepRest;
  int64_t nOut;
};

// A reduction takes its samples from the middle: half of what is left over lies before the first one.
inline int64_t CentringOffset(int nIn, int nOut) { return std::max(int64_t{0}, int64_t{nIn} - nOut) / 2; }

// Stands at output sample `first`; nOut is at least 1.
inline SourceStepping StartStepping(int nIn, int nOut, int first) {
  int64_t const numerator = int64_t{first} * nIn + CentringOffset(nIn, nOut);
  int64_t const whole = numerator / nOut;
  int64_t const fraction = numerator % nOut * 16;
  int64_t const step = int64_t{nIn} * 16;
  return {whole * 16 + fraction / nOut, fraction % nOut, step / nOut, step % nOut, nOut};
}

// Moves to the next output sample.
inline void Step(SourceStepping& at) {
  at.sixteenths += at.stepSixteenths;
  at.rest += at.stepRest;
  if (at.rest >= at.nOut) {
    ++at.sixteenths;
    at.rest -= at.nOut;
  }
}

// The source sample under the output sample; its taps are the one before it, itself, and the two after.
inline int Position(SourceStepping const& at) { return static_cast<int>(at.sixteenths >> 4); }

// The rest of the way to the next source sample, in sixteenths.
inline int Phase(SourceStepping const& at) { return static_cast<int>(at.sixteenths & 15); }

inline int SourcePosition(int nIn, int nOut, int sample) { return Position(StartStepping(nIn, nOut, sample)); }

}  // namespace fourtap
