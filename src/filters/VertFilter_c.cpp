// The vertical filter in vectors of the compiler's, 16 bytes at a time. All bytes go through vector lanes, whatever
// their number.
#include <fourtapscale/FourTapFilters.h>

#include <cstring>

#include "filters/FourTapSum.h"
#include "filters/VertFilterBytes.h"

namespace {

typedef unsigned char Bytes8 __attribute__((vector_size(8)));
typedef unsigned char Bytes16 __attribute__((vector_size(16)));
typedef unsigned short Words8 __attribute__((vector_size(16)));
typedef short SignedWords8 __attribute__((vector_size(16)));

struct Plain {
  typedef Bytes16 Register;
  template <class Ops>
  using ByteTaps = BytesByBytes<Ops>;

  static Words8 Widened(Bytes8 bytes) { return __builtin_convertvector(bytes, Words8); }
  static Words8 Low(Register a) { return Widened(__builtin_shufflevector(a, a, 0, 1, 2, 3, 4, 5, 6, 7)); }
  static Words8 High(Register a) { return Widened(__builtin_shufflevector(a, a, 8, 9, 10, 11, 12, 13, 14, 15)); }
  static Register Narrowed(Words8 low, Words8 high) {
    return __builtin_shufflevector(__builtin_convertvector(low, Bytes8), __builtin_convertvector(high, Bytes8), 0, 1, 2,
                                   3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  }

  static Register BroadcastByte(unsigned char value) { return Register{} + value; }
  static Words8 MultiplyLow(Register a, Register b) { return Low(a) * Low(b); }
  static Words8 MultiplyHigh(Register a, Register b) { return High(a) * High(b); }
  static Words8 MultiplyAddLow(Words8 sum, Register a, Register b) { return sum + Low(a) * Low(b); }
  static Words8 MultiplyAddHigh(Words8 sum, Register a, Register b) { return sum + High(a) * High(b); }
  static Register NarrowBy6(Words8 low, Words8 high) { return Narrowed(low >> 6, high >> 6); }

  static Words8 Broadcast(short value) { return Words8{} + static_cast<unsigned short>(value); }
  static Words8 WidenLow(Register bytes) { return Low(bytes); }
  static Words8 WidenHigh(Register bytes) { return High(bytes); }
  static Words8 Multiply(Words8 a, Words8 b) { return a * b; }
  static Words8 Add(Words8 a, Words8 b) { return a + b; }
  static SignedWords8 ShiftBy6(Words8 a) { return reinterpret_cast<SignedWords8>(a) >> 6; }
  // Of what is below 0 all bits are cleared, of what is beyond 255 the lower ones set.
  static Words8 Saturated(SignedWords8 a) { return reinterpret_cast<Words8>((a & ~(a >> 15)) | (255 - a) >> 15); }
  static Register Pack(SignedWords8 low, SignedWords8 high) { return Narrowed(Saturated(low), Saturated(high)); }

  static void Hold(Register&) {}
  static Register Load(unsigned char const* from) {
    Register bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
  }
  static void Store(unsigned char* to, Register bytes) { std::memcpy(to, &bytes, sizeof bytes); }
};

}  // namespace

FOURTAP_DEFINE_VERT_FILTER(c, Plain)
