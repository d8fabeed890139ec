#include "fourtap/Scalers.h"

#include <algorithm>

#include "fourtap/Failure.h"

namespace tool {

namespace {

conformance::Set const* inUse;

bool IsAvailable(conformance::Set const& set) {
  return set.number == FourTapSetNone || FourTapSetFor(set.number) == set.number;
}

// For FourTapSetNone the first one that the library never chooses: what runs where it chooses none.
conformance::Set const& SetNumbered(int number) {
  return *std::ranges::find(conformance::Sets(), number, &conformance::Set::number);
}

conformance::Set const& SetNamed(std::string const& name) {
  for (conformance::Set const& set : conformance::Sets()) {
    if (name == set.name) return set;
  }
  throw Failure{badUsage, "--set: \"" + name + "\" given, expected " + Alternatives(SetNames())};
}

}  // namespace

std::string ChooseSet(std::string const& name) {
  inUse = name.empty() ? &SetNumbered(FourTapSetFor(FourTapSetWidest)) : &SetNamed(name);
  if (!IsAvailable(*inUse)) {
    throw Failure{badUsage, "--set: this processor has no " + name + ", expected one of those that --info names"};
  }
  return inUse->name;
}

std::vector<std::string_view> SetNames() {
  std::vector<std::string_view> names;
  for (conformance::Set const& set : conformance::Sets()) names.push_back(set.name);
  return names;
}

std::vector<std::string> AvailableSets() {
  std::vector<std::string> names;
  for (conformance::Set const& set : conformance::Sets()) {
    if (IsAvailable(set)) names.push_back(set.name);
  }
  return names;
}

conformance::Variant const& ScalersOf(int layout) {
  return conformance::VariantOf(static_cast<conformance::Layout>(layout), *inUse);
}

}  // namespace tool
