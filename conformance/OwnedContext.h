// A scale context that releases itself.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <memory>

namespace conformance {

struct DoneContext {
  void operator()(_SCALE_CONTEXT* context) const { DoneScaleContext(context); }
};
typedef std::unique_ptr<_SCALE_CONTEXT, DoneContext> OwnedContext;

}  // namespace conformance
