// All scalers, by layout and set: what tests, self-test, benchmark, fuzzers and the tool run over.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <span>
#include <string_view>

#include "variants/Variants.h"

namespace conformance {

#define FOURTAP_ENUMERATOR(with, name, ...) name = FourTapLayout##name,
enum class Layout { FOURTAP_LAYOUTS(FOURTAP_ENUMERATOR, ) };
#undef FOURTAP_ENUMERATOR

struct LayoutTraits {
  Layout layout;
  char const* name;
  int bitsPerPixel;
  bool pairs;  // pixels come in pairs: widths and columns are even whenever there is a horizontal pass

  int BytesPerPixel() const { return bitsPerPixel / 8; }
};

// Indexed by Layout.
std::span<LayoutTraits const> Layouts();

inline LayoutTraits const& Traits(Layout layout) { return Layouts()[static_cast<std::size_t>(layout)]; }

struct Set {
  char const* name;  // the suffix of the routines' names
  int number;        // FourTapSet; FourTapSetNone for one that is never chosen
  int blockLines;    // lines that leave a progressive scaler at a time while both sizes change
  bool runnable;     // on this processor
};

// Narrowest first.
std::span<Set const> Sets();

struct Variant {
  Layout layout;
  Set const* set;
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
};

// Layout by layout, in the order of Layout; within a layout by set, in the order of Sets.
std::span<Variant const> Variants();

// The variant of a layout and a set that are listed.
Variant const& VariantOf(Layout layout, Set const& set);

}  // namespace conformance
