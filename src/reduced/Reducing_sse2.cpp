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

// The averages of pairs at the front of `bytes`, where those of pixels and their right neighbours stand for each pixel.
template <int channels>
__m128i OfPairs(__m128i bytes) {
  if (channels == 4) return _mm_shuffle_epi32(bytes, _MM_SHUFFLE(3, 1, 2, 0));
  if (channels == 2) {
    __m128i const words = _mm_srai_epi32(_mm_slli_epi32(bytes, 16), 16);
    return _mm_packs_epi32(words, words);
  }
  __m128i const first = _mm_setr_epi32(0xffffff, 0, 0, 0), second = _mm_slli_si128(first, 3);
  return _mm_or_si128(_mm_or_si128(_mm_and_si128(bytes, first), _mm_and_si128(_mm_srli_si128(bytes, 3), second)),
                      _mm_slli_si128(_mm_srli_si128(bytes, 12), 6));
}

__m128i Not(__m128i bytes) { return _mm_xor_si128(bytes, _mm_set1_epi8(-1)); }

// Rounded to nearest, what lies in the middle up. The average of averages is too high by one where it was rounded up
// after one of them was.
__m128i AverageOfFour(__m128i a, __m128i b, __m128i c, __m128i d) {
  __m128i const ab = _mm_avg_epu8(a, b), cd = _mm_avg_epu8(c, d);
  __m128i const odd = _mm_or_si128(_mm_xor_si128(a, b), _mm_xor_si128(c, d));
  __m128i const tooHigh = _mm_and_si128(_mm_and_si128(odd, _mm_xor_si128(ab, cd)), _mm_set1_epi8(1));
  return _mm_sub_epi8(_mm_avg_epu8(ab, cd), tooHigh);
}

template <int channels>
struct Pairs {
  static constexpr int pairs = 16 / channels - 8 / channels, readBytes = 16 + channels;

  static void Average(unsigned char const* first, unsigned char const* second, short half, unsigned char* dst) {
    __m128i const a = Sse2::Load(first), b = Sse2::Load(second);
    __m128i const c = Sse2::Load(first + channels), d = Sse2::Load(second + channels);
    // Halves are rounded down by rounding up how much the bytes are short of 255.
    Sse2::Store(dst, OfPairs<channels>(half == 2 ? AverageOfFour(a, b, c, d)
                                                 : Not(AverageOfFour(Not(a), Not(b), Not(c), Not(d)))));
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
