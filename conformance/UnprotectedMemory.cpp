// Where memory can't be protected, as in WebAssembly.
#include <cstdlib>

#include "conformance/Calls.h"
#include "conformance/Fences.h"

namespace conformance {

Fences PossibleFences(Fences) { return Fences::none; }

std::size_t PageSize() { std::abort(); }
Mapping TakePages(std::size_t) { std::abort(); }
void GiveBackPages(Mapping const&, std::size_t) { std::abort(); }
void Protect(unsigned char*, std::size_t, Access) { std::abort(); }

std::string CatchingFaults(Fences, std::function<std::string()> const& checks) { return checks(); }

char const* RefusedOf(std::function<void()> const& call) {
  call();
  return nullptr;
}

}  // namespace conformance
