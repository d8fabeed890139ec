// Which of the library's scalers the tool uses.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <memory>
#include <string>
#include <vector>

namespace tool {

// Sets all pointers of FourTapScale.h and returns the name of the set in use: the widest that the processor has, or the
// one named. Throws a Failure when that is none, or can't be had.
std::string InstallScalers(std::string const& nameOfSet);

// Names of the sets that the processor has, narrowest first. Leaves other pointers behind than it found.
std::vector<std::string> AvailableSets();

struct ReleaseContext {
  void operator()(_SCALE_CONTEXT* context) const { DoneScaleContext(context); }
};
using OwnedContext = std::unique_ptr<_SCALE_CONTEXT, ReleaseContext>;

}  // namespace tool
