// Packed 4:2:2, chroma first.
#include "layouts/EntryPoints.h"
#include "layouts/PairLayout.h"

namespace {
constexpr fourtap::PairOrder order{"XYXYScale.cpp", __LINE__, 1, 0};
typedef fourtap::PairLayout<order> XYXYLayout;
}  // namespace

FOURTAP_DEFINE_LAYOUT(XYXY)
