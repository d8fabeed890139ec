// Three bytes per pixel, three channels in any order.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"
#include "layouts/SetScalers.h"

namespace {
typedef fourtap::PixelLayout<3, 3> RGB24Layout;
}

FOURTAP_DEFINE_SCALERS(RGB24, mmx, fourtap::scalerOf_mmx<RGB24Layout>)
FOURTAP_DEFINE_SCALERS(RGB24, sse2, fourtap::scalerOf_sse2<RGB24Layout>)
FOURTAP_DEFINE_SCALERS(RGB24, avx2, fourtap::scalerOf_avx2<RGB24Layout>)
FOURTAP_DEFINE_SCALERS(RGB24, avx512, fourtap::scalerOf_avx512<RGB24Layout>)
