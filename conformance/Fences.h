// What the system does for memory that must not be touched.
#pragma once

#include <cstddef>
#include <functional>

#include "conformance/GuardedImage.h"

namespace conformance {

// What is asked for; or none where the system protects no memory, and then none of the functions of pages is called.
Fences PossibleFences(Fences asked);

// The same memory twice: between protected pages, inaccessible at first, and as the test sees it.
struct Mapping {
  unsigned char* pages;
  unsigned char* alias;
};

std::size_t PageSize();
Mapping TakePages(std::size_t size);
void GiveBackPages(Mapping const& mapping, std::size_t size);
void Protect(unsigned char* pages, std::size_t size, Access access);

// What a call did that was refused; null where nothing was. Within CatchingFaults.
char const* RefusedOf(std::function<void()> const& call);

}  // namespace conformance
