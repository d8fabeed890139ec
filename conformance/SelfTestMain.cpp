// The self-test as a program of its own, for machines on which the tool's libraries are not at hand.
#include <cstdio>

#include "ThisProcessor.h"
#include "conformance/SelfTest.h"

int main() {
  std::printf("processor %s\n", processor::Name().c_str());
  auto const say = [](std::string const& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
  };
  return conformance::RunSelfTest({.say = say}) ? 0 : 1;
}
