// Turning a block of lines into column vectors and back: 8 lines in SSE2 registers, 4 in MMX registers.
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
#include "turned/Rotate.h"

#include <emmintrin.h>

#include <cstddef>

#include "filters/FourTapSum.h"
#include "filters/MmxBytes.h"

namespace {

// The operations below by register: overloads, since a vector type as template argument loses its attributes.
__m64 InterleaveLow(__m64 a, __m64 b) { return _mm_unpacklo_pi16(a, b); }
__m64 InterleaveHigh(__m64 a, __m64 b) { return _mm_unpackhi_pi16(a, b); }
__m128i InterleaveLow(__m128i a, __m128i b) { return _mm_unpacklo_epi16(a, b); }
__m128i InterleaveHigh(__m128i a, __m128i b) { return _mm_unpackhi_epi16(a, b); }

template <class Vector, int count>
void InterleaveHalves(Vector (&v)[count]) {
  Vector in[count];
  for (int i = 0; i < count; ++i) in[i] = v[i];
  for (int i = 0; i < count / 2; ++i) {
    v[2 * i] = InterleaveLow(in[i], in[i + count / 2]);
    v[2 * i + 1] = InterleaveHigh(in[i], in[i + count / 2]);
  }
}

void TransposeWords(__m64 (&v)[4]) {
  InterleaveHalves(v);
  InterleaveHalves(v);
}

void TransposeWords(__m128i (&v)[8]) {
  InterleaveHalves(v);
  InterleaveHalves(v);
  InterleaveHalves(v);
}

// What whole blocks of columns leave over, lane by lane.
template <int lineCount, class Column>
void SingleColumnsFromLines(unsigned char* const* lines, int from, int to, Column* columns) {
  typedef unsigned short Lane __attribute__((may_alias));
  for (int c = from; c < to; ++c) {
    for (int k = 0; k < lineCount; ++k) reinterpret_cast<Lane*>(columns + c)[k] = lines[k][c];
  }
}

template <int lineCount, bool noFourth, class Column>
void LinesFromSingleColumns(Column const* columns, unsigned char* const* lines, int from, int to) {
  typedef short Lane __attribute__((may_alias));
  for (int c = from; c < to; ++c) {
    for (int k = 0; k < lineCount; ++k) {
      lines[k][c] = noFourth && c % 4 == 3 ? 0 : fourtap::ClampToByte(reinterpret_cast<Lane const*>(columns + c)[k]);
    }
  }
}

// A copy of the table of lines: the compiler has to take a store for one that may change the table itself.
struct EightLines {
  unsigned char* line[8];

  explicit EightLines(unsigned char* const* table) {
    for (int k = 0; k < 8; ++k) line[k] = table[k];
  }
};

// columnCount is 16, or 8 with the upper half of each line vector empty.
template <int columnCount, bool noFourth>
void ColumnsFromLines(EightLines const& lines, ptrdiff_t at, FourTapColumnOf8* columns) {
  __m128i v[8];
  for (int k = 0; k < 8; ++k) {
    auto const* const from = reinterpret_cast<__m128i const*>(lines.line[k] + at);
    v[k] = columnCount == 16 ? _mm_loadu_si128(from) : _mm_loadl_epi64(from);
  }
  TransposeWords(v);
  __m128i const lowBytes = _mm_set1_epi16(0xff);
  for (int pair = 0; pair < columnCount / 2; ++pair) {
    columns[at + 2 * pair] = _mm_and_si128(v[pair], lowBytes);
    if (!noFourth || pair % 2 == 0) columns[at + 2 * pair + 1] = _mm_srli_epi16(v[pair], 8);
  }
}

// Two columns as one vector of words: from any lanes; from lanes of 0 to 255, every fourth column read as 0 if so
// asked, whatever it holds.
struct SaturateAndMerge {
  static bool const noFourth = false;

  static __m128i Merge(FourTapColumnOf8 const* columns, int) {
    __m128i const bytes = _mm_packus_epi16(columns[0], columns[1]);
    return _mm_unpacklo_epi8(bytes, _mm_unpackhi_epi64(bytes, bytes));
  }
};

template <bool withoutFourth>
struct MergeBytes {
  static bool const noFourth = withoutFourth;

  static __m128i Merge(FourTapColumnOf8 const* columns, int pair) {
    if (noFourth && pair % 2 == 1) return columns[0];
    return _mm_or_si128(columns[0], _mm_slli_epi16(columns[1], 8));
  }
};

template <int columnCount, class Merging>
void LinesFromColumns(FourTapColumnOf8 const* columns, EightLines const& lines, ptrdiff_t at) {
  __m128i v[8] = {};
  for (int pair = 0; pair < columnCount / 2; ++pair) v[pair] = Merging::Merge(columns + at + 2 * pair, pair);
  TransposeWords(v);
  for (int k = 0; k < 8; ++k) {
    auto* const to = reinterpret_cast<__m128i*>(lines.line[k] + at);
    columnCount == 16 ? _mm_storeu_si128(to, v[k]) : _mm_storel_epi64(to, v[k]);
  }
}

template <class Merging>
void LinesFromAllColumns(FourTapColumnOf8 const* columns, unsigned char* const* table, int count) {
  EightLines const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) LinesFromColumns<16, Merging>(columns, lines, at);
  if (at + 8 <= count) {
    LinesFromColumns<8, Merging>(columns, lines, at);
    at += 8;
  }
  LinesFromSingleColumns<8, Merging::noFourth>(columns, table, at, count);
}

}  // namespace

namespace fourtap {

template <bool noFourth>
void LinesToColumns_sse2(unsigned char** table, int count, FourTapColumnOf8* columns) {
  EightLines const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) ColumnsFromLines<16, noFourth>(lines, at, columns);
  if (at + 8 <= count) {
    ColumnsFromLines<8, noFourth>(lines, at, columns);
    at += 8;
  }
  SingleColumnsFromLines<8>(table, at, count, columns);
}

template <bool noFourth>
void ByteColumnsToLines_sse2(FourTapColumnOf8 const* columns, unsigned char** lines, int count) {
  LinesFromAllColumns<MergeBytes<noFourth>>(columns, lines, count);
}

template void LinesToColumns_sse2<false>(unsigned char**, int, FourTapColumnOf8*);
template void LinesToColumns_sse2<true>(unsigned char**, int, FourTapColumnOf8*);
template void ByteColumnsToLines_sse2<false>(FourTapColumnOf8 const*, unsigned char**, int);
template void ByteColumnsToLines_sse2<true>(FourTapColumnOf8 const*, unsigned char**, int);

}  // namespace fourtap

void Rotate8LinesClockwise_sse2(unsigned char** lines, int count, FourTapColumnOf8* columns) {
  fourtap::LinesToColumns_sse2<false>(lines, count, columns);
  _mm_empty();
}

void Rotate8LinesCounterClockwise_sse2(FourTapColumnOf8 const* columns, unsigned char** lines, int count) {
  LinesFromAllColumns<SaturateAndMerge>(columns, lines, count);
  _mm_empty();
}

void Rotate4LinesClockwise_mmx(unsigned char** lines, int count, FourTapColumnOf4* columns) {
  int at = 0;
  __m64 const lowBytes = _mm_set1_pi16(0xff);
  for (; at + 8 <= count; at += 8) {
    __m64 v[4];
    for (int k = 0; k < 4; ++k) v[k] = fourtap::LoadBytes8(lines[k] + at);
    TransposeWords(v);
    for (int pair = 0; pair < 4; ++pair) {
      columns[at + 2 * pair] = reinterpret_cast<FourTapColumnOf4>(_mm_and_si64(v[pair], lowBytes));
      columns[at + 2 * pair + 1] = reinterpret_cast<FourTapColumnOf4>(_mm_srli_pi16(v[pair], 8));
    }
  }
  _mm_empty();
  SingleColumnsFromLines<4>(lines, at, count, columns);
}

void Rotate4LinesCounterClockwise_mmx(FourTapColumnOf4 const* columns, unsigned char** lines, int count) {
  int at = 0;
  for (; at + 8 <= count; at += 8) {
    __m64 v[4];
    for (int pair = 0; pair < 4; ++pair) {
      __m64 const bytes = _mm_packs_pu16(reinterpret_cast<__m64>(columns[at + 2 * pair]),
                                         reinterpret_cast<__m64>(columns[at + 2 * pair + 1]));
      v[pair] = _mm_unpacklo_pi8(bytes, _mm_unpackhi_pi32(bytes, bytes));
    }
    TransposeWords(v);
    for (int k = 0; k < 4; ++k) fourtap::StoreBytes8(lines[k] + at, v[k]);
  }
  _mm_empty();
  LinesFromSingleColumns<4, false>(columns, lines, at, count);
}
