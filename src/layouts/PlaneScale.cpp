// One 8-bit plane: the simplest layout.
#include "layouts/EntryPoints.h"
#include "layouts/PixelLayout.h"

namespace {
typedef fourtap::PixelLayout<1, 1> PlaneLayout;
}

FOURTAP_DEFINE_LAYOUT(Plane)
