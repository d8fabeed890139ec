// Threads that help with large pictures: kept from call to call, and made anew after a fork.
#pragma once

#include <functional>

namespace binding {

// Does share(0) to share(count - 1), each once, on so many threads, of which this is one; returns when all are done.
// Any threads may call it at once. Where no other thread can be had, this one does it all. `share` must not throw.
void DoShares(int count, int threads, std::function<void(int)> const& share);

// Processors that this process may run on, at least 1.
int Processors();

}  // namespace binding
