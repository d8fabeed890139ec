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

// Runs every variant that this processor can run, and every set of the picture scaler, against their models. Says a line
// for each and, when all agree, digests of all output, which are the same on every machine: of the five first layouts, of
// pictures, and, as the last, of all layouts.
// Returns whether all agree; not if it was ended.
bool RunSelfTest(SelfTest const& test);

}  // namespace conformance
