// The horizontal pass in AVX2 registers: windows of 16 bytes, one or two per 128-bit lane, and a byte shuffle.
//
// A register works on one line: its lower lane on 8 output bytes, its upper lane on the 8 bytes 16 further on, so that
// packing two registers puts 32 bytes in order.
#include <immintrin.h>

#include <cstddef>
#include <cstring>
#include <iterator>

#include "wide/GatherPlan.h"

namespace fourtap {

namespace {

int const groupBytes = 32;
int const windowBytes = 16;

// The first output byte of a lane of 16 bytes, in the register that it belongs to.
int FirstOutput(int reg, int lane) { return 8 * reg + 16 * (lane / 16); }

// Vectors 2r and 2r + 1: the taps 0, 1 and 2, 3 of register r, as pairs. One window for both.
GatherItem PairsInOneWindow(int vector, int lane) {
  int const first = FirstOutput(vector / 2, lane);
  return {first + lane % 16 / 2, vector % 2 * 2 + lane % 2, first / 8};
}

// Vectors 2r and 2r + 1: all taps of the lane's outputs 0 to 3 and 4 to 7, with a window for each.
GatherItem QuadsInTwoWindows(int vector, int lane) {
  int const first = FirstOutput(vector / 2, lane);
  return {first + vector % 2 * 4 + lane % 16 / 4, lane % 4, 2 * (first / 8) + vector % 2};
}

__m256i LoadWindows(unsigned char const* line, int32_t lower, int32_t upper) {
  __m128i const low = _mm_loadu_si128(reinterpret_cast<__m128i const*>(line + lower));
  __m128i const high = _mm_loadu_si128(reinterpret_cast<__m128i const*>(line + upper));
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

enum class Scheme { pairsInOneWindow, quadsInTwoWindows };

// Eight 16-bit results of each lane.
template <Scheme scheme>
__m256i FilterRegister(unsigned char const* line, int32_t const* windows, __m256i const (&index)[2],
                       __m256i const (&taps)[2]) {
  // The upper lane's windows follow those of the other register.
  int const perLane = scheme == Scheme::pairsInOneWindow ? 1 : 2;
  __m256i const first = LoadWindows(line, windows[0], windows[2 * perLane]);
  __m256i const second =
      perLane == 1 ? first : LoadWindows(line, windows[perLane - 1], windows[2 * perLane + perLane - 1]);
  __m256i const a = _mm256_maddubs_epi16(_mm256_shuffle_epi8(first, index[0]), taps[0]);
  __m256i const b = _mm256_maddubs_epi16(_mm256_shuffle_epi8(second, index[1]), taps[1]);
  return scheme == Scheme::quadsInTwoWindows ? _mm256_hadd_epi16(a, b) : _mm256_add_epi16(a, b);
}

template <Scheme scheme, int lineCount>
void FilterLines(GatherPlan const& plan, unsigned char const* const* lines, unsigned char* dst, int dstStride) {
  int const windowsPerRegister = scheme == Scheme::pairsInOneWindow ? 1 : 2;
  // Copied, since a store of bytes may change whatever is in memory for all that the compiler knows.
  unsigned char const* from[lineCount];
  for (int k = 0; k < lineCount; ++k) from[k] = lines[k];
  int32_t const* windows = plan.windows;
  auto const* tables = reinterpret_cast<__m256i const*>(plan.tables);
  auto const filterGroup = [&](unsigned char* to, auto store) {
    __m256i sums[lineCount][2];
    for (int reg = 0; reg < 2; ++reg) {
      __m256i const index[2] = {_mm256_load_si256(tables + 2 * reg), _mm256_load_si256(tables + 2 * reg + 1)};
      __m256i const taps[2] = {_mm256_load_si256(tables + 4 + 2 * reg), _mm256_load_si256(tables + 4 + 2 * reg + 1)};
      for (int k = 0; k < lineCount; ++k) {
        sums[k][reg] = FilterRegister<scheme>(from[k], windows + reg * windowsPerRegister, index, taps);
      }
    }
    for (int k = 0; k < lineCount; ++k) {
      store(to + ptrdiff_t{k} * dstStride,
            _mm256_packus_epi16(_mm256_srli_epi16(sums[k][0], 6), _mm256_srli_epi16(sums[k][1], 6)));
    }
    windows += 4 * windowsPerRegister;
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

template <Scheme scheme>
void Filter(GatherPlan const& plan, unsigned char const* const* lines, int lineCount, unsigned char* dst,
            int dstStride) {
  static constexpr decltype(&FilterLines<scheme, 1>) byLineCount[] = {FilterLines<scheme, 1>, FilterLines<scheme, 2>,
                                                                      FilterLines<scheme, 3>, FilterLines<scheme, 4>};
  static_assert(std::size(byLineCount) == gatherBlockLines);
  byLineCount[lineCount - 1](plan, lines, dst, dstStride);
}

GatherScheme const schemes[] = {
    {32, groupBytes, windowBytes, 4, true, PairsInOneWindow, Filter<Scheme::pairsInOneWindow>},
    {32, groupBytes, windowBytes, 8, true, QuadsInTwoWindows, Filter<Scheme::quadsInTwoWindows>},
};

}  // namespace

GatherSet const gatherSet_avx2{"FourTapHorzFilterLines_avx2", schemes, std::size(schemes)};

}  // namespace fourtap
