// A vector that is wider than the processor's registers is held in none.
#pragma once

namespace {

template <class Vector>
void HoldInVector(Vector&) {}

}  // namespace
