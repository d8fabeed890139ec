#include "fourtap/Scalers.h"

#include "fourtap/Failure.h"

namespace tool {

namespace {

conformance::Set const* inUse;

bool IsAvailable(conformance::Set const& set) {
  return set.number == FourTapSetNone || FourTapSetFor(set.number) == set.number;
}

// Among those that the library never chooses itself is one that every processor has.
conformance::Set const& SetNumbered(int number) {
  for (conformance::Set const& set : conformance::Sets()) {
    if (set.number == number) return set;
  }
  return conformance::Sets().front();
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
  if (!name.empty() && !IsAvailable(*inUse)) {
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
