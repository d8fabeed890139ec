// The kernels of reductions in WebAssembly's vectors.
#include "filters/Simd128.h"
#include "reduced/Reducing16.h"

namespace {

struct Reducing : Simd128 {
  static Register Average(Register a, Register b) { return wasm_u8x16_avgr(a, b); }
  static Register Not(Register a) { return wasm_v128_not(a); }
  static Register SumsOfPairs(Register bytes) { return wasm_u16x8_extadd_pairwise_u8x16(bytes); }
  static Register SubtractToZero(Register a, Register b) { return wasm_u16x8_sub_sat(a, b); }
  static Register ShiftRight(Register a, unsigned bits) { return wasm_u16x8_shr(a, bits); }

  static Register LoadWords(unsigned char const* from) { return wasm_u16x8_load8x8(from); }
  static Register WidenSigned(Register bytes) { return wasm_i16x8_extend_low_i8x16(bytes); }
  static void StoreHalf(unsigned char* to, Register bytes) { wasm_v128_store64_lane(to, bytes, 0); }
  static Register LowHalves(Register a, Register b) { return wasm_i64x2_shuffle(a, b, 0, 2); }
  // The words from that one on; what is behind them does not count.
  template <int word>
  static Register WordsFrom(Register a) {
    return wasm_i16x8_shuffle(a, a, word, word + 1, word + 2, word + 3, word + 4, word + 5, word + 6, word + 7);
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_simd128 = Kernels16<Reducing>::all;
}
