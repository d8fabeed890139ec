#include "reduced/ReducingKernels.h"

#include <fourtapscale/FourTapScale.h>

namespace fourtap {

ReducingKernels const& ReducingKernelsFor(int set) {
#define KERNELS_OF(with, name, number) \
  if (set == number) return reducingKernels_##name;
  FOURTAP_REDUCING_SETS(KERNELS_OF, )
#undef KERNELS_OF
  return reducingKernels_c;
}

}  // namespace fourtap
