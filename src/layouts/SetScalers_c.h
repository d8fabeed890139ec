// What the sets of a processor make of a layout where only the plain one turns blocks of lines.
#pragma once

#include "layouts/SetScalers.h"

namespace fourtap {

FOURTAP_GATHERING_SETS(FOURTAP_GATHERING_SCALER, Block8Lines_c)

}  // namespace fourtap
