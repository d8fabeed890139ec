// The library whose scalers are timed: the one that the benchmark is linked with, or another build of it beside that.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <memory>
#include <string>

#include "conformance/Variants.h"

namespace bench {

// Its functions, as FourTapScale.h declares them.
struct Library {
  decltype(&::InitScaleContext) initContext;
  decltype(&::DoneScaleContext) doneContext;
  decltype(&::FourTapFrameScalerFor) frameScalerFor;
  decltype(&::FourTapSliceScalerFor) sliceScalerFor;
  decltype(&::FourTapScaleProgressiveReset) reset;
  decltype(&::FourTapScaleSourceNeeded) sourceNeeded;
  decltype(&::FourTapScaleSourceOrigin) sourceOrigin;
};

Library const& LinkedLibrary();

// Of a shared library's file, for as long as the process lives. Throws where it can't be loaded or lacks a function.
Library LoadLibrary(std::string const& fileName);

// The scalers of one layout and set.
struct Scalers {
  Library const* library;
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;

  std::shared_ptr<_SCALE_CONTEXT> Context(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel) const;
};

Scalers LinkedScalers(conformance::Variant const&);
// Null pointers where that library lacks the variant, or gives scalers out by name only.
Scalers ScalersOf(Library const&, conformance::Variant const&);

}  // namespace bench
