// Threads that do a job together, again and again, each its own share of it.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "ThisProcessor.h"

namespace crew {

struct Crew {
  std::vector<std::function<void()>> shares;  // must not throw
  std::atomic<unsigned> round = 0;            // the job's number
  std::atomic<std::size_t> atWork = 0;        // threads that have not done theirs
  bool quit = false;                          // read in a new round only
  std::vector<std::jthread> workers;

  // The calling thread does the first share; each other one gets a thread, which waits between jobs.
  explicit Crew(std::vector<std::function<void()>> jobShares) : shares(std::move(jobShares)) {
    try {
      for (std::size_t i = 1; i < shares.size(); ++i) workers.emplace_back([this, i] { Serve(shares[i]); });
    } catch (...) {
      Dismiss();
      throw;
    }
  }
  ~Crew() { Dismiss(); }
  Crew(Crew const&) = delete;
  Crew& operator=(Crew const&) = delete;

  // Returns when all shares are done.
  void DoJob() {
    atWork = workers.size();
    NextRound();
    shares.front()();
    LookFor([this] { return atWork == 0; });
    for (std::size_t waitingFor = atWork; waitingFor != 0; waitingFor = atWork) atWork.wait(waitingFor);
  }

 private:
  // Looks for what is expected soon, for some 50 microseconds: going to sleep and being woken may take as long as a
  // small share does.
  template <class Condition>
  static void LookFor(Condition const& happened) {
    for (int looks = 0; looks < 1000 && !happened(); ++looks) processor::Pause();
  }

  void NextRound() {
    ++round;
    round.notify_all();
  }

  void Serve(std::function<void()> const& share) {
    for (unsigned last = 0;; ++last) {
      LookFor([this, last] { return round != last; });
      round.wait(last);
      if (quit) return;
      share();
      if (--atWork == 0) atWork.notify_one();
    }
  }

  void Dismiss() {
    quit = true;
    NextRound();
  }
};

}  // namespace crew
