// One frame on several threads: each has a context of its own and scales one band of the output lines.
#pragma once

#include "bench/Job.h"

namespace bench {

// The calling thread takes a band too; the other `threads` - 1 wait between frames.
Scale BandScale(Job const&, Scalers const&, int threads);

}  // namespace bench
