// A cycle of bytes in which every four neighbours stand once, but 0, 0, 0, 0. So do bytes that lie 2, 3, 4 or some
// other distance apart, unless that is a multiple of 65537: a filter that has gone over the whole cycle has seen all
// that four bytes can be.
#pragma once

#include <cstddef>
#include <cstdint>

namespace conformance {

constexpr uint64_t quadCycleBytes = 0xffffffff;

// `count` bytes of it, from any byte on; it begins again behind its end.
void ReadQuadCycle(uint64_t from, unsigned char* to, std::size_t count);

// Whether what is said above is true of it.
bool QuadCycleIsWhole();

}  // namespace conformance
