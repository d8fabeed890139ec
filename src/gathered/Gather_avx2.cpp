// The horizontal pass in AVX2 registers: windows of 16 bytes for each 128-bit lane, and a byte shuffle.
#include <immintrin.h>

#include <cstddef>
#include <cstring>
#include <iterator>

#include "HoldInVector.h"
#include "gathered/FilterSegments.h"
#include "gathered/GatherPlan.h"

namespace fourtap {

namespace {

int const laneBytes = 16;

// A group is two registers, of one line, with two lanes each. A lane is a block of eight output bytes. Packing two
// registers puts their lower lanes side by side, and their upper ones.
//
// With A to D for the blocks of outputs 0 to 7, 8 to 15, 16 to 23 and 24 to 31, A01 for their taps 0 and 1 as pairs, w
// for windows, and a bar between lanes:
//
//   pairs, shareHalves     first vector  second vector  summed
//     register 0            A01 | B01     A23 | B23      A | B     w0's bytes 0 to 15 | its bytes 16 to 31, and w1's
//     register 1            C01 | D01     C23 | D23      C | D     w2's and w3's
//     packed                                             A C | B D, put in order: A B | C D
//   pairs, haveOwnWindows
//     register 0            A01 | C01     A23 | C23      A | C     w0 | w2, or with two windows w0 | w4 and w1 | w5
//     register 1            B01 | D01     B23 | D23      B | D     w1 | w3,                     w2 | w6 and w3 | w7
//     packed                                             A B | C D
//
//   pairs, evenAndOdd, A' to D' for the even outputs of A to D, A" to D" for the odd ones
//     register 0            A'B'01 | C'D'01  A'B'23 | C'D'23  A'B' | C'D'   w0 | w1, or with two windows w0 | w2 and
//     register 1            A"B"01 | C"D"01  A"B"23 | C"D"23  A"B" | C"D"   w0 | w1,                     w1 | w3
//     merged byte by byte                                     A B | C D
//
//   quads, a0 to a7 for the bytes of A, all four taps of each; and so on:
//     register 0       a0 a1 a2 a3 | c0 c1 c2 c3   a4 a5 a6 a7 | c4 c5 c6 c7
//     multiplied        two words of each: taps 0 and 1, taps 2 and 3
//     added pairwise    a0 a1 a2 a3 a4 a5 a6 a7 | c0 c1 c2 c3 c4 c5 c6 c7, that is A | C
//
//   straight: A01 is w0's bytes as they are, where outputs lie two bytes apart.
enum class Lanes {
  shareHalves,     // half a window of 32 bytes each; they are neighbouring blocks, put in order after packing
  haveOwnWindows,  // a window of 16 bytes each; between the two blocks lies one of the other register
  evenAndOdd  // a window of 16 bytes for two blocks; the first register has their even outputs, the second the odd ones
};

struct Spread {
  Lanes lanes;
  int windows;    // of a lane: one, or one for each table vector
  bool quads;     // a register's table vectors: all taps of the outputs 0 to 3 and 4 to 7 of its blocks; else the taps
                  // 0, 1 and 2, 3 of all outputs, as pairs
  bool straight;  // what the windows hold is in order already
};

template <Spread spread>
constexpr bool isApart = spread.lanes == Lanes::haveOwnWindows;

// The window of a register's lane and table vector, counted from the group's first.
template <Spread spread>
constexpr int WindowOf(int reg, int lane, int vector) {
  int const windows = spread.lanes == Lanes::evenAndOdd ? lane : isApart<spread> ? reg + 2 * lane : reg;
  return windows * spread.windows + (spread.windows == 1 ? 0 : vector);
}

template <Spread spread>
constexpr GatherItem ItemAt(int tableVector, int byte) {
  int const reg = tableVector / 2, vector = tableVector % 2, lane = byte / 16, item = byte % 16;
  int const block = isApart<spread> ? reg + 2 * lane : 2 * reg + lane;
  int const window = WindowOf<spread>(reg, lane, vector);
  if (spread.lanes == Lanes::evenAndOdd) return {16 * lane + item / 2 * 2 + reg, 2 * vector + item % 2, window, 0};
  int const offset = spread.lanes == Lanes::shareHalves ? laneBytes * lane : 0;
  if (spread.quads) return {8 * block + 4 * vector + item / 4, item % 4, window, offset};
  return {8 * block + item / 2, 2 * vector + item % 2, window, offset};
}

template <Spread spread, class Start>
__m256i LoadWindows(unsigned char const* line, Start const* windows, int reg, int vector) {
  auto const at = [&](int lane) { return line + windows[WindowOf<spread>(reg, lane, vector)]; };
  auto const load = [&](int lane) { return _mm_loadu_si128(reinterpret_cast<__m128i const*>(at(lane))); };
  if (spread.lanes == Lanes::shareHalves) return _mm256_loadu_si256(reinterpret_cast<__m256i const*>(at(0)));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(1), 1);
}

// Eight 16-bit results of each lane.
template <Spread spread, class Start>
__m256i FilterRegister(unsigned char const* line, Start const* windows, int reg, __m256i const (&index)[2],
                       __m256i const (&taps)[2]) {
  __m256i const first = LoadWindows<spread>(line, windows, reg, 0);
  __m256i const second = spread.windows == 1 ? first : LoadWindows<spread>(line, windows, reg, 1);
  __m256i const a = _mm256_maddubs_epi16(spread.straight ? first : _mm256_shuffle_epi8(first, index[0]), taps[0]);
  __m256i const b = _mm256_maddubs_epi16(spread.straight ? second : _mm256_shuffle_epi8(second, index[1]), taps[1]);
  return spread.quads ? _mm256_hadd_epi16(a, b) : _mm256_add_epi16(a, b);
}

template <Spread spread>
__m256i PackInOrder(__m256i sums0, __m256i sums1) {
  if (spread.lanes == Lanes::evenAndOdd) {
    return _mm256_blendv_epi8(_mm256_srli_epi16(sums0, 6), _mm256_slli_epi16(sums1, 2), _mm256_set1_epi16(-256));
  }
  __m256i const packed = _mm256_packus_epi16(_mm256_srli_epi16(sums0, 6), _mm256_srli_epi16(sums1, 6));
  return isApart<spread> ? packed : _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
}

template <Spread spread>
struct Kernel {
  static int const groupBytes = 32;
  static int const windowCount = 2 * spread.windows * (isApart<spread> ? 2 : 1);

  template <int lineCount, class Store>
  [[gnu::always_inline]] void FilterGroup(unsigned char const* groupTables, int32_t const* windows,
                                          unsigned char const* from, ptrdiff_t step, unsigned char* to, int dstStride,
                                          Store const& store) const {
    auto const* const tables = reinterpret_cast<__m256i const*>(groupTables);
    __m256i sums[lineCount][2];
    for (int reg = 0; reg < 2; ++reg) {
      __m256i index[2], taps[2];
      for (int v = 0; v < 2; ++v) {
        index[v] = _mm256_load_si256(tables + 2 * reg + v);
        taps[v] = _mm256_load_si256(tables + 4 + 2 * reg + v);
        if (lineCount > 1 && !spread.straight) HoldInVector(index[v]);
        if (lineCount > 1) HoldInVector(taps[v]);
      }
      for (int k = 0; k < lineCount; ++k)
        sums[k][reg] = FilterRegister<spread>(from + k * step, windows, reg, index, taps);
    }
    for (int k = 0; k < lineCount; ++k) {
      store(to + ptrdiff_t{k} * dstStride, PackInOrder<spread>(sums[k][0], sums[k][1]));
    }
  }

  // All tables of a group, and where its windows start, in registers.
  struct Tables {
    __m256i index[2][2], taps[2][2];

    [[gnu::always_inline]] explicit Tables(unsigned char const* groupTables) {
      auto const* const tables = reinterpret_cast<__m256i const*>(groupTables);
      for (int i = 0; i < 4; ++i) {
        index[i / 2][i % 2] = _mm256_load_si256(tables + i);
        taps[i / 2][i % 2] = _mm256_load_si256(tables + 4 + i);
        if (!spread.straight) HoldInVector(index[i / 2][i % 2]);
        HoldInVector(taps[i / 2][i % 2]);
      }
    }
  };
  struct Starts {
    ptrdiff_t windows[windowCount];

    [[gnu::always_inline]] explicit Starts(int32_t const* from) {
      for (int w = 0; w < windowCount; ++w) windows[w] = from[w];
    }
  };

  template <int lineCount>
  [[gnu::always_inline]] void FilterAlike(Tables const& tables, Starts const& starts, unsigned char const* from,
                                          ptrdiff_t step, unsigned char* to, int dstStride) const {
    for (int k = 0; k < lineCount; ++k) {
      unsigned char const* const line = from + k * step;
      __m256i const first = FilterRegister<spread>(line, starts.windows, 0, tables.index[0], tables.taps[0]);
      __m256i const second = FilterRegister<spread>(line, starts.windows, 1, tables.index[1], tables.taps[1]);
      StoreWhole(to + ptrdiff_t{k} * dstStride, PackInOrder<spread>(first, second));
    }
  }

  static void StoreWhole(unsigned char* to, __m256i bytes) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
  }

  // It ends with the line, and overlaps the group before it, unless it is the only one.
  template <class FilterGroupInto>
  [[gnu::always_inline]] static void FilterLast(GatherPlan const& plan, int last, unsigned char* dst,
                                                FilterGroupInto const& filterGroup) {
    if (last > 0) {
      filterGroup(plan.groups[last], dst + plan.dstBytes - groupBytes, StoreWhole);
      return;
    }
    filterGroup(plan.groups[0], dst, [&plan](unsigned char* to, __m256i bytes) {
      alignas(32) unsigned char narrow[groupBytes];
      _mm256_store_si256(reinterpret_cast<__m256i*>(narrow), bytes);
      std::memcpy(to, narrow, static_cast<size_t>(plan.dstBytes));
    });
  }
};

template <Spread spread>
constexpr GatherScheme SchemeOf() {
  int const windowBytes = spread.lanes == Lanes::shareHalves ? 2 * laneBytes : laneBytes;
  return {.vectorBytes = 32,
          .groupBytes = Kernel<spread>::groupBytes,
          .windowBytes = windowBytes,
          .reachBytes = laneBytes,
          .windowCount = Kernel<spread>::windowCount,
          .straight = spread.straight,
          .lastGroupEndsAtEnd = true,
          .keepsTables = keepsTables<Kernel<spread>>,
          .lanes = &gatherLanesBy<ItemAt<spread>, Kernel<spread>::groupBytes, 32>,
          .filter = Filter<Kernel<spread>>};
}

constexpr GatherScheme schemes[] = {
    SchemeOf<Spread{.lanes = Lanes::shareHalves, .windows = 2, .quads = false, .straight = true}>(),
    SchemeOf<Spread{.lanes = Lanes::evenAndOdd, .windows = 1, .quads = false, .straight = false}>(),
    SchemeOf<Spread{.lanes = Lanes::evenAndOdd, .windows = 2, .quads = false, .straight = false}>(),
    SchemeOf<Spread{.lanes = Lanes::haveOwnWindows, .windows = 1, .quads = false, .straight = false}>(),
    SchemeOf<Spread{.lanes = Lanes::shareHalves, .windows = 2, .quads = false, .straight = false}>(),
    SchemeOf<Spread{.lanes = Lanes::haveOwnWindows, .windows = 2, .quads = false, .straight = false}>(),
    SchemeOf<Spread{.lanes = Lanes::haveOwnWindows, .windows = 2, .quads = true, .straight = false}>(),
};
static_assert(FitBuffers(schemes));

}  // namespace

GatherSet const gatherSet_avx2{
    .filterName = "FourTapHorzFilterLines_avx2", .schemes = schemes, .schemeCount = std::size(schemes)};

}  // namespace fourtap
