#include "core/FilterCoefs.h"

#include <cmath>

namespace fourtap {

double Sinc(double y) {
  if (y == 0.0) return 1.0;
  double const u = 3.141592653589793 * y;
  return std::sin(u) / u;
}

double FilterWeight(int k, double x) {
  double const distance = x < 0 ? -x : x;
  if (!(k > distance)) return 0.0;
  return Sinc(distance) * Sinc(distance / k);
}

int16_t RoundToShort(double v) { return static_cast<int16_t>(static_cast<int32_t>(v < 0 ? v - 0.5 : v + 0.5)); }

void ComputeFilterCoefs(int k, short* table) {
  for (int phase = 0; phase < 16; ++phase) {
    double weights[4];
    double sum = 0.0;
    for (int tap = 0; tap < 4; ++tap) {
      float const distance =
          (static_cast<float>(tap - 1) - static_cast<float>(phase) / 16.0f) * static_cast<float>(k) / 2.0f;
      weights[tap] = FilterWeight(k, distance);
      sum += weights[tap];
    }
    double carry = 0.0;
    for (int tap = 0; tap < 4; ++tap) {
      double const exact = 64.0 * weights[tap] / sum - carry;
      short const rounded = RoundToShort(exact);
      table[4 * phase + tap] = rounded;
      carry = rounded - exact;
    }
  }
}

}  // namespace fourtap
