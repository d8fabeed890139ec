// Four bytes per pixel: three channels in any order, and a fourth byte that only a vertical filter alone lets through.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<4, 3> RGB32Layout;
}

FOURTAP_DEFINE_LAYOUT(RGB32)
