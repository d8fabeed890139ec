#include "conformance/Variants.h"

namespace conformance {

std::span<LayoutTraits const> Layouts() {
#define TRAITS_OF(with, name, bitsPerPixel, pixelsPerUnit) {Layout::name, #name, bitsPerPixel, pixelsPerUnit == 2},
  static LayoutTraits const layouts[] = {FOURTAP_LAYOUTS(TRAITS_OF, )};
  return layouts;
}

std::span<Set const> Sets() {
#define SET_OF(with, name, number, blockLines) {#name, number, blockLines, FOURTAP_PROCESSOR_HAS(name)},
  static Set const sets[] = {FOURTAP_SETS(SET_OF, )};
  return sets;
}

namespace {

#define INDEX_OF(with, name, ...) name,
enum SetIndex { FOURTAP_SETS(INDEX_OF, ) };

}  // namespace

std::span<Variant const> Variants() {
#define VARIANT_OF(layout, set, ...) \
  {Layout::layout, &Sets()[SetIndex::set], FourTapScale##layout##_##set, FourTapScale##layout##Progressive_##set},
#define VARIANTS_OF(with, layout, ...) FOURTAP_SETS(VARIANT_OF, layout)
  static Variant const variants[] = {FOURTAP_LAYOUTS(VARIANTS_OF, )};
  return variants;
}

Variant const& VariantOf(Layout layout, Set const& set) {
  auto const row = static_cast<std::size_t>(layout) * Sets().size();
  return Variants()[row + static_cast<std::size_t>(&set - Sets().data())];
}

}  // namespace conformance
