// The kernels of reductions, 64 bytes at a time.
#include "filters/Avx512Bytes.h"
#include "reduced/ReducingVectors.h"

namespace {

__m128i Load16(void const* from) { return _mm_loadu_si128(static_cast<__m128i const*>(from)); }

// Where bytes are picked from.
struct Order {
  alignas(64) unsigned char bytes[64] = {};

  __m512i Load() const { return _mm512_load_si512(bytes); }
};

// Each byte beside that of the next pixel: a0 a1 b0 b1 c0 c1 a2 a3 b2 b3 c2 c3 .., the pixels of a pair `distance`
// bytes behind those of the pair before, so many pairs in order.
constexpr Order PairsOf(int channels, int distance, int pairs) {
  Order order;
  for (int pair = 0; pair < pairs; ++pair) {
    for (int c = 0; c < channels; ++c) {
      for (int which = 0; which < 2; ++which) {
        order.bytes[pair * distance + 2 * c + which] = static_cast<unsigned char>((2 * pair + which) * channels + c);
      }
    }
  }
  return order;
}

template <int channels>
struct Pairs {
  static constexpr int pairs = 32 / channels, readBytes = 64;
  static constexpr Order order = PairsOf(channels, 2 * channels, pairs);

  static __m512i Sums(unsigned char const* from) {
    __m512i const bytes = _mm512_permutexvar_epi8(order.Load(), Avx512::Load(from));
    return _mm512_maddubs_epi16(bytes, _mm512_set1_epi8(1));
  }

  // Of three channels two bytes are left over, which are overwritten, or slack.
  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m512i const sums = _mm512_add_epi16(_mm512_add_epi16(Sums(first), Sums(second)), _mm512_set1_epi16(half));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm512_cvtepi16_epi8(_mm512_srli_epi16(sums, 2)));
  }
};

// Three or four channels: 16 pixels are a register, of whose lanes each has four.
template <int channels>
struct Pixels {
  static constexpr Order order = PairsOf(channels, 8, 8);

  struct Taps {
    __m512i taps;

    explicit Taps(signed char const* from) {
      static constexpr Order spread = [] {
        Order fourTimes;
        for (int i = 0; i < 64; ++i) fourTimes.bytes[i] = static_cast<unsigned char>(i / 8 * 2 + i % 2);
        return fourTimes;
      }();
      taps = _mm512_permutexvar_epi8(spread.Load(), _mm512_castsi128_si512(Load16(from)));
    }
  };
  typedef __m512i Sums;

  template <int count>
  static __m512i Sum(unsigned char const* from, Taps const& taps) {
    return _mm512_maddubs_epi16(_mm512_permutexvar_epi8(order.Load(), Avx512::Load(from)), taps.taps);
  }

  // Sums of two lines, in the lower and in the upper half of each lane.
  static __m512i Together(__m512i first, __m512i second) {
    return _mm512_add_epi16(_mm512_unpacklo_epi64(first, second), _mm512_unpackhi_epi64(first, second));
  }

  static void Bytes(__m512i const* sums, unsigned char* pixels) {
    __m512i const low = Together(sums[0], sums[1]), high = Together(sums[2], sums[3]);
    __m512i const lanes =
        _mm512_add_epi16(_mm512_shuffle_i64x2(low, high, 0x88), _mm512_shuffle_i64x2(low, high, 0xdd));
    __m512i const even = _mm512_shuffle_i64x2(lanes, lanes, 0x08), odd = _mm512_shuffle_i64x2(lanes, lanes, 0x0d);
    StoreBytes(_mm512_castsi512_si256(_mm512_add_epi16(even, odd)), pixels);
  }

  // Sums of four words for each line.
  static void StoreBytes(__m256i sums, unsigned char* pixels) {
    __m256i const lifted = _mm256_add_epi16(sums, _mm256_set1_epi16(liftedHalf));
    __m256i const words = _mm256_srli_epi16(_mm256_subs_epu16(lifted, _mm256_set1_epi16(lift)), fourtap::tapBits);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels), _mm256_cvtusepi16_epi8(words));
  }
};

// 16 pixels are half a register.
template <>
struct Pixels<2> {
  struct Taps {
    __m512i taps;

    explicit Taps(signed char const* from) {
      static constexpr Order spread = [] {
        Order twice;
        for (int i = 0; i < 32; ++i) twice.bytes[i] = static_cast<unsigned char>(i / 4 * 2 + i % 2);
        return twice;
      }();
      taps = _mm512_permutexvar_epi8(spread.Load(), _mm512_castsi128_si512(Load16(from)));
    }
  };
  typedef __m256i Sums;

  template <int count>
  static __m256i Sum(unsigned char const* from, Taps const& taps) {
    __m256i const pixels = _mm256_loadu_si256(reinterpret_cast<__m256i const*>(from));
    __m256i const pairs = _mm256_permutexvar_epi8(_mm512_castsi512_si256(Pairs<2>::order.Load()), pixels);
    return _mm256_maddubs_epi16(pairs, _mm512_castsi512_si256(taps.taps));
  }

  static void Bytes(__m256i const* sums, unsigned char* pixels) {
    __m512i folded[fourtap::linesAtOnce];
    for (int k = 0; k < fourtap::linesAtOnce; ++k) {
      folded[k] = _mm512_zextsi256_si512(_mm256_add_epi16(sums[k], _mm256_srli_epi64(sums[k], 32)));
    }
    Pixels<4>::Bytes(folded, pixels);
  }
};

// A quarter of it.
template <>
struct Pixels<1> {
  struct Taps {
    __m128i taps;

    explicit Taps(signed char const* from) : taps(Load16(from)) {}
  };
  typedef __m128i Sums;

  template <int count>
  static __m128i Sum(unsigned char const* from, Taps const& taps) {
    return _mm_maddubs_epi16(Load16(from), taps.taps);
  }

  static void Bytes(__m128i const* sums, unsigned char* pixels) {
    __m128i const pairs = _mm_hadd_epi16(_mm_hadd_epi16(sums[0], sums[1]), _mm_hadd_epi16(sums[2], sums[3]));
    Pixels<4>::StoreBytes(_mm256_cvtepu16_epi64(_mm_hadd_epi16(pairs, pairs)), pixels);
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_avx512 = kernelsBy<Avx512, Pairs, Pixels>;
}
