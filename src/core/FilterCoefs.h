// The four-tap weights of the sixteen phases.
#pragma once

#include <cstdint>

namespace fourtap {

// sin(pi * y) / (pi * y), and 1 at 0.
double Sinc(double y);

// Weight of a sample at distance x: a sinc windowed by a wider sinc, 0 from a distance of k on.
double FilterWeight(int k, double x);

// Halves round away from zero.
int16_t RoundToShort(double v);

// Fills 16 phases of four taps, phase by phase. Each phase sums to 64: what rounding one tap adds is taken from the
// next.
void ComputeFilterCoefs(int k, short* table);

}  // namespace fourtap
