#include "fourtap/video/Relay.h"

namespace tool {

void Relay::Run(Stage stage, StageWork const& work) {
  try {
    while (AwaitFrame(stage)) {
      bool const worked = work(static_cast<size_t>(done[stage] % slots));
      std::lock_guard const lock(mutex);
      if (worked)
        ++done[stage];
      else
        allRead = true;
      changed.notify_all();
    }
  } catch (...) {
    std::lock_guard const lock(mutex);
    failure = std::current_exception();
    (stage == reading ? allRead : givenUp) = true;
    changed.notify_all();
  }
}

void Relay::GiveUp() {
  std::lock_guard const lock(mutex);
  givenUp = true;
  changed.notify_all();
}

void Relay::RethrowFailure() const {
  if (failure) std::rethrow_exception(failure);
}

bool Relay::AwaitFrame(Stage stage) {
  std::unique_lock lock(mutex);
  auto const ended = [&] { return givenUp || (allRead && (stage == reading || done[stage] == done[reading])); };
  changed.wait(lock, [&] { return HasFrame(stage) || ended(); });
  return !ended();
}

bool Relay::HasFrame(Stage stage) const {
  return stage == reading ? done[reading] < done[writing] + slots : done[stage] < done[stage - 1];
}

}  // namespace tool
