#include "reduced/ReducingKernels.h"

#include <fourtapscale/FourTapScale.h>

namespace fourtap {

ReducingKernels const& ReducingKernelsFor(int set) {
  switch (set) {
    case FourTapSetSSE2:
      return reducingKernels_sse2;
    case FourTapSetAVX2:
      return reducingKernels_avx2;
    case FourTapSetAVX512:
      return reducingKernels_avx512;
    default:
      return reducingKernels_c;
  }
}

}  // namespace fourtap
