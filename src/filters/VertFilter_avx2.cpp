// The vertical filter, 32 bytes at a time. All bytes go through vector lanes, whatever their number.
#include <fourtapscale/FourTapFilters.h>
#include <immintrin.h>

#include "HoldInVector.h"
#include "filters/VertFilterBytes.h"

namespace {

struct Avx2 {
  typedef __m256i Register;
  template <class Ops>
  using ByteTaps = BytePairs<Ops>;

  static Register Broadcast(short value) { return _mm256_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm256_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm256_unpackhi_epi8(a, b); }
  static Register WidenLow(Register bytes) { return InterleaveLow(bytes, _mm256_setzero_si256()); }
  static Register WidenHigh(Register bytes) { return InterleaveHigh(bytes, _mm256_setzero_si256()); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm256_maddubs_epi16(bytes, taps); }
  static Register Multiply(Register a, Register b) { return _mm256_mullo_epi16(a, b); }
  static Register Add(Register a, Register b) { return _mm256_add_epi16(a, b); }
  static Register ShiftBy6(Register a) { return _mm256_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm256_packus_epi16(low, high); }

  static void Hold(Register& value) { HoldInVector(value); }
  static Register Load(unsigned char const* from) { return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from)); }
  static void Store(unsigned char* to, Register bytes) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes); }
};

}  // namespace

FOURTAP_DEFINE_VERT_FILTER(avx2, Avx2)
