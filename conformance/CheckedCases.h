// The trial of the checked functions for C with a case.
#pragma once

#include <string>

#include "conformance/Cases.h"

namespace conformance {

// Runs the case with a set that can be chosen: the whole frame and the rectangle, each from the whole source and from
// just the part that it needs, and a progressive frame whose slices have room for no more than they write, and are
// refused with less. Memory ends where it is said to. Returns what was wrong first, or an empty string.
std::string RunCheckedTrial(Set const& set, Trial const& trial, Fences fences = Fences::pages);

}  // namespace conformance
