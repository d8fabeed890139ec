// The vertical filter of one line, 32 bytes at a time. All bytes go through vector lanes, whatever their number.
#include <fourtapscale/FourTapFilters.h>
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "wide/VertFilterBytes.h"

namespace {

struct Avx2 {
  typedef __m256i Register;

  static Register Broadcast(short value) { return _mm256_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm256_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm256_unpackhi_epi8(a, b); }
  static Register MultiplyAddBytes(Register bytes, Register taps) { return _mm256_maddubs_epi16(bytes, taps); }
  static Register Multiply(Register a, Register b) { return _mm256_mullo_epi16(a, b); }
  static Register Add(Register a, Register b) { return _mm256_add_epi16(a, b); }
  static Register ShiftBy6(Register a) { return _mm256_srai_epi16(a, 6); }
  static Register Pack(Register low, Register high) { return _mm256_packus_epi16(low, high); }

  static Register Load(unsigned char const* from) { return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from)); }
  static void Store(unsigned char* to, Register bytes) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes); }
};

template <class Taps>
void FilterLine(unsigned char* dst, unsigned char const* const (&lines)[4], int count, short const* coefs) {
  Taps const taps(coefs);
  auto const filterAt = [&taps](unsigned char* to, unsigned char const* const(&from)[4], ptrdiff_t at) {
    Avx2::Store(to + at, taps.Filter(Avx2::Load(from[0] + at), Avx2::Load(from[1] + at), Avx2::Load(from[2] + at),
                                     Avx2::Load(from[3] + at)));
  };
  if (count >= 32) {
    for (ptrdiff_t at = 0; at < count - 32; at += 32) filterAt(dst, lines, at);
    filterAt(dst, lines, count - 32);
  } else if (count > 0) {
    unsigned char copies[4][32] = {};
    for (int t = 0; t < 4; ++t) std::memcpy(copies[t], lines[t], static_cast<size_t>(count));
    unsigned char filtered[32];
    filterAt(filtered, {copies[0], copies[1], copies[2], copies[3]}, 0);
    std::memcpy(dst, filtered, static_cast<size_t>(count));
  }
}

}  // namespace

void FourTapVertFilter_avx2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                            unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  auto* const filter = FitBytePairs(coefs) ? FilterLine<BytePairs<Avx2>> : FilterLine<Words<Avx2>>;
  filter(dst, {line0, line1, line2, line3}, count, coefs);
}
