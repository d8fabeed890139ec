// Three bytes per pixel, three channels in any order.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<3, 3> RGB24Layout;
}

FOURTAP_DEFINE_LAYOUT(RGB24)
