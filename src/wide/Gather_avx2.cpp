// The horizontal pass in AVX2 registers: windows of 16 bytes, one or two per 128-bit lane, and a byte shuffle.
//
// A register works on one line: its lower lane on 8 output bytes, its upper lane on the 8 bytes 16 further on, so that
// packing two registers puts 32 bytes in order.
#include <immintrin.h>

#include <cstddef>
#include <cstring>
#include <iterator>

#include "wide/GatherPlan.h"
#include "wide/Hold.h"

namespace fourtap {

namespace {

int const groupBytes = 32;
int const windowBytes = 16;

// How the 32 output bytes of a group are spread over two registers of two lanes, each lane a block of eight.
struct Spread {
  bool lanesShareWindows;  // a register's lanes are neighbouring blocks; else they lie 16 bytes apart
  int windows;             // of each block, or of each register where lanes share: one, or one for each table vector
  bool quads;  // a register's table vectors: all taps of the outputs 0 to 3 and 4 to 7 of its blocks; else the
               // taps 0, 1 and 2, 3 of all outputs, as pairs
};

// The window of a register's lane and table vector, counted from the group's first.
template <Spread spread>
constexpr int WindowOf(int reg, int lane, int vector) {
  int const shareOfBlock = spread.lanesShareWindows ? reg : reg + 2 * lane;
  return shareOfBlock * spread.windows + (spread.windows == 1 ? 0 : vector);
}

template <Spread spread>
int constexpr windowsPerGroup = 2 * spread.windows*(spread.lanesShareWindows ? 1 : 2);

template <Spread spread>
GatherItem ItemAt(int tableVector, int byte) {
  int const reg = tableVector / 2, vector = tableVector % 2, lane = byte / 16, item = byte % 16;
  int const block = spread.lanesShareWindows ? 2 * reg + lane : reg + 2 * lane;
  int const window = WindowOf<spread>(reg, lane, vector);
  if (spread.quads) return {8 * block + 4 * vector + item / 4, item % 4, window};
  return {8 * block + item / 2, 2 * vector + item % 2, window};
}

template <Spread spread>
__m256i LoadWindows(unsigned char const* line, int32_t const* windows, int reg, int vector) {
  auto const load = [&](int lane) {
    int32_t const start = windows[WindowOf<spread>(reg, lane, vector)];
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(line + start));
  };
  if (spread.lanesShareWindows) return _mm256_broadcastsi128_si256(load(0));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(1), 1);
}

// Eight 16-bit results of each lane.
template <Spread spread>
__m256i FilterRegister(unsigned char const* line, int32_t const* windows, int reg, __m256i const (&index)[2],
                       __m256i const (&taps)[2]) {
  __m256i const first = LoadWindows<spread>(line, windows, reg, 0);
  __m256i const second = spread.windows == 1 ? first : LoadWindows<spread>(line, windows, reg, 1);
  __m256i const a = _mm256_maddubs_epi16(_mm256_shuffle_epi8(first, index[0]), taps[0]);
  __m256i const b = _mm256_maddubs_epi16(_mm256_shuffle_epi8(second, index[1]), taps[1]);
  return spread.quads ? _mm256_hadd_epi16(a, b) : _mm256_add_epi16(a, b);
}

template <Spread spread>
__m256i PackInOrder(__m256i sums0, __m256i sums1) {
  __m256i const packed = _mm256_packus_epi16(_mm256_srli_epi16(sums0, 6), _mm256_srli_epi16(sums1, 6));
  return spread.lanesShareWindows ? _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0)) : packed;
}

template <Spread spread, int lineCount>
void FilterLines(GatherPlan const& plan, unsigned char const* const* lines, unsigned char* dst, int dstStride) {
  // Copied, since a store of bytes may change whatever is in memory for all that the compiler knows.
  unsigned char const* from[lineCount];
  for (int k = 0; k < lineCount; ++k) from[k] = lines[k];
  int32_t const* windows = plan.windows;
  auto const* tables = reinterpret_cast<__m256i const*>(plan.tables);
  auto const filterGroup = [&](unsigned char* to, auto store) {
    __m256i sums[lineCount][2];
    for (int reg = 0; reg < 2; ++reg) {
      __m256i index[2], taps[2];
      for (int v = 0; v < 2; ++v) {
        index[v] = _mm256_load_si256(tables + 2 * reg + v);
        taps[v] = _mm256_load_si256(tables + 4 + 2 * reg + v);
        HoldInVector(index[v]);
        HoldInVector(taps[v]);
      }
      for (int k = 0; k < lineCount; ++k) sums[k][reg] = FilterRegister<spread>(from[k], windows, reg, index, taps);
    }
    for (int k = 0; k < lineCount; ++k) {
      store(to + ptrdiff_t{k} * dstStride, PackInOrder<spread>(sums[k][0], sums[k][1]));
    }
    windows += windowsPerGroup<spread>;
    tables += 8;
  };
  auto const storeWhole = [](unsigned char* to, __m256i bytes) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bytes);
  };
  unsigned char* const dstEnd = dst + plan.dstBytes;
  for (int group = plan.dstBytes / groupBytes; group > 0; --group, dst += groupBytes) filterGroup(dst, storeWhole);
  if (dst == dstEnd) return;
  if (plan.dstBytes >= groupBytes) {
    filterGroup(dstEnd - groupBytes, storeWhole);
  } else {
    filterGroup(dst, [&plan](unsigned char* to, __m256i bytes) {
      alignas(32) unsigned char narrow[groupBytes];
      _mm256_store_si256(reinterpret_cast<__m256i*>(narrow), bytes);
      std::memcpy(to, narrow, static_cast<size_t>(plan.dstBytes));
    });
  }
}

template <Spread spread>
void Filter(GatherPlan const& plan, unsigned char const* const* lines, int lineCount, unsigned char* dst,
            int dstStride) {
  static constexpr decltype(&FilterLines<spread, 1>) byLineCount[] = {FilterLines<spread, 1>, FilterLines<spread, 2>,
                                                                      FilterLines<spread, 3>, FilterLines<spread, 4>};
  static_assert(std::size(byLineCount) == gatherBlockLines);
  byLineCount[lineCount - 1](plan, lines, dst, dstStride);
}

template <Spread spread>
constexpr GatherScheme schemeOf{32,   groupBytes,     windowBytes,   windowsPerGroup<spread>,
                                true, ItemAt<spread>, Filter<spread>};

GatherScheme const schemes[] = {
    schemeOf<Spread{.lanesShareWindows = true, .windows = 2, .quads = false}>,
    schemeOf<Spread{.lanesShareWindows = false, .windows = 1, .quads = false}>,
    schemeOf<Spread{.lanesShareWindows = false, .windows = 2, .quads = false}>,
    schemeOf<Spread{.lanesShareWindows = false, .windows = 2, .quads = true}>,
};

}  // namespace

GatherSet const gatherSet_avx2{"FourTapHorzFilterLines_avx2", schemes, std::size(schemes)};

}  // namespace fourtap
