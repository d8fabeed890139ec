// Four bytes per pixel: three channels in any order, and a fourth byte that only a vertical filter alone lets through.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"
#include "layouts/SetScalers.h"

namespace {
typedef fourtap::PixelLayout<4, 3> RGB32Layout;
}

FOURTAP_DEFINE_SCALERS(RGB32, mmx, fourtap::scalerOf_mmx<RGB32Layout>)
FOURTAP_DEFINE_SCALERS(RGB32, sse2, fourtap::scalerOf_sse2<RGB32Layout>)
FOURTAP_DEFINE_SCALERS(RGB32, avx2, fourtap::scalerOf_avx2<RGB32Layout>)
FOURTAP_DEFINE_SCALERS(RGB32, avx512, fourtap::scalerOf_avx512<RGB32Layout>)
