// A scale context that releases itself, and shows what it is made of.
#pragma once

#include "conformance/OwnedContext.h"
#include "core/ScaleContext.h"

using conformance::OwnedContext;

struct ContextSizes {
  int cxIn, cyIn, cxOut, cyOut, bitsPerPixel;
};

inline OwnedContext MakeContext(ContextSizes const& sizes) {
  return OwnedContext(InitScaleContext(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, sizes.bitsPerPixel));
}
