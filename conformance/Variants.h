// The list of all scalers: what tests, self-test, benchmark and fuzzers run over.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <span>
#include <string_view>

namespace conformance {

enum class Layout { plane, rgb24, rgb32, xyxy, yxyx };

struct LayoutTraits {
  Layout layout;
  char const* name;
  int bitsPerPixel;
  bool pairs;  // pixels come in pairs: widths and columns are even whenever there is a horizontal pass

  int BytesPerPixel() const { return bitsPerPixel / 8; }
};

// Indexed by Layout.
extern LayoutTraits const layouts[5];

inline LayoutTraits const& Traits(Layout layout) { return layouts[static_cast<int>(layout)]; }

struct Variant {
  Layout layout;
  char const* set;  // instruction set: the suffix of the routines' names
  int blockLines;   // lines that leave a progressive scaler at a time while both sizes change
  FourTapFrameScaler* frame;
  FourTapSliceScaler* slice;
};

// Layout by layout, in the order of Layout; within a layout the narrowest set first.
std::span<Variant const> Variants();

// Whether this processor can run the set.
bool Runnable(std::string_view set);

}  // namespace conformance
