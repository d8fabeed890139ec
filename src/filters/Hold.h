// Keeps values in registers. Included by files compiled for newer processors, so all of it stays theirs.
//
// Told nothing, g++ takes a load for cheap enough to do again for each use, or gathers pointers in a vector to take
// them out again one by one.
#pragma once

namespace {

template <class Vector>
void HoldInVector(Vector& value) {
  asm("" : "+v"(value));
}

template <class Value>
void HoldInRegister(Value& value) {
  asm("" : "+r"(value));
}

}  // namespace
