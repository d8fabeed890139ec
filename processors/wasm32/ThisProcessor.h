// What tests and tools do otherwise on each processor: here on WebAssembly.
#pragma once

#include <sys/utsname.h>

#include <string>

namespace processor {

inline std::string Name() {
  utsname system;
  return uname(&system) == 0 ? system.machine : "unknown";
}

inline void Pause() {}

inline bool StateIsClean() { return true; }
inline void CleanState() {}
inline constexpr char uncleanState[] = "";

inline char const* RefusedAccess(void const*) { return "reads or writes"; }
inline bool const refusalsTellWrites = false;

}  // namespace processor
