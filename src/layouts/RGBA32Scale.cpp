// Four bytes per pixel, all of them channels.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<4, 4> RGBA32Layout;
}

FOURTAP_DEFINE_LAYOUT(RGBA32)
