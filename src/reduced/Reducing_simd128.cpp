// The kernels of reductions in WebAssembly's vectors.
#include "filters/Simd128.h"
#include "reduced/ReducingVectors.h"

namespace {

struct Reducing : Simd128 {
  static Register Average(Register a, Register b) { return wasm_u8x16_avgr(a, b); }
  // Rounded down by rounding up how much the bytes are short of 255.
  static Register AverageDown(Register a, Register b) {
    return wasm_v128_not(wasm_u8x16_avgr(wasm_v128_not(a), wasm_v128_not(b)));
  }
  static Register SubtractToZero(Register a, Register b) { return wasm_u16x8_sub_sat(a, b); }
  static Register ShiftRight(Register a, unsigned bits) { return wasm_u16x8_shr(a, bits); }

  // Of two lines, as words beside each other.
  struct Two {
    Register first, second;
  };
  static Two InterleaveLow(Register a, Register b) { return {WidenLow(a), WidenLow(b)}; }
  static Two InterleaveHigh(Register a, Register b) { return {WidenHigh(a), WidenHigh(b)}; }
  static Two TapPair(short taps) {
    Register const both = Broadcast(taps);
    return {wasm_i16x8_shr(wasm_i16x8_shl(both, 8), 8), wasm_i16x8_shr(both, 8)};
  }
  static Register MultiplyAddBytes(Two const& bytes, Two const& taps) {
    return Add(Multiply(bytes.first, taps.first), Multiply(bytes.second, taps.second));
  }
};

// Where bytes are picked from.
struct Order {
  alignas(16) unsigned char bytes[16] = {};

  v128_t Load() const { return wasm_v128_load(bytes); }
};

template <int channels>
struct Pairs {
  static constexpr int pairs = 8 / channels, readBytes = 16;
  // Each byte beside that of the next pixel.
  static constexpr Order order = [] {
    Order inPairs;
    for (int i = 0; i < 2 * channels * pairs; ++i) {
      int const pair = i / (2 * channels), channel = i / 2 % channels;
      inPairs.bytes[i] = static_cast<unsigned char>((2 * pair + i % 2) * channels + channel);
    }
    return inPairs;
  }();

  static v128_t Sums(unsigned char const* from) {
    v128_t const bytes = wasm_v128_load(from);
    return wasm_u16x8_extadd_pairwise_u8x16(channels == 1 ? bytes : wasm_i8x16_swizzle(bytes, order.Load()));
  }

  // Of three channels two bytes are left over, which are overwritten, or slack.
  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    v128_t const sums = wasm_i16x8_add(wasm_i16x8_add(Sums(first), Sums(second)), wasm_i16x8_splat(half));
    v128_t const words = wasm_u16x8_shr(sums, 2);
    wasm_v128_store64_lane(dst, wasm_u8x16_narrow_i16x8(words, words), 0);
  }
};

// Taps as words, each as often as a pixel has channels.
template <int channels>
struct Pixels {
  static constexpr int pixels = 8 / channels;
  static constexpr int registers = fourtap::mostTaps / pixels;

  struct Taps {
    v128_t words[registers];

    explicit Taps(signed char const* taps) {
      static constexpr auto orders = [] {
        struct {
          Order of[registers];
        } all;
        for (int r = 0; r < registers; ++r) {
          for (int i = 0; i < 8; ++i) {
            // What is beyond the pixels of a register is picked from nowhere, which gives 0.
            all.of[r].bytes[i] = static_cast<unsigned char>(i < pixels * channels ? r * pixels + i / channels : 0xff);
          }
        }
        return all;
      }();
      v128_t const bytes = wasm_v128_load(taps);
#pragma GCC unroll 8
      for (int r = 0; r < registers; ++r) {
        words[r] = wasm_i16x8_extend_low_i8x16(wasm_i8x16_swizzle(bytes, orders.of[r].Load()));
      }
    }
  };
  typedef v128_t Sums;

  template <int count>
  static v128_t Sum(unsigned char const* from, Taps const& taps) {
    v128_t sum = wasm_i16x8_splat(0);
#pragma GCC unroll 8
    for (int r = 0; r < count / pixels; ++r) {
      sum = wasm_i16x8_add(sum, wasm_i16x8_mul(wasm_u16x8_load8x8(from + r * pixels * channels), taps.words[r]));
    }
    return sum;
  }

  // The sums of a pixel, in the lower four words.
  static v128_t OfPixel(v128_t sum) {
    if (channels == 3) return wasm_i16x8_add(sum, wasm_i16x8_shuffle(sum, sum, 3, 4, 5, 6, 7, 7, 7, 7));
    sum = wasm_i16x8_add(sum, wasm_i64x2_shuffle(sum, sum, 1, 1));
    if (channels <= 2) sum = wasm_i16x8_add(sum, wasm_i32x4_shuffle(sum, sum, 1, 1, 1, 1));
    if (channels == 1) sum = wasm_i16x8_add(sum, wasm_i16x8_shuffle(sum, sum, 1, 1, 1, 1, 1, 1, 1, 1));
    return sum;
  }

  static void Bytes(v128_t const* sums, unsigned char* bytes) {
    v128_t const half = Reducing::Broadcast(liftedHalf);
    v128_t const low = wasm_i64x2_shuffle(OfPixel(sums[0]), OfPixel(sums[1]), 0, 2);
    v128_t const high = wasm_i64x2_shuffle(OfPixel(sums[2]), OfPixel(sums[3]), 0, 2);
    Reducing::Store(bytes, LineReducer<Reducing>::BytesOf(Reducing::Add(low, half), Reducing::Add(high, half)));
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_simd128 = kernelsBy<Reducing, Pairs, Pixels>;
}
