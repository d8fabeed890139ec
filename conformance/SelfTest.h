// The test that an installed program runs on its user's machine.
#pragma once

#include <cstdio>

namespace conformance {

// Runs every variant that this processor can run against the model. Prints a line per variant and, when all agree,
// a digest of all output, which is the same on every machine: of the five first layouts, and if there are more, of all.
// Returns 0 when all agree, else 1.
int RunSelfTest(std::FILE* out);

}  // namespace conformance
