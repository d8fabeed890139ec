// Keeps values in vector registers of x86-64. Included by files compiled for newer processors, so all of it stays
// theirs.
//
// Told nothing, g++ takes a load for cheap enough to do again for each use.
#pragma once

namespace {

template <class Vector>
void HoldInVector(Vector& value) {
  asm("" : "+v"(value));
}

}  // namespace
