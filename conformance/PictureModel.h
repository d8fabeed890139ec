// What the picture scaler means, in closed form and one sample at a time. Shares no code with the library.
#pragma once

#include <fourtapscale/fourtap.h>

#include "conformance/Model.h"

namespace conformance {

// The layouts of a picture's pixels, before and after.
Layout SourceLayout(fourtap_rules const&);
Layout TargetLayout(fourtap_rules const&);

Bytes ModelPicture(fourtap_rules const&, Sizes const&, Bytes const& picture);

}  // namespace conformance
