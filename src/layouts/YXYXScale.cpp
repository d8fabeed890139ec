// Packed 4:2:2, luma first.
#include "layouts/EntryPoints.h"
#include "layouts/PairLayout.h"
#include "layouts/SetScalers.h"

namespace {
constexpr fourtap::PairOrder order{"YXYXScale.cpp", __LINE__, 0, 1};
typedef fourtap::PairLayout<order> YXYXLayout;
}  // namespace

FOURTAP_DEFINE_SCALERS(YXYX, mmx, fourtap::scalerOf_mmx<YXYXLayout>)
FOURTAP_DEFINE_SCALERS(YXYX, sse2, fourtap::scalerOf_sse2<YXYXLayout>)
FOURTAP_DEFINE_SCALERS(YXYX, avx2, fourtap::scalerOf_avx2<YXYXLayout>)
FOURTAP_DEFINE_SCALERS(YXYX, avx512, fourtap::scalerOf_avx512<YXYXLayout>)
