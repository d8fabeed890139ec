// What the rotations of all sets share.
//
// Two neighbouring bytes of a line are moved as one word, so both ways are the same square transposition of words,
// between lines and pairs of columns. It takes equal stages that interleave the first half of the vectors with the
// second half. For 4 lines a to d of 8 columns 0 to 7, in the order of memory:
//
//   a0 a1 a2 a3 a4 a5 a6 a7         a0 a1 c0 c1 a2 a3 c2 c3         a0 a1 b0 b1 c0 c1 d0 d1
//   b0 b1 b2 b3 b4 b5 b6 b7  stage  a4 a5 c4 c5 a6 a7 c6 c7  stage  a2 a3 b2 b3 c2 c3 d2 d3
//   c0 c1 c2 c3 c4 c5 c6 c7   ->    b0 b1 d0 d1 b2 b3 d2 d3   ->    a4 a5 b4 b5 c4 c5 d4 d5
//   d0 d1 d2 d3 d4 d5 d6 d7         b4 b5 d4 d5 b6 b7 d6 d7         a6 a7 b6 b7 c6 c7 d6 d7
//
// A pair of columns is split by masking one half of its words and shifting the other one down.
#pragma once

#include <fourtapscale/FourTapFilters.h>

#include <cstddef>
#include <type_traits>

#include "core/ClearedBytes.h"
#include "filters/FourTapSum.h"

namespace fourtap {

template <class Interleave, class Vector, int count>
void InterleaveHalves(Vector (&v)[count]) {
  Vector in[count];
  for (int i = 0; i < count; ++i) in[i] = v[i];
  for (int i = 0; i < count / 2; ++i) {
    v[2 * i] = Interleave::Low(in[i], in[i + count / 2]);
    v[2 * i + 1] = Interleave::High(in[i], in[i + count / 2]);
  }
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

}  // namespace fourtap
