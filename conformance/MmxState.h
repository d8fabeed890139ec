// Whether the x87 registers, which MMX shares, are free.
#pragma once

#include <cstdint>

namespace conformance {

inline bool MmxStateIsEmpty() {
  struct {
    uint16_t controlWord, unused0, statusWord, unused1, tagWord, unused2;
    uint32_t pointers[4];
  } environment;
  // Storing masks all exceptions, hence the load.
  asm volatile("fnstenv %0\n\tfldenv %0" : "=m"(environment));
  return environment.tagWord == 0xffff;
}

}  // namespace conformance
