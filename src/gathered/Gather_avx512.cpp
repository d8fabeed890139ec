// The horizontal pass in AVX-512 registers: windows of 64 or 128 bytes, and byte permutations.
#include <immintrin.h>

#include <cstddef>
#include <iterator>

#include "HoldInVector.h"
#include "filters/Hold.h"
#include "gathered/FilterSegments.h"
#include "gathered/GatherPlan.h"

namespace fourtap {

namespace {

// Words below 2^14, shifted down by 6, as the even and the odd bytes of the result:
//
//   even  e0 e1 e2 e3 ...    odd  o0 o1 o2 o3 ...    merged  e0 o0 e1 o1 e2 o2 e3 o3 ...
__m512i MergeSums(__m512i even, __m512i odd) {
  int const firstWhereThirdElseSecond = 0xe4;
  return _mm512_ternarylogic_epi32(_mm512_srli_epi16(even, 6), _mm512_slli_epi16(odd, 2), _mm512_set1_epi16(0xff),
                                   firstWhereThirdElseSecond);
}

__m512i SumsOfPairs(__m512i pairs01, __m512i pairs23, __m512i const* taps) {
  return _mm512_add_epi16(_mm512_maddubs_epi16(pairs01, taps[0]), _mm512_maddubs_epi16(pairs23, taps[1]));
}

struct OneWindow {
  static int const windows = 1;
  static int const windowBytes = 64;

  // Vectors: taps 0, 1 and 2, 3 of the even outputs, then of the odd ones, as pairs. With 0.01 for output 0's taps 0
  // and 1:
  //
  //   vector 0  0.01 2.01 4.01 ...   vector 1  0.23 2.23 4.23 ...   summed  0 2 4 ...
  //   vector 2  1.01 3.01 5.01 ...   vector 3  1.23 3.23 5.23 ...   summed  1 3 5 ...   merged  0 1 2 3 4 5 ...
  static constexpr GatherItem ItemAt(int vector, int lane) {
    return {.output = lane / 2 * 2 + vector / 2, .tap = vector % 2 * 2 + lane % 2, .window = 0, .offset = 0};
  }

  __m512i Filter(unsigned char const* const* starts, ptrdiff_t at, __m512i const (&index)[4],
                 __m512i const (&taps)[4]) const {
    __m512i window = _mm512_loadu_si512(starts[0] + at);
    HoldInVector(window);
    __m512i pairs[4];
    for (int v = 0; v < 4; ++v) pairs[v] = _mm512_permutexvar_epi8(index[v], window);
    return MergeSums(SumsOfPairs(pairs[0], pairs[1], taps), SumsOfPairs(pairs[2], pairs[3], taps + 2));
  }
};

template <int bytes>
struct FourWindows {
  static int const windows = 4;
  static int const windowBytes = bytes;
  __m512i order = OutputOrder();

  // Vector v: all taps of the outputs 16v to 16v + 15, with a window of their own. Of 128-bit lane q, with a to d for
  // the outputs 4q to 4q + 3 of the four vectors:
  //
  //   summed    a0 a1 a2 a3   b0 b1 b2 b3   c0 c1 c2 c3   d0 d1 d2 d3
  //   packed    a0 a1 a2 a3 b0 b1 b2 b3     c0 c1 c2 c3 d0 d1 d2 d3
  //   merged    a0 c0 a1 c1 a2 c2 a3 c3 b0 d0 b1 d1 b2 d2 b3 d3
  static constexpr GatherItem ItemAt(int vector, int lane) {
    return {.output = 16 * vector + lane / 4, .tap = lane % 4, .window = vector, .offset = 0};
  }

  // Packing and merging leave output byte 16v + 4q + i, q and i below 4, at byte 16q + 2i + v % 2 * 8 + v / 2.
  static __m512i OutputOrder() {
    alignas(64) unsigned char from[64];
    for (int i = 0; i < 64; ++i) {
      from[i] = static_cast<unsigned char>(i / 4 % 4 * 16 + i % 4 * 2 + i / 16 % 2 * 8 + i / 32);
    }
    return _mm512_load_si512(from);
  }

  static __m512i Gather(unsigned char const* from, __m512i index) {
    if constexpr (windowBytes == 64) return _mm512_permutexvar_epi8(index, _mm512_loadu_si512(from));
    return _mm512_permutex2var_epi8(_mm512_loadu_si512(from), index, _mm512_loadu_si512(from + 64));
  }

  __m512i Filter(unsigned char const* const* starts, ptrdiff_t at, __m512i const (&index)[4],
                 __m512i const (&taps)[4]) const {
    __m512i sums[4];
    for (int v = 0; v < 4; ++v) {
      sums[v] = _mm512_dpbusd_epi32(_mm512_setzero_si512(), Gather(starts[v] + at, index[v]), taps[v]);
    }
    __m512i const merged = MergeSums(_mm512_packus_epi32(sums[0], sums[1]), _mm512_packus_epi32(sums[2], sums[3]));
    return _mm512_permutexvar_epi8(order, merged);
  }
};

template <class Scheme>
struct Kernel {
  static int const groupBytes = 64;
  Scheme const scheme{};

  template <int lineCount, class Store>
  [[gnu::always_inline]] void FilterGroup(unsigned char const* groupTables, int32_t const* windows,
                                          unsigned char const* from, ptrdiff_t step, unsigned char* to, int dstStride,
                                          Store const& store) const {
    auto const* const tables = reinterpret_cast<__m512i const*>(groupTables);
    __m512i index[4], taps[4];
    for (int v = 0; v < 4; ++v) {
      index[v] = _mm512_load_si512(tables + v);
      taps[v] = _mm512_load_si512(tables + 4 + v);
      if (lineCount > 1) {
        HoldInVector(index[v]);
        HoldInVector(taps[v]);
      }
    }
    unsigned char const* starts[Scheme::windows];
    for (int w = 0; w < Scheme::windows; ++w) {
      starts[w] = from + windows[w];
      HoldInRegister(starts[w]);
    }
    for (int k = 0; k < lineCount; ++k) {
      store(to + ptrdiff_t{k} * dstStride, scheme.Filter(starts, k * step, index, taps));
    }
  }

  static void StoreWhole(unsigned char* to, __m512i bytes) { _mm512_storeu_si512(to, bytes); }

  // It is cut.
  template <class FilterGroupInto>
  [[gnu::always_inline]] static void FilterLast(GatherPlan const& plan, int last, unsigned char* dst,
                                                FilterGroupInto const& filterGroup) {
    __mmask64 const rest = (__mmask64{1} << (plan.dstBytes % groupBytes)) - 1;
    filterGroup(plan.groups[last], dst + ptrdiff_t{last} * groupBytes,
                [rest](unsigned char* to, __m512i bytes) { _mm512_mask_storeu_epi8(to, rest, bytes); });
  }
};

template <class Scheme>
constexpr GatherScheme SchemeOf() {
  return {.vectorBytes = 64,
          .groupBytes = Kernel<Scheme>::groupBytes,
          .windowBytes = Scheme::windowBytes,
          .reachBytes = Scheme::windowBytes,
          .windowCount = Scheme::windows,
          .straight = false,
          .lastGroupEndsAtEnd = false,
          .keepsTables = keepsTables<Kernel<Scheme>>,
          .lanes = &gatherLanesBy<Scheme::ItemAt, Kernel<Scheme>::groupBytes, 64>,
          .filter = Filter<Kernel<Scheme>>};
}

constexpr GatherScheme schemes[] = {SchemeOf<OneWindow>(), SchemeOf<FourWindows<64>>(), SchemeOf<FourWindows<128>>()};
static_assert(FitBuffers(schemes));

}  // namespace

GatherSet const gatherSet_avx512{
    .filterName = "FourTapHorzFilterLines_avx512", .schemes = schemes, .schemeCount = std::size(schemes)};

}  // namespace fourtap
