// The test that an installed program runs on its user's machine, and a binding in its user's process.
#pragma once

#include <functional>
#include <string>

#include "conformance/GuardedImage.h"

namespace conformance {

struct SelfTest {
  // Gets each line, without its end.
  std::function<void(std::string const& line)> say;
  // If there is one, is told now and then how many cases of all are done; ends the test where it answers false.
  std::function<bool(int done, int all)> goOn = {};
  // Without fences no memory is protected and no signal handled; what is written beside the images is still found.
  Fences fences = Fences::pages;
};

// Runs every variant that this processor can run against the model. Says a line per variant and, when all agree, a
// digest of all output, which is the same on every machine: of the five first layouts, and if there are more, of all.
// Returns whether all agree; not if it was ended.
bool RunSelfTest(SelfTest const& test);

}  // namespace conformance
