// The way from one size to another in steps of at most 2:1, beyond which four taps alias; and what each needs.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <string>
#include <vector>

#include "fourtap/SizeGrammar.h"

namespace tool {

// The sizes after each step, the last of them the result; none when nothing is to be scaled. Each axis on its own is
// halved until at most 2:1 remains for the last step, which is made on both together. Halves are rounded up: lines to
// whole ones, columns to a multiple of `cxMultiple`, as both widths are already.
std::vector<PictureSize> StepsFor(PictureSize in, PictureSize out, int cxMultiple = 1);

// For users.
std::string StepsText(PictureSize in, std::vector<PictureSize> const& steps, bool passedOn);

// Samples along one axis.
struct SampleRange {
  int first, end;
};

// The part of the source that a part of the scaled picture is made of.
PictureRect NeededRect(int layout, PictureSize in, PictureSize out, PictureRect const& rect);

}  // namespace tool
