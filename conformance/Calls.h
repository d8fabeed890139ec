// How trials make calls: those that touch protected memory end there instead of ending the program.
#pragma once

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

// What an output byte holds before it is written.
constexpr unsigned char untouched = 0x5a;

}  // namespace conformance
