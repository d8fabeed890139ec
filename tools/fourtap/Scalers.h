// Which of the library's sets of scalers the tool uses.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// Chooses the set that all scalers are of from now on, and returns its name: the widest that the processor has, or the
// one named. Throws a Failure when that is none, or can't be had.
std::string ChooseSet(std::string const& name);

// Names of all sets, narrowest first.
std::vector<std::string_view> SetNames();

// Those that the processor has.
std::vector<std::string> AvailableSets();

// The number of the one chosen.
int SetInUse();

}  // namespace tool
