// A part of NEON, chosen by itself.
#pragma once

#include "gathered/GatherPlan.h"

namespace fourtap {

GatherFilter FilterInFours_dotprod;

}  // namespace fourtap
