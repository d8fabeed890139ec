#include "fourtap/Scalers.h"

#include <fourtapscale/fourtap.h>

#include "conformance/Variants.h"
#include "fourtap/Failure.h"

namespace tool {

namespace {

int setInUse = FourTapSetNone;

// Sets that are chosen by number; the others are for hosts that call them by name.
std::vector<conformance::Set> NumberedSets() {
  std::vector<conformance::Set> numbered;
  for (conformance::Set const& set : conformance::Sets()) {
    if (set.number != FourTapSetNone) numbered.push_back(set);
  }
  return numbered;
}

bool IsAvailable(conformance::Set const& set) { return FourTapSetFor(set.number) == set.number; }

int SetNamed(std::string const& name) {
  for (conformance::Set const& set : NumberedSets()) {
    if (name != set.name) continue;
    if (IsAvailable(set)) return set.number;
    throw Failure{badUsage, "--set: this processor has no " + name + ", expected one of those that --info names"};
  }
  throw Failure{badUsage, "--set: \"" + name + "\" given, expected " + Alternatives(SetNames())};
}

}  // namespace

std::string ChooseSet(std::string const& name) {
  setInUse = name.empty() ? FourTapSetFor(FourTapSetWidest) : SetNamed(name);
  if (setInUse == FourTapSetNone) {
    throw Failure{badUsage,
                  "this processor has none of the sets of instructions, expected " + Alternatives(SetNames())};
  }
  return fourtap_set_name(setInUse);
}

std::vector<std::string_view> SetNames() {
  std::vector<std::string_view> names;
  for (conformance::Set const& set : NumberedSets()) names.push_back(set.name);
  return names;
}

std::vector<std::string> AvailableSets() {
  std::vector<std::string> names;
  for (conformance::Set const& set : NumberedSets()) {
    if (IsAvailable(set)) names.push_back(set.name);
  }
  return names;
}

int SetInUse() { return setInUse; }

}  // namespace tool
