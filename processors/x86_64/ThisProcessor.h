// What tests and tools do otherwise on each processor: here on x86-64.
#pragma once

#include <cpuid.h>
#include <mmintrin.h>
#include <ucontext.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace processor {

// The processor's name for itself.
inline std::string Name() {
  std::array<unsigned, 12> words{};
  for (unsigned i = 0; i < 3; ++i) {
    unsigned* const word = words.data() + 4 * i;
    __get_cpuid(0x80000002 + i, word, word + 1, word + 2, word + 3);
  }
  char text[sizeof words + 1] = {};
  std::memcpy(text, words.data(), sizeof words);
  std::string name = text;
  name.erase(0, name.find_first_not_of(' '));
  return name.empty() ? "unknown" : name;
}

// Between two looks at what another thread is about to change.
inline void Pause() { __builtin_ia32_pause(); }

// Whether a call has left the registers as it must: the x87 ones, which MMX shares, are free.
inline bool StateIsClean() {
  struct {
    uint16_t controlWord, unused0, statusWord, unused1, tagWord, unused2;
    uint32_t pointers[4];
  } environment;
  // Storing masks all exceptions, hence the load.
  asm volatile("fnstenv %0\n\tfldenv %0" : "=m"(environment));
  return environment.tagWord == 0xffff;
}
inline void CleanState() { _mm_empty(); }
inline constexpr char uncleanState[] = "leaves the MMX state in use";

// What an access did that the system refused, by what its signal handler is given.
inline char const* RefusedAccess(void const* context) {
  auto const& registers = static_cast<ucontext_t const*>(context)->uc_mcontext.gregs;
  return (registers[REG_ERR] & 2) != 0 ? "writes" : "reads";
}
inline bool const refusalsTellWrites = true;

}  // namespace processor
