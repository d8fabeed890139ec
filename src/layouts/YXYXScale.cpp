// Packed 4:2:2, luma first.
#include "layouts/EntryPoints.h"
#include "layouts/PairLayout.h"

namespace {
constexpr fourtap::PairOrder order{"YXYXScale.cpp", __LINE__, 0, 1};
typedef fourtap::PairLayout<order> YXYXLayout;
}  // namespace

FOURTAP_DEFINE_LAYOUT(YXYX)
