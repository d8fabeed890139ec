// Which scalers run: looked up by layout and set, or installed for the process.
#include <fourtapscale/FourTapScale.h>

#include <iterator>

#include "variants/Variants.h"

#define DEFINE_POINTERS(with, layout, ...)  \
  FourTapFrameScaler* FourTapScale##layout; \
  FourTapSliceScaler* FourTapScaleProgressive##layout;
FOURTAP_LAYOUTS(DEFINE_POINTERS, )
#undef DEFINE_POINTERS

namespace {

struct Scalers {
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
};

#define NUMBER_OF(with, layout, ...) FourTapLayout##layout,
constexpr int layoutNumbers[] = {FOURTAP_LAYOUTS(NUMBER_OF, )};
#undef NUMBER_OF
int const layoutCount = std::size(layoutNumbers);

struct Set {
  int number;  // FourTapSet
  bool (*isHere)();
  Scalers scalers[layoutCount];
};

#define SCALERS_OF(set, layout, ...) {FourTapScale##layout##_##set, FourTapScale##layout##Progressive_##set},
#define ROW_OF(with, set, number, ...) \
  {number, [] { return FOURTAP_PROCESSOR_HAS(set); }, {FOURTAP_LAYOUTS(SCALERS_OF, set)}},
// Narrowest first; layouts by number.
constexpr Set sets[] = {FOURTAP_SETS(ROW_OF, )};
#undef ROW_OF
#undef SCALERS_OF

constexpr bool AreInOrder(int const (&numbers)[layoutCount]) {
  for (int i = 0; i < layoutCount; ++i) {
    if (numbers[i] != i) return false;
  }
  return true;
}
static_assert(AreInOrder(layoutNumbers), "scalers are found by the layout's number");

Set const* FindSet(int widest) {
  if (widest <= FourTapSetNone || !cpuid_detect_accel()) return nullptr;
  Set const* found = nullptr;
  for (Set const& set : sets) {
    if (set.number == FourTapSetNone) continue;
    if (set.isHere()) found = &set;
    if (set.number == widest) break;
  }
  return found;
}

Scalers FindScalers(int layout, int widest) {
  if (layout < 0 || layout >= layoutCount) return {};
  Set const* const set = FindSet(widest);
  return set ? set->scalers[layout] : Scalers{};
}

}  // namespace

FourTapFrameScaler* FourTapFrameScalerFor(int layout, int widest) { return FindScalers(layout, widest).frame; }

FourTapSliceScaler* FourTapSliceScalerFor(int layout, int widest) { return FindScalers(layout, widest).slice; }

int FourTapSetFor(int widest) {
  Set const* const set = FindSet(widest);
  return set ? set->number : FourTapSetNone;
}

int InitFourTapScaleBest(int widest) {
  Set const* const set = FindSet(widest);
  if (!set) return FourTapSetNone;
#define INSTALL(with, layout, ...)                                  \
  FourTapScale##layout = set->scalers[FourTapLayout##layout].frame; \
  FourTapScaleProgressive##layout = set->scalers[FourTapLayout##layout].slice;
  FOURTAP_LAYOUTS(INSTALL, )
#undef INSTALL
  return set->number;
}

int InitFourTapScale() { return InitFourTapScaleBest(FOURTAP_BASE_SET) != FourTapSetNone; }
