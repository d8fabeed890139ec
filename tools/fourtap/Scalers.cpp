#include "fourtap/Scalers.h"

#include "fourtap/Failure.h"

namespace tool {

namespace {

struct NamedSet {
  int set;  // FourTapSet
  char const* name;
};
NamedSet const sets[] = {
    {FourTapSetNone, "mmx"}, {FourTapSetSSE2, "sse2"}, {FourTapSetAVX2, "avx2"}, {FourTapSetAVX512, "avx512"}};

// The library never chooses these itself.
void InstallMmx() {
  FourTapScalePlane = FourTapScalePlane_mmx;
  FourTapScaleRGB24 = FourTapScaleRGB24_mmx;
  FourTapScaleRGB32 = FourTapScaleRGB32_mmx;
  FourTapScaleYXYX = FourTapScaleYXYX_mmx;
  FourTapScaleXYXY = FourTapScaleXYXY_mmx;
  FourTapScaleProgressivePlane = FourTapScalePlaneProgressive_mmx;
  FourTapScaleProgressiveRGB24 = FourTapScaleRGB24Progressive_mmx;
  FourTapScaleProgressiveRGB32 = FourTapScaleRGB32Progressive_mmx;
  FourTapScaleProgressiveYXYX = FourTapScaleYXYXProgressive_mmx;
  FourTapScaleProgressiveXYXY = FourTapScaleXYXYProgressive_mmx;
}

}  // namespace

std::string InstallScalers(std::string const& nameOfSet) {
  NamedSet const* wanted = nullptr;
  std::string known;
  for (NamedSet const& one : sets) {
    if (nameOfSet == one.name) wanted = &one;
    known += (known.empty() ? "" : ", ") + std::string(one.name);
  }
  if (!wanted && !nameOfSet.empty()) {
    throw Failure{badUsage, "--set: \"" + nameOfSet + "\" given, expected one of " + known};
  }
  int const chosen = InitFourTapScaleBest(wanted ? wanted->set : FourTapSetAVX512);
  if (wanted && chosen != wanted->set) {
    throw Failure{badUsage, "--set: this processor has no " + nameOfSet + ", expected one of those that --info names"};
  }
  if (chosen == FourTapSetNone) InstallMmx();
  for (NamedSet const& one : sets) {
    if (one.set == chosen) return one.name;
  }
  return "unknown";
}

std::vector<std::string> AvailableSets() {
  std::vector<std::string> names;
  for (NamedSet const& one : sets) {
    if (InitFourTapScaleBest(one.set) == one.set) names.push_back(one.name);
  }
  return names;
}

}  // namespace tool
