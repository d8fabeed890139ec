// Packed 4:2:2, chroma first.
#include "layouts/EntryPoints.h"
#include "layouts/PairLayout.h"
#include "layouts/SetScalers.h"

namespace {
constexpr fourtap::PairOrder order{"XYXYScale.cpp", __LINE__, 1, 0};
typedef fourtap::PairLayout<order> XYXYLayout;
}  // namespace

FOURTAP_DEFINE_SCALERS(XYXY, mmx, fourtap::scalerOf_mmx<XYXYLayout>)
FOURTAP_DEFINE_SCALERS(XYXY, sse2, fourtap::scalerOf_sse2<XYXYLayout>)
FOURTAP_DEFINE_SCALERS(XYXY, avx2, fourtap::scalerOf_avx2<XYXYLayout>)
FOURTAP_DEFINE_SCALERS(XYXY, avx512, fourtap::scalerOf_avx512<XYXYLayout>)
