// What several jobs say on stderr, in the order in which one job after the other would have said it.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// The first job that has not ended is heard at once; what the others say waits for their turn. Any thread may call.
struct Turns {
  explicit Turns(size_t jobs) : waiting(jobs) {}

  // Throws std::bad_alloc, and then says nothing.
  void Say(size_t job, std::string_view text);
  bool IsHeard(size_t job);
  // Each job ends once, after all that it says.
  void End(size_t job);

 private:
  struct Waiting {
    std::string text;
    bool ended = false;
  };

  std::mutex mutex;  // guards all below, and keeps what is said together
  size_t heard = 0;
  std::vector<Waiting> waiting;  // by job
};

// Who says something: one of several jobs, or, without turns, the only one there is.
struct Speaker {
  Turns* turns = nullptr;
  size_t job = 0;

  void Say(std::string_view text) const;
  bool IsHeard() const { return !turns || turns->IsHeard(job); }
};

// For whom the calling thread speaks.
Speaker& SpeakerOfThread();

}  // namespace tool
