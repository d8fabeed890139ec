// The rotations as the scalers use them: as the exported ones, but the MMX state is not cleared where it was not used,
// and a layout's cleared bytes come out as 0.
//
// Two neighbouring bytes of a line are moved as one word, so both ways are the same square transposition of words,
// between lines and pairs of columns. It takes equal stages that interleave the first half of the vectors with the
// second half. For 4 lines a to d of 8 columns 0 to 7, lowest byte left:
//
//   a0 a1 a2 a3 a4 a5 a6 a7         a0 a1 c0 c1 a2 a3 c2 c3         a0 a1 b0 b1 c0 c1 d0 d1
//   b0 b1 b2 b3 b4 b5 b6 b7  stage  a4 a5 c4 c5 a6 a7 c6 c7  stage  a2 a3 b2 b3 c2 c3 d2 d3
//   c0 c1 c2 c3 c4 c5 c6 c7   ->    b0 b1 d0 d1 b2 b3 d2 d3   ->    a4 a5 b4 b5 c4 c5 d4 d5
//   d0 d1 d2 d3 d4 d5 d6 d7         b4 b5 d4 d5 b6 b7 d6 d7         a6 a7 b6 b7 c6 c7 d6 d7
//
// A pair of columns is split by masking its low bytes and shifting its high bytes down.
#pragma once

#include <emmintrin.h>
#include <fourtapscale/FourTapFilters.h>

#include <cstddef>
#include <type_traits>

#include "core/ClearedBytes.h"
#include "filters/FourTapSum.h"
#include "filters/MmxBytes.h"

namespace fourtap {

// The operations below by register: overloads, since a vector type as template argument loses its attributes.
inline __m64 InterleaveLow(__m64 a, __m64 b) { return _mm_unpacklo_pi16(a, b); }
inline __m64 InterleaveHigh(__m64 a, __m64 b) { return _mm_unpackhi_pi16(a, b); }
inline __m128i InterleaveLow(__m128i a, __m128i b) { return _mm_unpacklo_epi16(a, b); }
inline __m128i InterleaveHigh(__m128i a, __m128i b) { return _mm_unpackhi_epi16(a, b); }

template <class Vector, int count>
void InterleaveHalves(Vector (&v)[count]) {
  Vector in[count];
  for (int i = 0; i < count; ++i) in[i] = v[i];
  for (int i = 0; i < count / 2; ++i) {
    v[2 * i] = InterleaveLow(in[i], in[i + count / 2]);
    v[2 * i + 1] = InterleaveHigh(in[i], in[i + count / 2]);
  }
}

inline void TransposeWords(__m64 (&v)[4]) {
  InterleaveHalves(v);
  InterleaveHalves(v);
}

inline void TransposeWords(__m128i (&v)[8]) {
  InterleaveHalves(v);
  InterleaveHalves(v);
  InterleaveHalves(v);
}

// What whole blocks of columns leave over, lane by lane.
template <int lineCount, class Column>
void SingleColumnsFromLines(unsigned char const* const* lines, int from, int to, Column* columns) {
  typedef unsigned short Lane __attribute__((may_alias));
  for (int c = from; c < to; ++c) {
    for (int k = 0; k < lineCount; ++k) reinterpret_cast<Lane*>(columns + c)[k] = lines[k][c];
  }
}

template <int lineCount, ClearedBytes cleared, class Column>
void LinesFromSingleColumns(Column const* columns, unsigned char* const* lines, int from, int to) {
  typedef short Lane __attribute__((may_alias));
  for (int c = from; c < to; ++c) {
    for (int k = 0; k < lineCount; ++k) {
      lines[k][c] = cleared.Has(c) ? 0 : ClampToByte(reinterpret_cast<Lane const*>(columns + c)[k]);
    }
  }
}

// A copy of the table of lines: the compiler has to take a store for one that may change the table itself.
template <class Byte>
struct EightLines {
  Byte* line[8];

  explicit EightLines(Byte* const* table) {
    for (int k = 0; k < 8; ++k) line[k] = table[k];
  }
};

// Calls `use` with a block's first column, as far as it matters for what is cleared, as a constant. Blocks are of 8 or
// 16 columns.
template <ClearedBytes cleared, class Use>
void WithPhase(int at, Use const& use) {
  static_assert(cleared.period <= 4);
  if constexpr (8 % cleared.period == 0) {
    use(std::integral_constant<int, 0>{});
  } else {
    switch (at % 3) {
      case 0:
        return use(std::integral_constant<int, 0>{});
      case 1:
        return use(std::integral_constant<int, 1>{});
      default:
        return use(std::integral_constant<int, 2>{});
    }
  }
}

// columnCount is 16, or 8 with the upper half of each line vector empty. Columns that are cleared are left alone.
template <int columnCount, ClearedBytes cleared, int phase>
[[gnu::always_inline]] inline void ColumnsFromLines(EightLines<unsigned char const> const& lines, ptrdiff_t at,
                                                    FourTapColumnOf8* columns) {
  __m128i v[8];
  for (int k = 0; k < 8; ++k) {
    auto const* const from = reinterpret_cast<__m128i const*>(lines.line[k] + at);
    v[k] = columnCount == 16 ? _mm_loadu_si128(from) : _mm_loadl_epi64(from);
  }
  TransposeWords(v);
  __m128i const lowBytes = _mm_set1_epi16(0xff);
  for (int pair = 0; pair < columnCount / 2; ++pair) {
    if (!cleared.Has(phase + 2 * pair)) columns[at + 2 * pair] = _mm_and_si128(v[pair], lowBytes);
    if (!cleared.Has(phase + 2 * pair + 1)) columns[at + 2 * pair + 1] = _mm_srli_epi16(v[pair], 8);
  }
}

// Two columns as one vector of words: from any lanes, or from lanes of 0 to 255.
struct SaturateAndMerge {
  static __m128i Merge(__m128i first, __m128i second) {
    __m128i const bytes = _mm_packus_epi16(first, second);
    return _mm_unpacklo_epi8(bytes, _mm_unpackhi_epi64(bytes, bytes));
  }
};

struct MergeBytes {
  static __m128i Merge(__m128i first, __m128i second) { return _mm_or_si128(first, _mm_slli_epi16(second, 8)); }
};

template <int columnCount, class Merging, ClearedBytes cleared, int phase>
[[gnu::always_inline]] inline void LinesFromColumns(FourTapColumnOf8 const* columns,
                                                    EightLines<unsigned char> const& lines, ptrdiff_t at) {
  __m128i v[8] = {};
  for (int pair = 0; pair < columnCount / 2; ++pair) {
    bool const firstCleared = cleared.Has(phase + 2 * pair), secondCleared = cleared.Has(phase + 2 * pair + 1);
    __m128i const first = firstCleared ? _mm_setzero_si128() : columns[at + 2 * pair];
    // Lanes of bytes have nothing in their upper halves.
    v[pair] = secondCleared ? first : Merging::Merge(first, columns[at + 2 * pair + 1]);
  }
  TransposeWords(v);
  for (int k = 0; k < 8; ++k) {
    auto* const to = reinterpret_cast<__m128i*>(lines.line[k] + at);
    columnCount == 16 ? _mm_storeu_si128(to, v[k]) : _mm_storel_epi64(to, v[k]);
  }
}

template <class Merging, ClearedBytes cleared>
void LinesFromAllColumns(FourTapColumnOf8 const* columns, unsigned char* const* table, int count) {
  EightLines<unsigned char> const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) {
    WithPhase<cleared>(at, [&](auto phase) { LinesFromColumns<16, Merging, cleared, phase>(columns, lines, at); });
  }
  if (at + 8 <= count) {
    WithPhase<cleared>(at, [&](auto phase) { LinesFromColumns<8, Merging, cleared, phase>(columns, lines, at); });
    at += 8;
  }
  LinesFromSingleColumns<8, cleared>(columns, table, at, count);
}

// Columns that are cleared will not be looked at, and may be left alone.
template <ClearedBytes cleared>
[[gnu::noinline]] void LinesToColumns_sse2(unsigned char const* const* table, int count, FourTapColumnOf8* columns) {
  EightLines<unsigned char const> const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) {
    WithPhase<cleared>(at, [&](auto phase) { ColumnsFromLines<16, cleared, phase>(lines, at, columns); });
  }
  if (at + 8 <= count) {
    WithPhase<cleared>(at, [&](auto phase) { ColumnsFromLines<8, cleared, phase>(lines, at, columns); });
    at += 8;
  }
  SingleColumnsFromLines<8>(table, at, count, columns);
}

// For lanes of 0 to 255, as all sums of the scalers' own taps are: nothing saturates.
template <ClearedBytes cleared>
[[gnu::noinline]] void ByteColumnsToLines_sse2(FourTapColumnOf8 const* columns, unsigned char* const* lines,
                                               int count) {
  LinesFromAllColumns<MergeBytes, cleared>(columns, lines, count);
}

// Pixels of four bytes can stay whole, which takes fewer steps. There are as many columns as there are bytes in a line:
// of each pixel four, column k with the pixel of lines 2 * k and 2 * k + 1, as words; and of sums that are bytes again
// two, column k with the pixel of lines 4 * k to 4 * k + 3.
void LinesToPixelColumns_sse2(unsigned char const* const* table, int count, FourTapColumnOf8* columns);
void PixelColumnsToLines_sse2(FourTapColumnOf8 const* columns, unsigned char* const* table, int count);

void LinesToColumns_mmx(unsigned char const* const* lines, int count, FourTapColumnOf4* columns);

// From any lanes, which saturate.
template <ClearedBytes cleared>
[[gnu::noinline]] void ColumnsToLines_mmx(FourTapColumnOf4 const* columns, unsigned char* const* lines, int count) {
  int at = 0;
  for (; at + 8 <= count; at += 8) {
    WithPhase<cleared>(at, [&](auto phase) {
      auto const column = [&](int c) {
        return cleared.Has(phase + c) ? _mm_setzero_si64() : reinterpret_cast<__m64>(columns[at + c]);
      };
      __m64 v[4];
      for (int pair = 0; pair < 4; ++pair) {
        __m64 const bytes = _mm_packs_pu16(column(2 * pair), column(2 * pair + 1));
        v[pair] = _mm_unpacklo_pi8(bytes, _mm_unpackhi_pi32(bytes, bytes));
      }
      TransposeWords(v);
      for (int k = 0; k < 4; ++k) StoreBytes8(lines[k] + at, v[k]);
    });
  }
  _mm_empty();
  LinesFromSingleColumns<4, cleared>(columns, lines, at, count);
}

}  // namespace fourtap
