#include "Helpers.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

namespace binding {

namespace {

struct Work {
  std::function<void(int)> const& share;
  int const count;
  int helpersAllowed;
  int next = 0;
  int done = 0;
};

// All of it under the mutex. Never destroyed: its threads end with the process.
struct Crew {
  std::mutex mutex;
  std::condition_variable more, finished;
  std::deque<Work*> waiting;  // for helpers
  int helpers = 0;

  // Takes shares of the work and does them, until none is left to take.
  void DoAll(Work& work, std::unique_lock<std::mutex>& lock) {
    bool last = false;
    while (!last && work.next < work.count) {
      int const number = work.next++;
      lock.unlock();
      work.share(number);
      lock.lock();
      last = ++work.done == work.count;
    }
    if (last) finished.notify_all();
  }

  void Help() {
    std::unique_lock lock(mutex);
    for (;;) {
      more.wait(lock, [this] { return !waiting.empty(); });
      Work& work = *waiting.front();
      if (--work.helpersAllowed == 0) waiting.pop_front();
      DoAll(work, lock);
    }
  }

  void HaveHelpers(int wanted) {
    try {
      for (; helpers < wanted; ++helpers) std::thread([this] { Help(); }).detach();
    } catch (std::exception const&) {  // no more threads, or no memory for one
    }
  }

  void Do(Work& work) {
    std::unique_lock lock(mutex);
    HaveHelpers(work.helpersAllowed);
    waiting.push_back(&work);
    for (int i = 0; i < work.helpersAllowed; ++i) more.notify_one();
    DoAll(work, lock);
    std::erase(waiting, &work);
    finished.wait(lock, [&work] { return work.done == work.count; });
  }
};

// A child of fork has none of its parent's threads, and the lock as it was then.
Crew* crew = nullptr;
std::once_flag heedsForks;
std::mutex making;

Crew& TheCrew() {
  std::call_once(heedsForks, [] {
    pthread_atfork([] { making.lock(); }, [] { making.unlock(); },
                   [] {
                     making.unlock();
                     crew = nullptr;
                   });
  });
  std::lock_guard const lock(making);
  if (!crew) crew = new Crew;
  return *crew;
}

}  // namespace

void DoShares(int count, int threads, std::function<void(int)> const& share) {
  Work work{share, count, std::min(count, threads) - 1};
  try {
    if (work.helpersAllowed > 0) return TheCrew().Do(work);
  } catch (std::bad_alloc const&) {  // before the first share was taken
  }
  for (int i = 0; i < count; ++i) share(i);
}

int Processors() {
  cpu_set_t set;
  int const count = sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 0;
  return std::max(count, 1);
}

}  // namespace binding
