// The element fourtapscale.
#pragma once

#include <gst/gst.h>

namespace gstfourtap {

GType ElementType();

}  // namespace gstfourtap
