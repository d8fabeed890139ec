// The kernels of reductions by vector registers. Included by files compiled for newer processors, so all of it stays
// theirs.
//
// Ops is the vocabulary of an instruction set: Register, and what is called below, lane by lane or within 128-bit
// lanes. Pairs<channels> and Pixels<channels> are what it brings for neighbouring pixels.
#pragma once

#include <cstring>
#include <type_traits>

#include "reduced/ReducingKernels_c.h"

namespace {

template <class Ops>
void AverageLinesBy(unsigned char const* first, unsigned char const* second, int count, bool halvesUp,
                    unsigned char* dst) {
  ptrdiff_t const vectorBytes = sizeof(typename Ops::Register);
  ptrdiff_t i = 0;
  for (; i + vectorBytes <= count; i += vectorBytes) {
    auto const a = Ops::Load(first + i), b = Ops::Load(second + i);
    Ops::Store(dst + i, halvesUp ? Ops::Average(a, b) : Ops::AverageDown(a, b));
  }
  AverageLines_c(first + i, second + i, static_cast<int>(count - i), halvesUp, dst + i);
}

// Sums of 16 bits: those below zero wrap, so they begin far enough above for the smallest ones to stay there. All taps
// give 128, those below zero no less than -16 of it: sums are -4080 to 36720.
int const lift = 8192;
int const liftedHalf = lift + (1 << (fourtap::tapBits - 1));

template <class Ops>
struct LineReducer {
  typedef typename Ops::Register Register;
  static constexpr ptrdiff_t vectorBytes = sizeof(Register);

  static Register BytesOf(Register low, Register high) {
    Register const lifted = Ops::Broadcast(lift);
    return Ops::Pack(Ops::ShiftRight(Ops::SubtractToZero(low, lifted), fourtap::tapBits),
                     Ops::ShiftRight(Ops::SubtractToZero(high, lifted), fourtap::tapBits));
  }

  template <int vectors>
  [[gnu::always_inline]] static void FilterAt(unsigned char const* const* lines, signed char const* taps, int tapCount,
                                              ptrdiff_t at, unsigned char* dst) {
    Register low[vectors], high[vectors];
#pragma GCC unroll 4
    for (int v = 0; v < vectors; ++v) low[v] = high[v] = Ops::Broadcast(liftedHalf);
    for (int t = 0; t < tapCount; t += 2) {
      short pair;
      std::memcpy(&pair, taps + t, sizeof pair);
      auto const tapPair = Ops::TapPair(pair);
#pragma GCC unroll 4
      for (int v = 0; v < vectors; ++v) {
        Register const first = Ops::Load(lines[t] + at + v * vectorBytes);
        Register const second = Ops::Load(lines[t + 1] + at + v * vectorBytes);
        low[v] = Ops::Add(low[v], Ops::MultiplyAddBytes(Ops::InterleaveLow(first, second), tapPair));
        high[v] = Ops::Add(high[v], Ops::MultiplyAddBytes(Ops::InterleaveHigh(first, second), tapPair));
      }
    }
#pragma GCC unroll 4
    for (int v = 0; v < vectors; ++v) Ops::Store(dst + at + v * vectorBytes, BytesOf(low[v], high[v]));
  }

  // A ReduceLines. The last vector ends with the line.
  static void Reduce(unsigned char const* const* lines, signed char const* taps, int tapCount, int count,
                     unsigned char* dst) {
    if (count < vectorBytes) return ReduceLines_c(lines, taps, tapCount, count, dst);
    ptrdiff_t constexpr abreast = 4;
    ptrdiff_t at = 0;
    for (; at + abreast * vectorBytes <= count; at += abreast * vectorBytes) {
      FilterAt<abreast>(lines, taps, tapCount, at, dst);
    }
    for (; at + vectorBytes <= count; at += vectorBytes) FilterAt<1>(lines, taps, tapCount, at, dst);
    if (at < count) FilterAt<1>(lines, taps, tapCount, count - vectorBytes, dst);
  }
};

// Pairs<channels> has
//   pairs, readBytes, Average(first, second, half, dst)  averages of so many pairs of pixels; how much of each line it
//                                                        reads. half: 2 where halves are rounded up, else 1
template <class Pairs, int channels>
void AverageBlocksBy(unsigned char const* first, unsigned char const* second, int cx, bool halvesUp,
                     unsigned char* dst) {
  auto const half = static_cast<short>(1 + halvesUp);
  int const stepIn = 2 * channels * Pairs::pairs, stepOut = channels * Pairs::pairs;
  ptrdiff_t x = 0;
  for (; (cx - x) * channels >= Pairs::readBytes; x += 2 * Pairs::pairs) {
    Pairs::Average(first, second, half, dst);
    first += stepIn;
    second += stepIn;
    dst += stepOut;
  }
  AverageBlocks_c<channels>(first, second, static_cast<int>(cx - x), halvesUp, dst);
}

// Pixels<channels> has
//   Taps(taps)                         as Sums wants them
//   Sum<count>(pixels, Taps const&)    of mostTaps pixels, or 8, a Sums: 16 bits each, several of a channel
//   Bytes(sums of four lines)          a pixel of each line, by four bytes
template <class Pixels, int channels, int taps>
void ReduceByTaps(fourtap::ReducedColumns const& columns) {
  // Where lines are missing the last one is done again.
  unsigned char const* lines[fourtap::linesAtOnce];
  unsigned char* to[fourtap::linesAtOnce];
  for (int k = 0; k < fourtap::linesAtOnce; ++k) {
    int const line = k < columns.lineCount ? k : columns.lineCount - 1;
    lines[k] = columns.lines[line] - ptrdiff_t{columns.xOrigin} * channels;
    to[k] = columns.dst + line * columns.dstStride;
  }
  auto const filterAt = [&](int x, auto bytes) {
    typename Pixels::Taps const tapsOfColumn(columns.taps + ptrdiff_t{x} * fourtap::mostTaps);
    ptrdiff_t const first = ptrdiff_t{columns.firsts[x]} * channels;
    typename Pixels::Sums sums[fourtap::linesAtOnce];
#pragma GCC unroll 4
    for (int k = 0; k < fourtap::linesAtOnce; ++k) sums[k] = Pixels::template Sum<taps>(lines[k] + first, tapsOfColumn);
    unsigned char pixels[4 * fourtap::linesAtOnce];
    Pixels::Bytes(sums, pixels);
    ptrdiff_t const at = ptrdiff_t{x - columns.x} * channels;
#pragma GCC unroll 4
    for (int k = 0; k < fourtap::linesAtOnce; ++k) std::memcpy(to[k] + at, pixels + 4 * k, bytes);
  };
  // Of three channels four bytes are written: the last one is overwritten by the next pixel.
  std::integral_constant<size_t, channels == 3 ? 4 : channels> const usual;
  int const last = columns.x + columns.cx - 1;
  for (int x = columns.x; x < last; ++x) filterAt(x, usual);
  filterAt(last, std::integral_constant<size_t, channels>());
}

// A ReduceColumns.
template <class Pixels, int channels>
void ReduceColumnsBy(fourtap::ReducedColumns const& columns) {
  (columns.eightAreEnough ? ReduceByTaps<Pixels, channels, 8>
                          : ReduceByTaps<Pixels, channels, fourtap::mostTaps>)(columns);
}

template <class Ops, template <int> class Pairs, template <int> class Pixels>
constexpr fourtap::ReducingKernels kernelsBy = {AverageLinesBy<Ops>,
                                                LineReducer<Ops>::Reduce,
                                                {AverageBlocksBy<Pairs<1>, 1>, AverageBlocksBy<Pairs<2>, 2>,
                                                 AverageBlocksBy<Pairs<3>, 3>, AverageBlocksBy<Pairs<4>, 4>},
                                                {ReduceColumnsBy<Pixels<1>, 1>, ReduceColumnsBy<Pixels<2>, 2>,
                                                 ReduceColumnsBy<Pixels<3>, 3>, ReduceColumnsBy<Pixels<4>, 4>}};

}  // namespace
