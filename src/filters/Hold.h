// Keeps values in registers. Included by files compiled for newer processors, so all of it stays theirs.
//
// Told nothing, g++ gathers pointers in a vector to take them out again one by one. Clang doesn't; told, its version 14
// mixes up such values in WebAssembly.
#pragma once

namespace {

template <class Value>
void HoldInRegister([[maybe_unused]] Value& value) {
#if !defined(__clang__)
  asm("" : "+r"(value));
#endif
}

}  // namespace
