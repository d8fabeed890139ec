// What tests and tools do otherwise on each processor: here on aarch64.
#pragma once

#include <sys/utsname.h>

#include <string>

namespace processor {

inline std::string Name() {
  utsname system;
  return uname(&system) == 0 ? system.machine : "unknown";
}

// On many of its processors `yield` does nothing, and this takes some ten cycles.
inline void Pause() { asm volatile("isb" ::: "memory"); }

inline bool StateIsClean() { return true; }
inline void CleanState() {}
inline constexpr char uncleanState[] = "";

inline char const* RefusedAccess(void const*) { return "reads or writes"; }
inline bool const refusalsTellWrites = false;

}  // namespace processor
