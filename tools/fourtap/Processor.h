// The processor's name for itself.
#pragma once

#include <cpuid.h>

#include <array>
#include <cstring>
#include <string>

namespace tool {

inline std::string ProcessorName() {
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

}  // namespace tool
