// Keeps values in registers. Included by files compiled for newer processors, so all of it stays theirs.
//
// Told nothing, g++ gathers pointers in a vector to take them out again one by one.
#pragma once

namespace {

template <class Value>
void HoldInRegister(Value& value) {
  asm("" : "+r"(value));
}

}  // namespace
