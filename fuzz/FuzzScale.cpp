// Every variant against the model, with a case made from the input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "conformance/Cases.h"

namespace {

using namespace conformance;

struct Input {
  uint8_t const* data;
  size_t size;

  int Between(int least, int most) {
    if (size == 0) return least;
    --size;
    return least + *data++ % (most - least + 1);
  }
};

std::vector<int> Slices(Input& input, int cyIn) {
  std::vector<int> slices;
  for (int left = cyIn; left > 0; left -= slices.back()) slices.push_back(input.size ? input.Between(0, 20) : left);
  return slices;
}

Placement PlacementOf(Input& input) {
  int const gap = input.Between(0, 20);
  int const kind = input.Between(0, 3);
  return {gap, (kind & 1) != 0, kind & 2 ? Flush::start : Flush::end, input.Between(0, 15)};
}

Case CaseOf(Input input) {
  Case what{};
  // The layout's number, whatever others there are.
  auto const number = static_cast<std::size_t>(input.Between(0, 255));
  LayoutTraits const& traits = Layouts()[number < Layouts().size() ? number : 0];
  what.layout = traits.layout;
  what.seed = static_cast<uint64_t>(input.Between(0, 255));
  what.content = static_cast<Content>(input.Between(0, 2));
  Sizes& sizes = what.sizes;
  for (int* size : {&sizes.cxIn, &sizes.cyIn, &sizes.cxOut, &sizes.cyOut}) *size = input.Between(1, 80);
  bool const even = traits.pairs && sizes.HorzPass();
  if (even) {
    sizes.cxIn += sizes.cxIn & 1;
    sizes.cxOut += sizes.cxOut & 1;
  }
  Rect& rect = what.rect;
  rect = {input.Between(0, sizes.cxOut), input.Between(0, sizes.cyOut), 0, 0};
  rect.x &= even ? ~1 : ~0;
  rect.cx = input.Between(0, sizes.cxOut - rect.x) & (even ? ~1 : ~0);
  rect.cy = input.Between(0, sizes.cyOut - rect.y);
  what.source = PlacementOf(input);
  what.destination = PlacementOf(input);
  for (std::vector<int>& slices : what.slices) slices = Slices(input, sizes.cyIn);
  return what;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Trial const trial(CaseOf({data, size}));
  for (Set const& set : Sets()) {
    if (!set.runnable) continue;
    std::string const error = RunTrial(VariantOf(trial.what.layout, set), trial);
    if (!error.empty()) {
      std::fprintf(stderr, "%s\n", error.c_str());
      std::abort();
    }
  }
  return 0;
}
