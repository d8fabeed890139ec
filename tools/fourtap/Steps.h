// The way from one size to another in steps of at most 2:1, beyond which four taps alias; and what each needs.
#pragma once

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

// The first one of the source that a scaled sample is made of, or one a little before it.
int FirstNeeded(int nIn, int nOut, int sample);

// The part of the source that a part of the scaled picture is made of, or a little more. Columns may come in units of
// `cxMultiple`, which have samples of their own besides those of their columns.
PictureRect NeededRect(PictureSize in, PictureSize out, PictureRect const& rect, int cxMultiple = 1);

}  // namespace tool
