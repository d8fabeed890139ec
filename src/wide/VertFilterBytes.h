// How the wide sets filter bytes vertically. Included by files compiled for newer processors, so all of it stays
// theirs.
//
// Ops is the vocabulary of an instruction set: Register, and what is called below, lane by lane or within 128-bit
// lanes.
#pragma once

namespace {

// Whether a byte multiply-add of two lines at once gives the 16-bit sums: taps fit a byte, and no pair of products
// leaves 16 bits. Otherwise bytes have to be widened first.
inline bool FitBytePairs(short const* coefs) {
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

template <class Ops>
struct BytePairs {
  typedef typename Ops::Register Register;

  Register taps01, taps23;

  explicit BytePairs(short const* coefs)
      : taps01(Ops::Broadcast(Pair(coefs))), taps23(Ops::Broadcast(Pair(coefs + 2))) {}

  // Two taps as the bytes of a word, the first one below.
  static short Pair(short const* coefs) { return static_cast<short>((coefs[0] & 0xff) | (coefs[1] & 0xff) << 8); }

  Register Sum(Register bytes01, Register bytes23) const {
    return Ops::Add(Ops::MultiplyAddBytes(bytes01, taps01), Ops::MultiplyAddBytes(bytes23, taps23));
  }

  Register Filter(Register a, Register b, Register c, Register d) const {
    return Ops::Pack(Ops::ShiftBy6(Sum(Ops::InterleaveLow(a, b), Ops::InterleaveLow(c, d))),
                     Ops::ShiftBy6(Sum(Ops::InterleaveHigh(a, b), Ops::InterleaveHigh(c, d))));
  }
};

template <class Ops>
struct Words {
  typedef typename Ops::Register Register;

  Register taps[4];

  explicit Words(short const* coefs) {
    for (int t = 0; t < 4; ++t) taps[t] = Ops::Broadcast(coefs[t]);
  }

  Register Filter(Register a, Register b, Register c, Register d) const {
    Register const bytes[4] = {a, b, c, d};
    Register const zero = Ops::Broadcast(0);
    Register low = zero, high = zero;
    for (int t = 0; t < 4; ++t) {
      low = Ops::Add(low, Ops::Multiply(Ops::InterleaveLow(bytes[t], zero), taps[t]));
      high = Ops::Add(high, Ops::Multiply(Ops::InterleaveHigh(bytes[t], zero), taps[t]));
    }
    return Ops::Pack(Ops::ShiftBy6(low), Ops::ShiftBy6(high));
  }
};

}  // namespace
