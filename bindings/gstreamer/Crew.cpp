#include "Crew.h"

#include <utility>

namespace gstfourtap {

Crew::Crew(int shares, std::function<void(int)> shareOfJob) : share(std::move(shareOfJob)) {
  try {
    for (int i = 1; i < shares; ++i) workers.emplace_back([this, i] { Serve(i); });
  } catch (...) {
    Dismiss();
    throw;
  }
}

Crew::~Crew() { Dismiss(); }

void Crew::DoJob() {
  if (!workers.empty()) {
    std::lock_guard const lock(mutex);
    atWork = static_cast<int>(workers.size());
    ++round;
    begun.notify_all();
  }
  share(0);
  std::unique_lock lock(mutex);
  done.wait(lock, [this] { return atWork == 0; });
}

void Crew::Serve(int number) {
  unsigned last = 0;
  std::unique_lock lock(mutex);
  while (true) {
    begun.wait(lock, [&] { return quit || round != last; });
    if (quit) return;
    last = round;
    lock.unlock();
    share(number);
    lock.lock();
    if (--atWork == 0) done.notify_one();
  }
}

void Crew::Dismiss() {
  {
    std::lock_guard const lock(mutex);
    quit = true;
    begun.notify_all();
  }
  for (std::thread& worker : workers) worker.join();
  workers.clear();
}

}  // namespace gstfourtap
