// The rotations that leave the library, of lines of any bytes, with nothing cleared; and those of whole pixels.
#include "turned/Rotate.h"

#include <cstring>

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

void fourtap::LinesToPixelColumns_sse2(unsigned char const* const* table, int count, FourTapColumnOf8* columns) {
  EightLines<unsigned char const> const lines(table);
  __m128i const zero = _mm_setzero_si128();
  int at = 0;
  for (; at + 16 <= count; at += 16) {
    for (int k = 0; k < 4; ++k) {
      auto const fourPixels = [&](int line) {
        return _mm_loadu_si128(reinterpret_cast<__m128i const*>(lines.line[line] + at));
      };
      __m128i const first = fourPixels(2 * k), second = fourPixels(2 * k + 1);
      __m128i const low = _mm_unpacklo_epi32(first, second), high = _mm_unpackhi_epi32(first, second);
      columns[at + k] = _mm_unpacklo_epi8(low, zero);
      columns[at + 4 + k] = _mm_unpackhi_epi8(low, zero);
      columns[at + 8 + k] = _mm_unpacklo_epi8(high, zero);
      columns[at + 12 + k] = _mm_unpackhi_epi8(high, zero);
    }
  }
  for (; at < count; at += 4) {
    for (int k = 0; k < 4; ++k) {
      auto const pixel = [&](int line) {
        int bytes;
        std::memcpy(&bytes, lines.line[line] + at, sizeof bytes);
        return _mm_cvtsi32_si128(bytes);
      };
      columns[at + k] = _mm_unpacklo_epi8(_mm_unpacklo_epi32(pixel(2 * k), pixel(2 * k + 1)), zero);
    }
  }
}

void fourtap::PixelColumnsToLines_sse2(FourTapColumnOf8 const* columns, unsigned char* const* table, int count) {
  EightLines<unsigned char> const lines(table);
  int at = 0;
  for (; at + 16 <= count; at += 16) {
    for (int k = 0; k < 2; ++k) {
      FourTapColumnOf8 const* const pixel = columns + at + k;
      __m128i const low[2] = {_mm_unpacklo_epi32(pixel[0], pixel[4]), _mm_unpacklo_epi32(pixel[8], pixel[12])};
      __m128i const high[2] = {_mm_unpackhi_epi32(pixel[0], pixel[4]), _mm_unpackhi_epi32(pixel[8], pixel[12])};
      __m128i const ofLine[4] = {_mm_unpacklo_epi64(low[0], low[1]), _mm_unpackhi_epi64(low[0], low[1]),
                                 _mm_unpacklo_epi64(high[0], high[1]), _mm_unpackhi_epi64(high[0], high[1])};
      for (int line = 0; line < 4; ++line) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(lines.line[4 * k + line] + at), ofLine[line]);
      }
    }
  }
  for (; at < count; at += 4) {
    auto const* const pixels = reinterpret_cast<unsigned char const*>(columns + at);
    for (int line = 0; line < 8; ++line) std::memcpy(lines.line[line] + at, pixels + 4 * line, 4);
  }
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
