// What ends a program of this folder before its work is done.
#pragma once

#include <cstdio>
#include <string>

namespace tool {

enum ExitStatus { succeeded = 0, badUsage = 1, badInput = 2, badOutput = 3 };

// Thrown where the fault is found.
struct Failure {
  ExitStatus status;
  std::string message;  // names the thing, says what is wrong with it and what was expected
};

// Prints the failure on stderr as one line, whatever the names in it contain, and returns its exit status.
inline int Report(char const* program, Failure failure) {
  for (char& c : failure.message) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  std::fprintf(stderr, "%s: %s\n", program, failure.message.c_str());
  return failure.status;
}

}  // namespace tool
