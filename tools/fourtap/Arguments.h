// The command line.
#pragma once

#include <optional>

#include "fourtap/Options.h"

namespace tool {

// Nothing when the user asked for help or the version, which has then been printed. Throws a Failure for what it can't
// make sense of.
std::optional<Options> ParseArguments(int argc, char** argv);

}  // namespace tool
