#include "fourtap/Turns.h"

#include <cstdio>
#include <utility>

namespace tool {

namespace {

void Print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

}  // namespace

void Turns::Say(size_t job, std::string_view text) {
  std::lock_guard const lock(mutex);
  if (job == heard) {
    Print(text);
  } else {
    waiting[job].text += text;
  }
}

bool Turns::IsHeard(size_t job) {
  std::lock_guard const lock(mutex);
  return job == heard;
}

void Turns::End(size_t job) {
  std::lock_guard const lock(mutex);
  if (job != heard) {
    waiting[job].ended = true;
    return;
  }
  for (bool ended = true; ended;) {
    if (++heard == waiting.size()) return;
    Waiting const next = std::move(waiting[heard]);
    Print(next.text);
    ended = next.ended;
  }
}

void Speaker::Say(std::string_view text) const {
  if (turns) {
    turns->Say(job, text);
  } else {
    Print(text);
  }
}

Speaker& SpeakerOfThread() {
  static thread_local Speaker speaker;
  return speaker;
}

}  // namespace tool
