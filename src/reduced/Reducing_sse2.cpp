// The kernels of reductions, 16 bytes at a time.
#include <emmintrin.h>

#include "reduced/ReducingVectors.h"

namespace {

struct Sse2 {
  typedef __m128i Register;

  static Register Load(unsigned char const* from) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(from)); }
  static void Store(unsigned char* to, Register bytes) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes); }
  static Register Broadcast(short value) { return _mm_set1_epi16(value); }
  static Register InterleaveLow(Register a, Register b) { return _mm_unpacklo_epi8(a, b); }
  static Register InterleaveHigh(Register a, Register b) { return _mm_unpackhi_epi8(a, b); }
  static Register Average(Register a, Register b) { return _mm_avg_epu8(a, b); }
  static Register AverageDown(Register a, Register b) {
    return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
  }
  static Register Add(Register a, Register b) { return _mm_add_epi16(a, b); }
  static Register SubtractToZero(Register a, Register b) { return _mm_subs_epu16(a, b); }
  static Register ShiftRight(Register a, int bits) { return _mm_srli_epi16(a, bits); }
  static Register Pack(Register low, Register high) { return _mm_packus_epi16(low, high); }

  struct Taps {
    Register first, second;
  };
  static Taps TapPair(short taps) {
    Register const both = Broadcast(taps);
    return {_mm_srai_epi16(_mm_slli_epi16(both, 8), 8), _mm_srai_epi16(both, 8)};
  }
  static Register MultiplyAddBytes(Register bytes, Taps const& taps) {
    return Add(_mm_mullo_epi16(_mm_and_si128(bytes, Broadcast(255)), taps.first),
               _mm_mullo_epi16(_mm_srli_epi16(bytes, 8), taps.second));
  }
};

__m128i WordsOf(unsigned char const* bytes) {
  return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(bytes)), _mm_setzero_si128());
}

// Both pixels of a pair in both lines.
__m128i SumsOfPair(unsigned char const* first, unsigned char const* second, int channels) {
  __m128i const here = _mm_add_epi16(WordsOf(first), WordsOf(second));
  return _mm_add_epi16(here, _mm_add_epi16(WordsOf(first + channels), WordsOf(second + channels)));
}

template <int channels>
struct Pairs {
  static constexpr int pairs = 2, readBytes = 3 * channels + 8;

  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m128i const low = SumsOfPair(first, second, channels);
    __m128i const high = SumsOfPair(first + 2 * channels, second + 2 * channels, channels);
    __m128i const halves = _mm_set1_epi16(half);
    __m128i const bytes =
        _mm_packus_epi16(_mm_srli_epi16(_mm_add_epi16(low, halves), 2), _mm_srli_epi16(_mm_add_epi16(high, halves), 2));
    int const pixels[] = {_mm_cvtsi128_si32(bytes), _mm_cvtsi128_si32(_mm_srli_si128(bytes, 8))};
    std::memcpy(dst, pixels, channels);
    std::memcpy(dst + channels, pixels + 1, channels);
  }
};

// Pairs of bytes: the lower byte of each word and the upper one.
__m128i SumsOfBytes(__m128i bytes) {
  return _mm_add_epi16(_mm_and_si128(bytes, _mm_set1_epi16(255)), _mm_srli_epi16(bytes, 8));
}

template <>
struct Pairs<1> {
  static constexpr int pairs = 8, readBytes = 16;

  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m128i const sums = _mm_add_epi16(SumsOfBytes(Sse2::Load(first)), SumsOfBytes(Sse2::Load(second)));
    __m128i const words = _mm_srli_epi16(_mm_add_epi16(sums, _mm_set1_epi16(half)), 2);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(words, words));
  }
};

// Taps as words, each as often as a pixel has channels; three channels share the registers of four, a word apart.
template <int channels>
struct TapWords {
  static constexpr int pixels = channels == 3 ? 2 : 8 / channels;
  static constexpr int registers = fourtap::mostTaps / pixels;
  __m128i words[registers];

  explicit TapWords(signed char const* taps) {
    __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(taps));
    __m128i const once[] = {_mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8),
                            _mm_srai_epi16(_mm_unpackhi_epi8(bytes, bytes), 8)};
    for (int r = 0; r < registers; ++r) {
      __m128i const ones = once[r * 2 / registers];
      if (channels == 1) {
        words[r] = ones;
        continue;
      }
      __m128i const twice = r * 4 / registers % 2 ? _mm_unpackhi_epi16(ones, ones) : _mm_unpacklo_epi16(ones, ones);
      if (channels == 2) {
        words[r] = twice;
        continue;
      }
      __m128i const four = r % 2 ? _mm_unpackhi_epi32(twice, twice) : _mm_unpacklo_epi32(twice, twice);
      words[r] = channels == 4 ? four : _mm_srli_si128(four, 2);
    }
  }
};

template <int channels>
struct Pixels {
  typedef TapWords<channels> Taps;
  typedef __m128i Sums;

  template <int count>
  static __m128i Sum(unsigned char const* from, Taps const& taps) {
    __m128i sum = _mm_setzero_si128();
    for (int r = 0; r < count / Taps::pixels; ++r) {
      sum = _mm_add_epi16(sum, _mm_mullo_epi16(WordsOf(from + r * Taps::pixels * channels), taps.words[r]));
    }
    return sum;
  }

  // The sums of a pixel, in the lower four words.
  static __m128i OfPixel(__m128i sum) {
    if (channels == 3) return _mm_add_epi16(sum, _mm_srli_si128(sum, 6));
    sum = _mm_add_epi16(sum, _mm_srli_si128(sum, 8));
    if (channels <= 2) sum = _mm_add_epi16(sum, _mm_srli_si128(sum, 4));
    if (channels == 1) sum = _mm_add_epi16(sum, _mm_srli_si128(sum, 2));
    return sum;
  }

  static void Bytes(__m128i const* sums, unsigned char* pixels) {
    __m128i const half = Sse2::Broadcast(liftedHalf);
    __m128i const low = _mm_add_epi16(_mm_unpacklo_epi64(OfPixel(sums[0]), OfPixel(sums[1])), half);
    __m128i const high = _mm_add_epi16(_mm_unpacklo_epi64(OfPixel(sums[2]), OfPixel(sums[3])), half);
    Sse2::Store(pixels, LineReducer<Sse2>::BytesOf(low, high));
  }
};

}  // namespace

namespace fourtap {
ReducingKernels const reducingKernels_sse2 = kernelsBy<Sse2, Pairs, Pixels>;
}
