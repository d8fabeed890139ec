// The kernels of reductions in NEON registers.
#include "filters/Neon.h"
#include "reduced/Reducing16.h"

namespace {

// Words are held as the bytes that they are made of, so that all registers are of one type.
struct Reducing {
  typedef uint8x16_t Register;

  static uint16x8_t Words(Register a) { return vreinterpretq_u16_u8(a); }
  static Register Held(uint16x8_t a) { return vreinterpretq_u8_u16(a); }

  static Register Load(unsigned char const* from) { return Neon::Load(from); }
  static void Store(unsigned char* to, Register bytes) { Neon::Store(to, bytes); }
  static Register LookUp(Register bytes, Register number) { return Neon::LookUp(bytes, number); }
  static Register Average(Register a, Register b) { return vrhaddq_u8(a, b); }
  static Register Not(Register a) { return vmvnq_u8(a); }
  static Register SumsOfPairs(Register bytes) { return Held(vpaddlq_u8(bytes)); }

  static Register Broadcast(short value) { return Held(vdupq_n_u16(static_cast<unsigned short>(value))); }
  static Register WidenLow(Register a) { return Held(vmovl_u8(vget_low_u8(a))); }
  static Register WidenHigh(Register a) { return Held(vmovl_high_u8(a)); }
  static Register WidenSigned(Register bytes) {
    return vreinterpretq_u8_s16(vmovl_s8(vget_low_s8(vreinterpretq_s8_u8(bytes))));
  }
  static Register Multiply(Register a, Register b) { return Held(vmulq_u16(Words(a), Words(b))); }
  static Register Add(Register a, Register b) { return Held(vaddq_u16(Words(a), Words(b))); }
  static Register SubtractToZero(Register a, Register b) { return Held(vqsubq_u16(Words(a), Words(b))); }
  static Register ShiftRight(Register a, int bits) {
    return Held(vshlq_u16(Words(a), vdupq_n_s16(static_cast<short>(-bits))));
  }
  static Register Pack(Register low, Register high) { return vqmovn_high_u16(vqmovn_u16(Words(low)), Words(high)); }

  static Register LoadWords(unsigned char const* from) { return Held(vmovl_u8(vld1_u8(from))); }
  static void StoreHalf(unsigned char* to, Register bytes) { vst1_u8(to, vget_low_u8(bytes)); }
  static Register LowHalves(Register a, Register b) {
    return vreinterpretq_u8_u64(vzip1q_u64(vreinterpretq_u64_u8(a), vreinterpretq_u64_u8(b)));
  }
  // The words from that one on; what is behind them does not count.
  template <int word>
  static Register WordsFrom(Register a) {
    return vextq_u8(a, a, 2 * word);
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_neon = Kernels16<Reducing>::all;
}
