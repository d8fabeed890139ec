// The weighted sum of four samples a fixed distance apart, for a byte of one line and for a column of a block of lines.
#pragma once

#include <emmintrin.h>
#include <fourtapscale/FourTapFilters.h>

#include <algorithm>

namespace fourtap {

inline unsigned char ClampToByte(int value) { return static_cast<unsigned char>(std::clamp(value, 0, 255)); }

inline unsigned char FourTapSum(unsigned char const* in, int distance, short const* taps) {
  int sum = 0;
  for (int t = 0; t < 4; ++t) sum += taps[t] * in[t * distance];
  return ClampToByte(sum >> 6);
}

// Lanes are left unclamped; the rotation back saturates them.
inline FourTapColumnOf4 FourTapSum(FourTapColumnOf4 const* in, int distance, FourTapColumnOf4 const* taps) {
  auto const product = [&](int t) {
    return _mm_mullo_pi16(reinterpret_cast<__m64>(in[t * distance]), reinterpret_cast<__m64>(taps[t]));
  };
  __m64 const sum = _mm_add_pi16(_mm_add_pi16(product(0), product(1)), _mm_add_pi16(product(2), product(3)));
  return reinterpret_cast<FourTapColumnOf4>(_mm_srai_pi16(sum, 6));
}

inline FourTapColumnOf8 FourTapSum(FourTapColumnOf8 const* in, int distance, FourTapColumnOf8 const* taps) {
  auto const product = [&](int t) { return _mm_mullo_epi16(in[t * distance], taps[t]); };
  __m128i const sum = _mm_add_epi16(_mm_add_epi16(product(0), product(1)), _mm_add_epi16(product(2), product(3)));
  return _mm_srai_epi16(sum, 6);
}

}  // namespace fourtap
