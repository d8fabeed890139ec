// Frames that are read, scaled and written at the same time.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>

namespace tool {

enum Stage { reading, scaling, writing };

// What is done with the frame in slot `slot`; false, when reading, if there is none any more.
using StageWork = std::function<bool(size_t slot)>;

// A number of slots, each with one frame, which pass from stage to stage in turn. Each stage runs in one thread.
struct Relay {
  explicit Relay(int64_t slotCount) : slots(slotCount) {}

  // Does the stage's work until all is done or another stage has failed. What the work throws is kept for Rethrow;
  // frames read before reading failed are still scaled and written.
  void Run(Stage stage, StageWork const& work);
  // All stages end with the frame that they are at.
  void GiveUp();
  // After all stages have ended.
  void RethrowFailure() const;

 private:
  bool AwaitFrame(Stage stage);
  bool HasFrame(Stage stage) const;

  int64_t const slots;
  std::mutex mutex;  // guards all below
  std::condition_variable changed;
  int64_t done[3] = {};  // frames that have left each stage
  bool allRead = false;
  bool givenUp = false;
  std::exception_ptr failure;
};

}  // namespace tool
