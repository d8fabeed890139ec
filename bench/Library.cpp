#include "bench/Library.h"

#include <dlfcn.h>

#include <cstring>
#include <new>
#include <stdexcept>

namespace bench {
namespace {

// The function of the same name in a library that was loaded.
template <class Function>
Function* Like(Function* linked, void* library, std::string const& fileName) {
  void* address;
  static_assert(sizeof address == sizeof linked);
  std::memcpy(&address, &linked, sizeof address);
  Dl_info info{};
  if (!dladdr(address, &info) || !info.dli_sname) throw std::runtime_error("the library's functions have no names");
  address = dlsym(library, info.dli_sname);
  if (!address) throw std::runtime_error(fileName + " lacks " + info.dli_sname + ", expected a build of this library");
  std::memcpy(&linked, &address, sizeof address);
  return linked;
}

}  // namespace

Library const& LinkedLibrary() {
  static Library const linked{InitScaleContext,
                              DoneScaleContext,
                              FourTapFrameScalerFor,
                              FourTapSliceScalerFor,
                              FourTapScaleProgressiveReset,
                              FourTapScaleSourceNeeded,
                              FourTapScaleSourceOrigin};
  return linked;
}

Library LoadLibrary(std::string const& fileName) {
  // Bound to itself first: all its names are those of the library that is linked.
  void* const loaded = dlopen(fileName.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
  if (!loaded) throw std::runtime_error("can't load " + fileName + ": " + dlerror());
  Library library = LinkedLibrary();
  auto const take = [&](auto*& function) { function = Like(function, loaded, fileName); };
  take(library.initContext);
  take(library.doneContext);
  take(library.frameScalerFor);
  take(library.sliceScalerFor);
  take(library.reset);
  take(library.sourceNeeded);
  take(library.sourceOrigin);
  return library;
}

std::shared_ptr<_SCALE_CONTEXT> Scalers::Context(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel) const {
  _SCALE_CONTEXT* const context = library->initContext(cxIn, cyIn, cxOut, cyOut, bitsPerPixel);
  if (!context) throw std::bad_alloc();
  return {context, library->doneContext};
}

Scalers LinkedScalers(conformance::Variant const& variant) { return {&LinkedLibrary(), variant.frame, variant.slice}; }

Scalers ScalersOf(Library const& library, conformance::Variant const& variant) {
  int const layout = static_cast<int>(variant.layout);
  return {&library, library.frameScalerFor(layout, variant.set->number),
          library.sliceScalerFor(layout, variant.set->number)};
}

}  // namespace bench
