// Cases of the picture scaler, and the trial of all its sets with one.
#pragma once

#include <cstdint>
#include <string>

#include "conformance/Cases.h"
#include "conformance/PictureModel.h"

namespace conformance {

struct PictureCase {
  Case what;  // of the source's layout; the rectangle is not empty
  fourtap_rules rules;
};

PictureCase RandomPictureCase(uint64_t seed);

// A case with its picture, and what must become of it.
struct PictureTrial {
  explicit PictureTrial(PictureCase const& drawn);

  PictureCase drawn;
  Bytes picture;
  Bytes scaled;
};

// Runs the case with a set: the whole picture, the rectangle from just the part that it needs, and both line by line
// with room for few lines and for many. Images lie between protected pages. Returns what was wrong first, or an empty
// string.
std::string RunPictureTrial(Set const& set, PictureTrial const& trial, Fences fences = Fences::pages);

}  // namespace conformance
