// The vertical filter, 64 bytes at a time. All bytes go through vector lanes, whatever their number.
#include <fourtapscale/FourTapFilters.h>
#include <immintrin.h>

#include "HoldInVector.h"
#include "filters/VertFilterBytes.h"

namespace {

struct Avx512 {
  typedef __m512i Register;
  template <class Ops>
  using ByteTaps = BytePairs<Ops>;

  static Register Broadcast(short value) { return _mm512_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm512_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm512_unpackhi_epi8(a, b); }
  static Register WidenLow(Register bytes) { return InterleaveLow(bytes, _mm512_setzero_si512()); }
  static Register WidenHigh(Register bytes) { return InterleaveHigh(bytes, _mm512_setzero_si512()); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm512_maddubs_epi16(bytes, taps); }
  static Register Multiply(Register a, Register b) { return _mm512_mullo_epi16(a, b); }
  static Register Add(Register a, Register b) { return _mm512_add_epi16(a, b); }
  static Register ShiftBy6(Register a) { return _mm512_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm512_packus_epi16(low, high); }

  static void Hold(Register& value) { HoldInVector(value); }
  static Register Load(unsigned char const* from) { return _mm512_loadu_si512(from); }
  static void Store(unsigned char* to, Register bytes) { _mm512_storeu_si512(to, bytes); }
};

}  // namespace

FOURTAP_DEFINE_VERT_FILTER(avx512, Avx512)
