// A scale context that releases itself.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <memory>

#include "core/ScaleContext.h"

struct DoneContext {
  void operator()(_SCALE_CONTEXT* context) const { DoneScaleContext(context); }
};
typedef std::unique_ptr<_SCALE_CONTEXT, DoneContext> OwnedContext;

struct ContextSizes {
  int cxIn, cyIn, cxOut, cyOut, bitsPerPixel;
};

inline OwnedContext MakeContext(ContextSizes const& sizes) {
  return OwnedContext(InitScaleContext(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, sizes.bitsPerPixel));
}
