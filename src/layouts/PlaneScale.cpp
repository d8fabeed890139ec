// One 8-bit plane: the simplest layout.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"
#include "layouts/SetScalers.h"

namespace {
typedef fourtap::PixelLayout<1, 1> PlaneLayout;
}

FOURTAP_DEFINE_SCALERS(Plane, mmx, fourtap::scalerOf_mmx<PlaneLayout>)
FOURTAP_DEFINE_SCALERS(Plane, sse2, fourtap::scalerOf_sse2<PlaneLayout>)
FOURTAP_DEFINE_SCALERS(Plane, avx2, fourtap::scalerOf_avx2<PlaneLayout>)
FOURTAP_DEFINE_SCALERS(Plane, avx512, fourtap::scalerOf_avx512<PlaneLayout>)
