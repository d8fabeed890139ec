// The kernels of reductions in plain C++, and what those of vector registers leave over. Included by files compiled for
// newer processors too, so all of it stays theirs.
#pragma once

#include "reduced/ReducingKernels.h"
#include "reduced/ReducingTaps.h"

namespace {

inline unsigned char ReducedByte(int sum) {
  int const rounded = (sum + (1 << (fourtap::tapBits - 1))) >> fourtap::tapBits;
  return static_cast<unsigned char>(rounded < 0 ? 0 : rounded > 255 ? 255 : rounded);
}

inline void AverageLines_c(unsigned char const* first, unsigned char const* second, int count, bool halvesUp,
                           unsigned char* dst) {
  for (int i = 0; i < count; ++i) dst[i] = static_cast<unsigned char>((first[i] + second[i] + halvesUp) >> 1);
}

template <int channels>
void AverageBlocks_c(unsigned char const* first, unsigned char const* second, int cx, bool halvesUp,
                     unsigned char* dst) {
  for (ptrdiff_t x = 0; x < cx; x += 2, first += 2 * channels, second += 2 * channels, dst += channels) {
    int const next = x + 1 < cx ? channels : 0;
    for (int c = 0; c < channels; ++c) {
      dst[c] =
          static_cast<unsigned char>((first[c] + first[c + next] + second[c] + second[c + next] + 1 + halvesUp) >> 2);
    }
  }
}

inline void ReduceLines_c(unsigned char const* const* lines, signed char const* taps, int tapCount, int count,
                          unsigned char* dst) {
  for (int i = 0; i < count; ++i) {
    int sum = 0;
    for (int t = 0; t < tapCount; ++t) sum += taps[t] * lines[t][i];
    dst[i] = ReducedByte(sum);
  }
}

template <int channels>
void ReduceColumns_c(fourtap::ReducedColumns const& columns) {
  for (int line = 0; line < columns.lineCount; ++line) {
    unsigned char* to = columns.dst + line * columns.dstStride;
    for (int x = columns.x; x < columns.x + columns.cx; ++x, to += channels) {
      signed char const* const taps = columns.taps + ptrdiff_t{x} * fourtap::mostTaps;
      unsigned char const* const from = columns.lines[line] + ptrdiff_t{columns.firsts[x] - columns.xOrigin} * channels;
      int sums[channels] = {};
      for (int t = 0; t < fourtap::mostTaps; ++t) {
        for (int c = 0; c < channels; ++c) sums[c] += taps[t] * from[t * channels + c];
      }
      for (int c = 0; c < channels; ++c) to[c] = ReducedByte(sums[c]);
    }
  }
}

}  // namespace
