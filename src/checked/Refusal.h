// How the checked functions refuse: a status, and a sentence for fourtap_error.
#pragma once

#include <fourtapscale/fourtap.h>

namespace fourtap {

// Keeps the sentence for this thread, and returns the status.
[[gnu::format(printf, 2, 3)]] fourtap_status Refuse(fourtap_status status, char const* format, ...);

}  // namespace fourtap
