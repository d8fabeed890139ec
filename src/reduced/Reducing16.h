// The kernels of reductions in registers of 16 bytes with a look-up among the bytes of one. Included by files compiled
// for newer processors, so all of it stays theirs.
//
// Set is a set's vocabulary: Register, which holds bytes or words, and what is called below, lane by lane.
#pragma once

#include "reduced/ReducingVectors.h"

namespace {

// What the kernels of all sets ask for, from what such a set has.
template <class Set>
struct Reducing16 : Set {
  typedef typename Set::Register Register;

  // Rounded down by rounding up how much the bytes are short of 255.
  static Register AverageDown(Register a, Register b) { return Set::Not(Set::Average(Set::Not(a), Set::Not(b))); }

  // Of two lines, as words beside each other.
  struct Two {
    Register first, second;
  };
  static Two InterleaveLow(Register a, Register b) { return {Set::WidenLow(a), Set::WidenLow(b)}; }
  static Two InterleaveHigh(Register a, Register b) { return {Set::WidenHigh(a), Set::WidenHigh(b)}; }
  static Two TapPair(short taps) {
    return {Set::Broadcast(static_cast<signed char>(taps & 255)), Set::Broadcast(static_cast<short>(taps >> 8))};
  }
  static Register MultiplyAddBytes(Two const& bytes, Two const& taps) {
    return Set::Add(Set::Multiply(bytes.first, taps.first), Set::Multiply(bytes.second, taps.second));
  }
};

// Where bytes are picked from.
struct Order16 {
  alignas(16) unsigned char bytes[16] = {};
};

// Of a Set, as ReducingVectors.h wants templates by channels.
template <class Set>
struct Kernels16 {
  typedef typename Set::Register Register;

  template <int channels>
  struct Pairs {
    static constexpr int pairs = 8 / channels, readBytes = 16;
    // Each byte beside that of the next pixel.
    static constexpr Order16 order = [] {
      Order16 inPairs;
      for (int i = 0; i < 2 * channels * pairs; ++i) {
        int const pair = i / (2 * channels), channel = i / 2 % channels;
        inPairs.bytes[i] = static_cast<unsigned char>((2 * pair + i % 2) * channels + channel);
      }
      return inPairs;
    }();

    static Register Sums(unsigned char const* from) {
      Register const bytes = Set::Load(from);
      return Set::SumsOfPairs(channels == 1 ? bytes : Set::LookUp(bytes, Set::Load(order.bytes)));
    }

    // Of three channels two bytes are left over, which are overwritten, or slack.
    static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
      Register const words = Set::ShiftRight(Set::Add(Set::Add(Sums(first), Sums(second)), Set::Broadcast(half)), 2);
      Set::StoreHalf(dst, Set::Pack(words, words));
    }
  };

  // Taps as words, each as often as a pixel has channels.
  template <int channels>
  struct Pixels {
    static constexpr int pixels = 8 / channels;
    static constexpr int registers = fourtap::mostTaps / pixels;

    struct Taps {
      Register words[registers];

      explicit Taps(signed char const* taps) {
        static constexpr auto orders = [] {
          struct {
            Order16 of[registers];
          } all;
          for (int r = 0; r < registers; ++r) {
            for (int i = 0; i < 8; ++i) {
              // What is beyond the pixels of a register is picked from nowhere, which gives 0.
              all.of[r].bytes[i] = static_cast<unsigned char>(i < pixels * channels ? r * pixels + i / channels : 0xff);
            }
          }
          return all;
        }();
        Register const bytes = Set::Load(reinterpret_cast<unsigned char const*>(taps));
#pragma GCC unroll 8
        for (int r = 0; r < registers; ++r) {
          words[r] = Set::WidenSigned(Set::LookUp(bytes, Set::Load(orders.of[r].bytes)));
        }
      }
    };
    typedef Register Sums;

    template <int count>
    static Register Sum(unsigned char const* from, Taps const& taps) {
      Register sum = Set::Broadcast(0);
#pragma GCC unroll 8
      for (int r = 0; r < count / pixels; ++r) {
        sum = Set::Add(sum, Set::Multiply(Set::LoadWords(from + r * pixels * channels), taps.words[r]));
      }
      return sum;
    }

    // The sums of a pixel, in the lower four words.
    static Register OfPixel(Register sum) {
      if (channels == 3) return Set::Add(sum, Set::template WordsFrom<3>(sum));
      sum = Set::Add(sum, Set::template WordsFrom<4>(sum));
      if (channels <= 2) sum = Set::Add(sum, Set::template WordsFrom<2>(sum));
      if (channels == 1) sum = Set::Add(sum, Set::template WordsFrom<1>(sum));
      return sum;
    }

    static void Bytes(Register const* sums, unsigned char* bytes) {
      Register const half = Set::Broadcast(liftedHalf);
      Register const low = Set::LowHalves(OfPixel(sums[0]), OfPixel(sums[1]));
      Register const high = Set::LowHalves(OfPixel(sums[2]), OfPixel(sums[3]));
      Set::Store(bytes, LineReducer<Reducing16<Set>>::BytesOf(Set::Add(low, half), Set::Add(high, half)));
    }
  };

  static constexpr fourtap::ReducingKernels all = kernelsBy<Reducing16<Set>, Pairs, Pixels>;
};

}  // namespace
