// Threads that do a job together, frame after frame, each its own share of it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace gstfourtap {

class Crew {
 public:
  // `share(i)` is called for each i below `shares`, and must not throw. The caller of DoJob does the first share; each
  // other one has a thread, which sleeps between jobs. Throws std::system_error where threads can't be had.
  Crew(int shares, std::function<void(int)> share);
  ~Crew();
  Crew(Crew const&) = delete;
  Crew& operator=(Crew const&) = delete;

  // Returns when all shares are done. Allocates nothing.
  void DoJob();

 private:
  void Serve(int number);
  void Dismiss();

  std::function<void(int)> const share;
  std::mutex mutex;
  std::condition_variable begun, done;
  unsigned round = 0;
  int atWork = 0;
  bool quit = false;
  std::vector<std::thread> workers;
};

}  // namespace gstfourtap
