// How registers of bytes are filtered vertically. Included by files compiled for newer processors, so all of it stays
// theirs.
//
// Ops is the vocabulary of an instruction set: Register, and what is called below, lane by lane or within 128-bit
// lanes. ByteTaps is the quick way for the taps of a context, BytePairs or BytesByBytes.
#pragma once

#include <cstddef>
#include <cstring>

#include "filters/Hold.h"
#include "filters/VertFilter.h"

namespace {

// Byte multiply-adds of two lines at once.
template <class Ops>
struct BytePairs {
  typedef typename Ops::Register Register;
  static constexpr bool sharesPairs = true;  // FilterNeighbours does the same for lines beside each other

  // Whether they give the 16-bit sums: taps fit a byte, and no pair of products leaves 16 bits.
  static bool Fit(short const* coefs) {
    for (int pair = 0; pair < 4; pair += 2) {
      int positive = 0, negative = 0;
      for (int t = pair; t < pair + 2; ++t) {
        if (coefs[t] < -128 || coefs[t] > 127) return false;
        (coefs[t] > 0 ? positive : negative) += coefs[t];
      }
      if (positive > 128 || negative < -128) return false;
    }
    return true;
  }

  // Lines 0 and 1, and lines 2 and 3, byte by byte in turn: as every filter of these lines wants them.
  struct Source {
    Register low01, low23, high01, high23;

    Source(Register a, Register b, Register c, Register d)
        : low01(Ops::InterleaveLow(a, b)),
          low23(Ops::InterleaveLow(c, d)),
          high01(Ops::InterleaveHigh(a, b)),
          high23(Ops::InterleaveHigh(c, d)) {}
  };

  Register taps01, taps23;

  BytePairs() = default;
  explicit BytePairs(short const* coefs)
      : taps01(Ops::Broadcast(Pair(coefs))), taps23(Ops::Broadcast(Pair(coefs + 2))) {}

  // Two taps as the bytes of a word, the first one below.
  static short Pair(short const* coefs) { return static_cast<short>((coefs[0] & 0xff) | (coefs[1] & 0xff) << 8); }

  Register Sum(Register bytes01, Register bytes23) const {
    return Ops::Add(Ops::MultiplyAddBytes(bytes01, taps01), Ops::MultiplyAddBytes(bytes23, taps23));
  }

  Register Filter(Source const& source) const {
    return Ops::Pack(Ops::ShiftBy6(Sum(source.low01, source.low23)), Ops::ShiftBy6(Sum(source.high01, source.high23)));
  }
};

// Bytes times bytes, which are words, the lower half of a register and the upper one.
template <class Ops>
struct BytesByBytes {
  typedef typename Ops::Register Register;
  static constexpr bool sharesPairs = false;

  // Whether no sum, shifted down, leaves a byte.
  static bool Fit(short const* coefs) {
    int sum = 0;
    for (int t = 0; t < 4; ++t) {
      if (coefs[t] < 0 || coefs[t] > 64) return false;
      sum += coefs[t];
    }
    return sum <= 64;
  }

  struct Source {
    Register bytes[4];

    Source(Register a, Register b, Register c, Register d) : bytes{a, b, c, d} {}
  };

  Register taps[4];

  BytesByBytes() = default;
  explicit BytesByBytes(short const* coefs) {
    for (int t = 0; t < 4; ++t) taps[t] = Ops::BroadcastByte(static_cast<unsigned char>(coefs[t]));
  }

  Register Filter(Source const& source) const {
    auto low = Ops::MultiplyLow(source.bytes[0], taps[0]);
    auto high = Ops::MultiplyHigh(source.bytes[0], taps[0]);
    for (int t = 1; t < 4; ++t) {
      low = Ops::MultiplyAddLow(low, source.bytes[t], taps[t]);
      high = Ops::MultiplyAddHigh(high, source.bytes[t], taps[t]);
    }
    return Ops::NarrowBy6(low, high);
  }
};

// Any taps: bytes are widened first, and sums wrap.
template <class Ops>
struct Words {
  typedef typename Ops::Register Register;

  struct Source {
    Register bytes[4];

    Source(Register a, Register b, Register c, Register d) : bytes{a, b, c, d} {}
  };

  decltype(Ops::Broadcast(0)) taps[4];

  Words() = default;
  explicit Words(short const* coefs) {
    for (int t = 0; t < 4; ++t) taps[t] = Ops::Broadcast(coefs[t]);
  }

  Register Filter(Source const& source) const {
    auto low = Ops::Broadcast(0), high = low;
    for (int t = 0; t < 4; ++t) {
      low = Ops::Add(low, Ops::Multiply(Ops::WidenLow(source.bytes[t]), taps[t]));
      high = Ops::Add(high, Ops::Multiply(Ops::WidenHigh(source.bytes[t]), taps[t]));
    }
    return Ops::Pack(Ops::ShiftBy6(low), Ops::ShiftBy6(high));
  }
};

template <class Ops>
using ByteTaps = typename Ops::template ByteTaps<Ops>;

// Filters lines that come from the same four: whole vectors, then one that ends with the line.
template <class Ops, class Taps, int lineCount>
[[gnu::always_inline]] inline void FilterVectors(fourtap::VertTaps const* taps, ptrdiff_t firstByte, ptrdiff_t count,
                                                 unsigned char* const* dst) {
  ptrdiff_t const vectorBytes = sizeof(typename Ops::Register);
  // Copied, since a store of bytes may change whatever is in memory for all that the compiler knows.
  unsigned char const* source[4];
  for (int t = 0; t < 4; ++t) {
    source[t] = taps->lines[t];
    HoldInRegister(source[t]);
    source[t] += firstByte;
    HoldInRegister(source[t]);
  }
  unsigned char* filtered[lineCount];
  Taps filters[lineCount];
  for (int k = 0; k < lineCount; ++k) {
    filtered[k] = dst[k];
    filters[k] = Taps(taps[k].coefs);
  }
  auto const filterAt = [&](ptrdiff_t at) {
    typename Ops::Register bytes[4];
    for (int t = 0; t < 4; ++t) {
      bytes[t] = Ops::Load(source[t] + at);
      Ops::Hold(bytes[t]);
    }
    typename Taps::Source const interleaved(bytes[0], bytes[1], bytes[2], bytes[3]);
    for (int k = 0; k < lineCount; ++k) Ops::Store(filtered[k] + at, filters[k].Filter(interleaved));
  };
  ptrdiff_t const last = count - vectorBytes;
  ptrdiff_t at = 0;
  for (; at <= last; at += vectorBytes) filterAt(at);
  if (at < count) filterAt(last);
}

// So many source lines the next two output lines need beyond those of two that begin so far apart.
template <int apart>
constexpr int broughtLines = 2 * apart;

// Filters two lines whose tap lines begin one or two lines apart. Both see the lines `apart` and `apart` + 1: these are
// interleaved once, and each line's other two beside them. Not inlined: g++ would spill registers in the loops beside
// it.
template <class Ops, int apart, bool fetchesAhead>
[[gnu::noinline]] void FilterNeighbours(fourtap::VertTaps const* taps, ptrdiff_t firstByte, ptrdiff_t count,
                                        unsigned char* const* dst) {
  static_assert(apart == 1 || apart == 2);
  typedef typename Ops::Register Register;
  ptrdiff_t const vectorBytes = sizeof(Register);
  constexpr int lineCount = 4 + apart;
  unsigned char const* source[lineCount];
  for (int t = 0; t < lineCount; ++t) {
    source[t] = taps->lines[t];
    HoldInRegister(source[t]);
    source[t] += firstByte;
    HoldInRegister(source[t]);
  }
  // The lines that the next two bring, a few of them at a time: each once in 64 bytes, or what comes near that.
  constexpr int atOnce = broughtLines<apart> * vectorBytes > 64 ? broughtLines<apart> * vectorBytes / 64 : 1;
  unsigned char const* coming[broughtLines<apart>];
  for (int t = 0; fetchesAhead && t < broughtLines<apart>; ++t) coming[t] = taps->lines[lineCount + t] + firstByte;
  unsigned char* const first = dst[0];
  unsigned char* const second = dst[1];
  auto const tapPair = [](short const* coefs, int a, int b) {
    short const both[] = {coefs[a], coefs[b]};
    return Ops::Broadcast(BytePairs<Ops>::Pair(both));
  };
  Register const firstShared = tapPair(taps[0].coefs, apart, apart + 1);
  Register const firstOwn = apart == 1 ? tapPair(taps[0].coefs, 0, 3) : tapPair(taps[0].coefs, 0, 1);
  Register const secondShared = tapPair(taps[1].coefs, 0, 1), secondOwn = tapPair(taps[1].coefs, 2, 3);
  auto const filterAt = [&](ptrdiff_t at) {
    ptrdiff_t const turn = at / vectorBytes * atOnce % broughtLines<apart>;
    for (int i = 0; fetchesAhead && i < atOnce; ++i) __builtin_prefetch(coming[turn + i] + at);
    auto const load = [&](int line) {
      Register bytes = Ops::Load(source[line] + at);
      Ops::Hold(bytes);
      return bytes;
    };
    Register const shared0 = load(apart), shared1 = load(apart + 1);
    Register const sharedLow = Ops::InterleaveLow(shared0, shared1);
    Register const sharedHigh = Ops::InterleaveHigh(shared0, shared1);
    auto const filter = [&](Register a, Register b, Register sharedTaps, Register ownTaps) {
      Register const low = Ops::Add(Ops::MultiplyAddBytes(sharedLow, sharedTaps),
                                    Ops::MultiplyAddBytes(Ops::InterleaveLow(a, b), ownTaps));
      Register const high = Ops::Add(Ops::MultiplyAddBytes(sharedHigh, sharedTaps),
                                     Ops::MultiplyAddBytes(Ops::InterleaveHigh(a, b), ownTaps));
      return Ops::Pack(Ops::ShiftBy6(low), Ops::ShiftBy6(high));
    };
    Register const third = load(3);
    Ops::Store(first + at, filter(load(0), apart == 1 ? third : load(1), firstShared, firstOwn));
    Ops::Store(second + at, filter(apart == 1 ? third : load(4), load(lineCount - 1), secondShared, secondOwn));
  };
  ptrdiff_t const last = count - vectorBytes;
  ptrdiff_t at = 0;
  for (; at <= last; at += vectorBytes) filterAt(at);
  if (at < count) filterAt(last);
}

template <class Ops, int apart>
void FilterBoth(fourtap::VertTaps const* taps, ptrdiff_t firstByte, ptrdiff_t count, unsigned char* const* dst) {
  bool const fetchesAhead = taps->comingLines >= apart + broughtLines<apart>;
  (fetchesAhead ? FilterNeighbours<Ops, apart, true> : FilterNeighbours<Ops, apart, false>)(taps, firstByte, count,
                                                                                            dst);
}

// The same for a line that is shorter than a vector.
template <class Ops, class Taps>
[[gnu::noinline]] void FilterShort(fourtap::VertTaps const& taps, ptrdiff_t firstByte, ptrdiff_t count,
                                   unsigned char* dst) {
  ptrdiff_t const vectorBytes = sizeof(typename Ops::Register);
  unsigned char copies[4][vectorBytes] = {};
  unsigned char const* sources[4];
  for (int t = 0; t < 4; ++t) {
    std::memcpy(copies[t], taps.lines[t] + firstByte, static_cast<size_t>(count));
    sources[t] = copies[t];
  }
  unsigned char filtered[vectorBytes];
  unsigned char* const to = filtered;
  fourtap::VertTaps const ofCopies{sources, taps.coefs, 0};
  FilterVectors<Ops, Taps, 1>(&ofCopies, 0, vectorBytes, &to);
  std::memcpy(dst, filtered, static_cast<size_t>(count));
}

// A VertFilterLines.
template <class Ops>
void FilterRuns(fourtap::VertTaps const* taps, int lineCount, int firstByte, int count, unsigned char* const* dst) {
  if (count < static_cast<int>(sizeof(typename Ops::Register))) {
    for (int k = 0; k < lineCount; ++k) FilterShort<Ops, ByteTaps<Ops>>(taps[k], firstByte, count, dst[k]);
    return;
  }
  for (int k = 0; k < lineCount; ++k) {
    ptrdiff_t const apart = k + 1 < lineCount ? taps[k + 1].lines - taps[k].lines : -1;
    if (apart == 0) {
      FilterVectors<Ops, ByteTaps<Ops>, 2>(taps + k, firstByte, count, dst + k);
      ++k;
      continue;
    }
    if constexpr (ByteTaps<Ops>::sharesPairs) {
      if (apart == 1 || apart == 2) {
        (apart == 1 ? FilterBoth<Ops, 1> : FilterBoth<Ops, 2>)(taps + k, firstByte, count, dst + k);
        ++k;
        continue;
      }
    }
    FilterVectors<Ops, ByteTaps<Ops>, 1>(taps + k, firstByte, count, dst + k);
  }
}

// A vertical filter as it is exported: one line, any taps.
template <class Ops>
void FilterLine(unsigned char* dst, unsigned char const* const (&lines)[4], int count, short* coefs) {
  fourtap::VertTaps const taps{lines, coefs, 0};
  bool const fit = ByteTaps<Ops>::Fit(coefs);
  if (count >= static_cast<int>(sizeof(typename Ops::Register))) {
    if (fit) {
      FilterVectors<Ops, ByteTaps<Ops>, 1>(&taps, 0, count, &dst);
    } else {
      FilterVectors<Ops, Words<Ops>, 1>(&taps, 0, count, &dst);
    }
  } else if (count > 0) {
    (fit ? FilterShort<Ops, ByteTaps<Ops>> : FilterShort<Ops, Words<Ops>>)(taps, 0, count, dst);
  }
}

}  // namespace

// The vertical filter of a set, as scalers use it and as it is exported.
#define FOURTAP_DEFINE_VERT_FILTER(set, Ops)                                                                      \
  void fourtap::FilterLinesVertically_##set(VertTaps const* taps, int lineCount, int firstByte, int count,        \
                                            unsigned char* const* dst) {                                          \
    FilterRuns<Ops>(taps, lineCount, firstByte, count, dst);                                                      \
  }                                                                                                               \
  void FourTapVertFilter_##set(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,        \
                               unsigned char const* line2, unsigned char const* line3, int count, short* coefs) { \
    FilterLine<Ops>(dst, {line0, line1, line2, line3}, count, coefs);                                             \
  }
