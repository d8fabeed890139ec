// Cases: what to scale and how to ask for it, drawn from a seed or made by hand; and the trial of one scaler with one
// case, which finds every fault that a caller could see.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "conformance/GuardedImage.h"
#include "conformance/Model.h"
#include "conformance/Variants.h"

namespace conformance {

// The same numbers on every machine, with every compiler.
class Random {
 public:
  explicit Random(uint64_t seed) : state(seed) {}

  uint64_t Next();
  int Between(int least, int most) {
    return least + static_cast<int>(Next() % static_cast<uint64_t>(most - least + 1));
  }
  bool OneIn(int n) { return Between(1, n) == 1; }

 private:
  uint64_t state;
};

// How an image lies in memory.
struct Placement {
  int gap;        // bytes between lines
  bool bottomUp;  // the stride is negative
  Flush flush;
  int shift;  // bytes, of the whole image
};

// An image of cx x cy pixels that lies so, and can't be touched yet.
GuardedImage ImageOf(Layout layout, int cx, int cy, Placement const& placement, Fences fences = Fences::pages);

enum class Content { noise, extremes, white };

struct Case {
  uint64_t seed;  // what it was drawn from, and what the picture is drawn from
  Layout layout;
  Sizes sizes;
  Rect rect;  // may be empty
  // Line counts of the slices of two progressive frames, the second one optional; 0 and lines beyond the picture's last
  // may occur.
  std::vector<int> slices[2];
  Placement source;
  Placement destination;
  Content content;
};

// Small pictures mostly, all ratios from 1:40 to 40:1, equal and nearly equal sizes.
Case RandomCase(Layout layout, uint64_t seed);

// A case of these sizes: the rest is drawn from the seed.
Case CaseOfSizes(Layout layout, Sizes const& sizes, uint64_t seed);

// The picture of a case, lines without gaps between them.
Bytes PictureOf(Case const& what);

// Slices for a picture of cyIn lines.
std::vector<int> RandomSlices(Random& random, int cyIn);

// A case with its picture, and what must become of it.
struct Trial {
  explicit Trial(Case const& what);

  Case what;
  Bytes picture;
  Bytes frame;
};

// Runs a variant of the case's layout: the whole frame, a progressive frame, the rectangle, the same from the part of
// the source that it needs, a progressive frame that is given up, and another one, all in one context. Images lie
// between protected pages, can be touched as far as the call may touch them, and are looked through afterwards. Returns
// what was wrong first, with all that is needed to do it again, or an empty string.
std::string RunTrial(Variant const& variant, Trial const& trial, Fences fences = Fences::pages);

}  // namespace conformance
