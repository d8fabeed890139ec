// The rotations that leave the library: lines of any bytes, with nothing cleared.
#include "turned/Rotate_sse2.h"

void fourtap::LinesToColumns_mmx(unsigned char const* const* lines, int count, FourTapColumnOf4* columns) {
  int at = 0;
  __m64 const lowBytes = _mm_set1_pi16(0xff);
  for (; at + 8 <= count; at += 8) {
    __m64 v[4];
    for (int k = 0; k < 4; ++k) v[k] = LoadBytes8(lines[k] + at);
    TransposeWords(v);
    for (int pair = 0; pair < 4; ++pair) {
      columns[at + 2 * pair] = reinterpret_cast<FourTapColumnOf4>(_mm_and_si64(v[pair], lowBytes));
      columns[at + 2 * pair + 1] = reinterpret_cast<FourTapColumnOf4>(_mm_srli_pi16(v[pair], 8));
    }
  }
  _mm_empty();
  SingleColumnsFromLines<4>(lines, at, count, columns);
}

void Rotate8LinesClockwise_sse2(unsigned char** lines, int count, FourTapColumnOf8* columns) {
  fourtap::LinesToColumns_sse2<fourtap::nothingCleared>(lines, count, columns);
  _mm_empty();
}

void Rotate8LinesCounterClockwise_sse2(FourTapColumnOf8 const* columns, unsigned char** lines, int count) {
  fourtap::LinesFromAllColumns<fourtap::SaturateAndMerge, fourtap::nothingCleared>(columns, lines, count);
  _mm_empty();
}

void Rotate4LinesClockwise_mmx(unsigned char** lines, int count, FourTapColumnOf4* columns) {
  fourtap::LinesToColumns_mmx(lines, count, columns);
}

void Rotate4LinesCounterClockwise_mmx(FourTapColumnOf4 const* columns, unsigned char** lines, int count) {
  fourtap::ColumnsToLines_mmx<fourtap::nothingCleared>(columns, lines, count);
}
