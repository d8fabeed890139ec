// How trials make calls: those that touch protected memory end there instead of ending the program.
#pragma once

#include <fourtapscale/fourtap.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>

#include "conformance/GuardedImage.h"

namespace conformance {

// Runs checks whose calls may touch protected memory, and returns what they do.
std::string CatchingFaults(Fences fences, std::function<std::string()> const& checks);

// A finished call's error, or an empty string.
std::string CallError(std::function<void()> const& call);

// The first byte of `image` from line firstLine on that is not as in `expected`, or an empty string.
std::string Difference(GuardedImage const& image, unsigned char const* expected, int firstLine, int lastLine);

// Exactly an image's bytes, or those of some of its lines, from the lowest address on, as fourtap_source or _target.
template <class Memory>
Memory MemoryOf(GuardedImage const& image, int first, int last) {
  if (first == last) return {nullptr, 0, image.Stride()};
  unsigned char* const lowest = std::min(image.Line(first), image.Line(last - 1));
  unsigned char* const highest = std::max(image.Line(first), image.Line(last - 1));
  return {lowest, static_cast<std::size_t>(highest - lowest + image.LineBytes()), image.Stride()};
}

// The error of a checked call, or an empty string.
inline std::string Refused(char const* what, fourtap_status status) {
  return status == FOURTAP_OK ? "" : std::string(what) + " is refused: " + fourtap_error();
}

// What an output byte holds before it is written.
constexpr unsigned char untouched = 0x5a;

}  // namespace conformance
