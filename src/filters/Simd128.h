// The vocabulary of WebAssembly's vectors: 16 bytes, and words of 16 bits, eight to a register. Included by files
// compiled for newer processors, so all of it stays theirs.
#pragma once

#include <wasm_simd128.h>

#include "filters/VertFilterBytes.h"

namespace {

struct Simd128 {
  typedef v128_t Register;
  template <class Ops>
  using ByteTaps = BytesByBytes<Ops>;

  static Register Load(unsigned char const* from) { return wasm_v128_load(from); }
  static void Store(unsigned char* to, Register bytes) { wasm_v128_store(to, bytes); }
  // Which values stay in registers is decided where the module runs.
  static void Hold(Register&) {}

  // Bytes times bytes, of the lower and of the upper half; sums of them that are below 2^14, shifted down to bytes.
  static Register BroadcastByte(unsigned char value) { return wasm_u8x16_splat(value); }
  static Register MultiplyLow(Register a, Register b) { return wasm_u16x8_extmul_low_u8x16(a, b); }
  static Register MultiplyHigh(Register a, Register b) { return wasm_u16x8_extmul_high_u8x16(a, b); }
  static Register MultiplyAddLow(Register sum, Register a, Register b) { return Add(sum, MultiplyLow(a, b)); }
  static Register MultiplyAddHigh(Register sum, Register a, Register b) { return Add(sum, MultiplyHigh(a, b)); }
  static Register NarrowBy6(Register low, Register high) { return Pack(ShiftBy6(low), ShiftBy6(high)); }

  // Words with a sign, which wrap, and saturate as bytes.
  static Register Broadcast(short value) { return wasm_i16x8_splat(value); }
  static Register WidenLow(Register a) { return wasm_u16x8_extend_low_u8x16(a); }
  static Register WidenHigh(Register a) { return wasm_u16x8_extend_high_u8x16(a); }
  static Register Multiply(Register a, Register b) { return wasm_i16x8_mul(a, b); }
  static Register Add(Register a, Register b) { return wasm_i16x8_add(a, b); }
  static Register ShiftBy6(Register a) { return wasm_i16x8_shr(a, 6); }
  static Register Pack(Register low, Register high) { return wasm_u8x16_narrow_i16x8(low, high); }

  // Byte i of the result is byte number[i], 0 to 15.
  static Register LookUp(Register bytes, Register number) { return wasm_i8x16_swizzle(bytes, number); }
  // The sums of four products each: of a, then of b.
  static Register SumsOfFour(Register a, Register tapsOfA, Register b, Register tapsOfB) {
    return wasm_u16x8_narrow_i32x4(DoubleSums(a, tapsOfA), DoubleSums(b, tapsOfB));
  }
  static Register DoubleSums(Register a, Register taps) {
    Register const low = wasm_u32x4_extadd_pairwise_u16x8(MultiplyLow(a, taps));
    Register const high = wasm_u32x4_extadd_pairwise_u16x8(MultiplyHigh(a, taps));
    return wasm_i32x4_add(wasm_i32x4_shuffle(low, high, 0, 2, 4, 6), wasm_i32x4_shuffle(low, high, 1, 3, 5, 7));
  }
};

}  // namespace
