// The vocabulary of NEON: 16 bytes, and words of 16 bits, eight to a register. Included by files compiled for newer
// processors, so all of it stays theirs.
#pragma once

#include <arm_neon.h>

#include "filters/VertFilterBytes.h"

namespace {

struct Neon {
  typedef uint8x16_t Register;
  template <class Ops>
  using ByteTaps = BytesByBytes<Ops>;

  static Register Load(unsigned char const* from) { return vld1q_u8(from); }
  static void Store(unsigned char* to, Register bytes) { vst1q_u8(to, bytes); }
  static void Hold(Register& value) { asm("" : "+w"(value)); }

  // Bytes times bytes, of the lower and of the upper half; sums of them that are below 2^14, shifted down to bytes.
  static Register BroadcastByte(unsigned char value) { return vdupq_n_u8(value); }
  static uint16x8_t MultiplyLow(Register a, Register b) { return vmull_u8(vget_low_u8(a), vget_low_u8(b)); }
  static uint16x8_t MultiplyHigh(Register a, Register b) { return vmull_high_u8(a, b); }
  static uint16x8_t MultiplyAddLow(uint16x8_t sum, Register a, Register b) {
    return vmlal_u8(sum, vget_low_u8(a), vget_low_u8(b));
  }
  static uint16x8_t MultiplyAddHigh(uint16x8_t sum, Register a, Register b) { return vmlal_high_u8(sum, a, b); }
  static Register NarrowBy6(uint16x8_t low, uint16x8_t high) { return vshrn_high_n_u16(vshrn_n_u16(low, 6), high, 6); }

  // Words with a sign, which wrap, and saturate as bytes.
  static int16x8_t Broadcast(short value) { return vdupq_n_s16(value); }
  static int16x8_t WidenLow(Register a) { return vreinterpretq_s16_u16(vmovl_u8(vget_low_u8(a))); }
  static int16x8_t WidenHigh(Register a) { return vreinterpretq_s16_u16(vmovl_high_u8(a)); }
  static int16x8_t Multiply(int16x8_t a, int16x8_t b) { return vmulq_s16(a, b); }
  static int16x8_t Add(int16x8_t a, int16x8_t b) { return vaddq_s16(a, b); }
  static int16x8_t ShiftBy6(int16x8_t a) { return vshrq_n_s16(a, 6); }
  static Register Pack(int16x8_t low, int16x8_t high) { return vqmovun_high_s16(vqmovun_s16(low), high); }

  // Byte i of the result is byte number[i], 0 to 15.
  static Register LookUp(Register bytes, Register number) { return vqtbl1q_u8(bytes, number); }
  // The sums of four products each: of a, then of b.
  static uint16x8_t SumsOfFour(Register a, Register tapsOfA, Register b, Register tapsOfB) {
    uint16x8_t const pairsOfA = vpaddq_u16(MultiplyLow(a, tapsOfA), MultiplyHigh(a, tapsOfA));
    uint16x8_t const pairsOfB = vpaddq_u16(MultiplyLow(b, tapsOfB), MultiplyHigh(b, tapsOfB));
    return vpaddq_u16(pairsOfA, pairsOfB);
  }
};

}  // namespace
