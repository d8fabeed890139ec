// The rotations in vectors of the compiler's, for lanes of 0 to 255, as all sums of the scalers' own taps are.
#pragma once

#include <bit>
#include <cstring>

#include "turned/Transpose.h"

namespace fourtap {

struct Interleave_c {
  static FourTapWordsOf8 Low(FourTapWordsOf8 a, FourTapWordsOf8 b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
  }
  static FourTapWordsOf8 High(FourTapWordsOf8 a, FourTapWordsOf8 b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
  }
};

inline void TransposeWords_c(FourTapWordsOf8 (&v)[8]) {
  InterleaveHalves<Interleave_c>(v);
  InterleaveHalves<Interleave_c>(v);
  InterleaveHalves<Interleave_c>(v);
}

// Of words as they lie in memory, the byte that comes first or second, and both as one word.
inline bool const lowByteFirst = std::endian::native == std::endian::little;
inline FourTapWordsOf8 ByteOfWords(FourTapWordsOf8 words, bool second) {
  return second == lowByteFirst ? words >> 8 : words & 0xff;
}
inline FourTapWordsOf8 WordsOfBytes(FourTapWordsOf8 first, FourTapWordsOf8 second) {
  return lowByteFirst ? first | second << 8 : first << 8 | second;
}

[[gnu::noinline]] inline void LinesToColumns_c(unsigned char const* const* table, int count,
                                               FourTapColumnOf8* columns) {
  EightLines<unsigned char const> const lines(table);
  ptrdiff_t at = 0;
  for (; at + 16 <= count; at += 16) {
    FourTapWordsOf8 v[8];
    for (int k = 0; k < 8; ++k) std::memcpy(&v[k], lines.line[k] + at, sizeof v[k]);
    TransposeWords_c(v);
    for (int c = 0; c < 16; ++c) {
      columns[at + c] = reinterpret_cast<FourTapColumnOf8>(ByteOfWords(v[c / 2], c % 2 != 0));
    }
  }
  SingleColumnsFromLines<8>(table, static_cast<int>(at), count, columns);
}

template <ClearedBytes cleared>
[[gnu::noinline]] void ColumnsToLines_c(FourTapColumnOf8 const* columns, unsigned char* const* table, int count) {
  EightLines<unsigned char> const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) {
    WithPhase<cleared>(at, [&](auto phase) {
      auto const column = [&](int c) {
        return cleared.Has(phase + c) ? FourTapWordsOf8{} : reinterpret_cast<FourTapWordsOf8>(columns[at + c]);
      };
      FourTapWordsOf8 v[8];
      for (int pair = 0; pair < 8; ++pair) v[pair] = WordsOfBytes(column(2 * pair), column(2 * pair + 1));
      TransposeWords_c(v);
      for (int k = 0; k < 8; ++k) std::memcpy(lines.line[k] + at, &v[k], sizeof v[k]);
    });
  }
  LinesFromSingleColumns<8, cleared>(columns, table, at, count);
}

}  // namespace fourtap
