// Two bytes per pixel, both channels: the interleaved chroma of semi-planar video, gray with alpha.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<2, 2> UV16Layout;
}

FOURTAP_DEFINE_LAYOUT(UV16)
