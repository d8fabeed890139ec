// What ends a program of this folder before its work is done.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "fourtap/Utf8.h"

namespace tool {

enum ExitStatus { succeeded = 0, badUsage = 1, badInput = 2, badOutput = 3 };

// Thrown where the fault is found.
struct Failure {
  ExitStatus status;
  std::string message;  // names the thing, says what is wrong with it and what was expected
};

// On one line, and nothing but text to a terminal, whatever the names in it contain.
inline std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    Character const character = FirstCharacter(text);
    if (character.code < 0 || character.IsControl()) {
      printable += '?';
    } else {
      printable += text.substr(0, character.length);
    }
    text.remove_prefix(character.length);
  }
  return printable;
}

// What a user may choose from: a, b or c.
inline std::string Alternatives(std::vector<std::string_view> const& names) {
  std::string text;
  for (std::string_view const& name : names) {
    if (!text.empty()) text += &name == &names.back() ? " or " : ", ";
    text += name;
  }
  return text;
}

// Prints the failure on stderr and returns its exit status.
inline int Report(char const* program, Failure const& failure) {
  std::fprintf(stderr, "%s: %s\n", program, Printable(failure.message).c_str());
  return failure.status;
}

}  // namespace tool
