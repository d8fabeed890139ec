// The kernels of reductions, 32 bytes at a time.
#include "filters/Avx2Bytes.h"
#include "reduced/ReducingVectors.h"

namespace {

__m128i Load16(void const* from) { return _mm_loadu_si128(static_cast<__m128i const*>(from)); }
__m256i InBothLanes(__m128i lane) { return _mm256_broadcastsi128_si256(lane); }
__m256i Lanes(__m128i low, __m128i high) { return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1); }

// Four pixels of three channels in each lane, or 16 bytes of other pixels.
template <int channels>
__m256i LoadPixels(unsigned char const* from) {
  if (channels == 3) return Lanes(Load16(from), Load16(from + 12));
  return Avx2::Load(from);
}

// Each byte beside that of the next pixel, in each lane: a0 a1 b0 b1 c0 c1 .. a2 a3 b2 b3 c2 c3 ..
template <int channels>
__m256i InPairs(__m256i pixels) {
  if (channels == 1) return pixels;
  __m128i const order = channels == 2   ? _mm_setr_epi8(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15)
                        : channels == 3 ? _mm_setr_epi8(0, 3, 1, 4, 2, 5, -1, -1, 6, 9, 7, 10, 8, 11, -1, -1)
                                        : _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
  return _mm256_shuffle_epi8(pixels, InBothLanes(order));
}

template <int channels>
struct Pairs {
  static constexpr int pairs = 32 / channels, readBytes = 64;

  static __m256i Sums(unsigned char const* bytes) { return SumsOf(Avx2::Load(bytes)); }

  static __m256i SumsOf(__m256i pixels) { return _mm256_maddubs_epi16(InPairs<channels>(pixels), _mm256_set1_epi8(1)); }

  static __m256i Averages(__m256i first, __m256i second, short half) {
    return _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(first, second), _mm256_set1_epi16(half)), 2);
  }

  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m256i const low = Averages(Sums(first), Sums(second), half),
                  high = Averages(Sums(first + 32), Sums(second + 32), half);
    Avx2::Store(dst, _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), _MM_SHUFFLE(3, 1, 2, 0)));
  }
};

// Four pixels a lane. Lanes are loaded so that packing puts them in order.
template <>
struct Pairs<3> {
  static constexpr int pairs = 8, readBytes = 52;

  static __m256i Sums(unsigned char const* bytes) {
    __m256i const pixels = Lanes(Load16(bytes), Load16(bytes + 24));
    return _mm256_maddubs_epi16(InPairs<3>(pixels), _mm256_set1_epi8(1));
  }

  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m256i const low = Pairs<1>::Averages(Sums(first), Sums(second), half);
    __m256i const high = Pairs<1>::Averages(Sums(first + 12), Sums(second + 12), half);
    // Of each four bytes three are pixels; what is stored behind them is overwritten, or slack.
    __m128i const order = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    __m256i const pixels = _mm256_shuffle_epi8(_mm256_packus_epi16(low, high), InBothLanes(order));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(pixels));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 12), _mm256_extracti128_si256(pixels, 1));
  }
};

// Three or four channels: 16 pixels are two registers.
template <int channels>
struct Pixels {
  struct Taps {
    __m256i low, high;

    explicit Taps(signed char const* from) {
      __m256i const taps = InBothLanes(Load16(from));
      low = _mm256_shuffle_epi8(taps, _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5, 4, 5,
                                                       4, 5, 6, 7, 6, 7, 6, 7, 6, 7));
      high = _mm256_shuffle_epi8(taps, _mm256_setr_epi8(8, 9, 8, 9, 8, 9, 8, 9, 10, 11, 10, 11, 10, 11, 10, 11, 12, 13,
                                                        12, 13, 12, 13, 12, 13, 14, 15, 14, 15, 14, 15, 14, 15));
    }
  };
  typedef __m256i Sums;

  template <int count>
  static __m256i Sum(unsigned char const* from, Taps const& taps) {
    __m256i const low = _mm256_maddubs_epi16(InPairs<channels>(LoadPixels<channels>(from)), taps.low);
    if constexpr (count == 8) return low;
    __m256i const high = InPairs<channels>(LoadPixels<channels>(from + 8 * channels));
    return _mm256_add_epi16(low, _mm256_maddubs_epi16(high, taps.high));
  }

  // Sums of two lines, in the lower and in the upper half of each lane.
  static __m256i Together(__m256i first, __m256i second) {
    return _mm256_add_epi16(_mm256_unpacklo_epi64(first, second), _mm256_unpackhi_epi64(first, second));
  }

  static void Bytes(__m256i const* sums, unsigned char* pixels) {
    __m256i const low = Together(sums[0], sums[1]), high = Together(sums[2], sums[3]);
    StoreBytes(_mm256_add_epi16(_mm256_permute2x128_si256(low, high, 0x20), _mm256_permute2x128_si256(low, high, 0x31)),
               pixels);
  }

  // Sums of four words for each line.
  static void StoreBytes(__m256i sums, unsigned char* pixels) {
    __m256i const lifted = _mm256_add_epi16(sums, _mm256_set1_epi16(liftedHalf));
    __m256i const words = _mm256_srli_epi16(_mm256_subs_epu16(lifted, _mm256_set1_epi16(lift)), fourtap::tapBits);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels),
                     _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1)));
  }
};

// 16 pixels are a register.
template <>
struct Pixels<2> {
  struct Taps {
    __m256i both;

    explicit Taps(signed char const* from)
        : both(_mm256_shuffle_epi8(InBothLanes(Load16(from)),
                                   _mm256_setr_epi8(0, 1, 0, 1, 2, 3, 2, 3, 4, 5, 4, 5, 6, 7, 6, 7, 8, 9, 8, 9, 10, 11,
                                                    10, 11, 12, 13, 12, 13, 14, 15, 14, 15))) {}
  };
  typedef __m256i Sums;

  template <int count>
  static __m256i Sum(unsigned char const* from, Taps const& taps) {
    return _mm256_maddubs_epi16(InPairs<2>(Avx2::Load(from)), taps.both);
  }

  static void Bytes(__m256i const* sums, unsigned char* pixels) {
    __m256i folded[fourtap::linesAtOnce];
    for (int k = 0; k < fourtap::linesAtOnce; ++k)
      folded[k] = _mm256_add_epi16(sums[k], _mm256_srli_epi64(sums[k], 32));
    Pixels<4>::Bytes(folded, pixels);
  }
};

// Half a register.
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
    __m128i const lines = _mm_hadd_epi16(pairs, pairs);
    __m128i const twice = _mm_unpacklo_epi16(lines, lines);
    Pixels<4>::StoreBytes(Lanes(_mm_unpacklo_epi32(twice, twice), _mm_unpackhi_epi32(twice, twice)), pixels);
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_avx2 = kernelsBy<Avx2, Pairs, Pixels>;
}
