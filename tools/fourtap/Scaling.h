// The library's picture scaler as the tool asks for it: what becomes of a picture's lines, and of a plane of a frame.
#pragma once

#include <fourtapscale/fourtap.h>

#include <cstdint>
#include <memory>
#include <string>

#include "fourtap/Options.h"
#include "fourtap/Picture.h"

namespace tool {

// What becomes of a picture.
struct ScalePlan {
  fourtap_rules rules{};
  PictureSize in{}, scaled{};
  PictureRect rect{};    // of the scaled picture, that is made
  PictureRect needed{};  // for that, of the source
  PixelKind kindIn{}, kindOut{};
  int64_t bytes = 0;  // that the scaler takes

  int LinesToRead() const { return needed.y + needed.cy; }
  // Whether it is anything but passed on.
  bool Filters() const { return rules.reduction == FOURTAP_REDUCE_BY_FOUR_TAPS || in != scaled; }
};

// Throws a Failure when the size or the rectangle asked for can't be had. Takes no memory.
ScalePlan PlanScale(Options const& options, PictureSize in, PixelKind kind);

// Throws a Failure unless the rectangle lies in the scaled picture.
void CheckRect(PictureRect const& rect, PictureSize scaled);

// What a scaler by these rules takes; negative where the sizes are beyond it.
int64_t ScalerBytes(fourtap_rules const& rules, PictureSize in, PictureSize scaled);

struct ClosePicture {
  void operator()(fourtap_picture* picture) const { fourtap_picture_close(picture); }
};
using OwnedPicture = std::unique_ptr<fourtap_picture, ClosePicture>;
// With the set of instructions that was chosen. Throws std::bad_alloc.
OwnedPicture OpenPicture(fourtap_rules const& rules, PictureSize in, PictureSize scaled);

// Ends the program by a Failure of the tool's own making where the library refuses what was planned.
void Expect(fourtap_status status);

// For users.
std::string WayText(PictureSize in, PictureSize scaled, bool filters, bool byFourTaps);

}  // namespace tool
