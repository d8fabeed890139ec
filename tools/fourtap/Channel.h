// Things on their way from one thread to another, and the three threads that they pass through.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tool {

// A few slots that one thread fills and another one empties, in turn.
template <class Item>
struct Channel {
  // What lies in the slots is made by `make`, once for each.
  template <class Make>
  explicit Channel(Make const& make) {
    for (int slot = 0; slot < slotCount; ++slot) slots.push_back(make());
  }

  // The next slot to be filled, or null when there is no use in it any more.
  Item* AwaitEmpty() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return givenUp || passedOn - givenBack < slots.size(); });
    return givenUp ? nullptr : &slots[passedOn % slots.size()];
  }
  void PassOn() {
    Change([this] { ++passedOn; });
  }
  // There is no more than what was passed on.
  void Close() {
    Change([this] { closed = true; });
  }

  // The next slot to be emptied, or null when there are no more.
  Item* AwaitFull() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return closed || passedOn > givenBack; });
    return passedOn == givenBack ? nullptr : &slots[givenBack % slots.size()];
  }
  void GiveBack() {
    Change([this] { ++givenBack; });
  }
  // Nothing is emptied any more.
  void GiveUp() {
    Change([this] { givenUp = true; });
  }

 private:
  // One being filled, one being emptied, and one for the side that is ahead.
  static constexpr int slotCount = 3;

  template <class Edit>
  void Change(Edit const& edit) {
    std::lock_guard const lock(mutex);
    edit();
    changed.notify_all();
  }

  std::vector<Item> slots;
  std::mutex mutex;  // guards all below
  std::condition_variable changed;
  size_t passedOn = 0, givenBack = 0;
  bool closed = false, givenUp = false;
};

// That RunStages can't start, since the system gives none.
struct NoThread : std::system_error {
  using std::system_error::system_error;
};

// Does three things at the same time: what `read` passes on through `toScale` is emptied by `scale`, in the calling
// thread, which passes on through `toWrite` what `write` empties. However one of them ends, what it passed on still
// goes all the way, and those before it find their channels given up. Then rethrows what the first of them threw, if
// any did; throws NoThread, with nothing read, when a thread can't be started.
template <class Source, class Result, class Read, class Scale, class Write>
void RunStages(Channel<Source>& toScale, Channel<Result>& toWrite, Read const& read, Scale const& scale,
               Write const& write) {
  std::exception_ptr failures[3];
  auto const run = [](std::exception_ptr& failure, auto const& work) {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
  };
  {
    std::jthread writer, reader;
    try {
      writer = std::jthread([&] {
        run(failures[2], write);
        toWrite.GiveUp();
      });
      // Started last: it may wait for its input for ever.
      reader = std::jthread([&] {
        run(failures[0], read);
        toScale.Close();
      });
    } catch (std::system_error const& error) {
      toWrite.Close();
      throw NoThread(error.code());
    } catch (...) {
      toWrite.Close();
      throw;
    }
    run(failures[1], scale);
    toScale.GiveUp();
    toWrite.Close();
  }
  for (std::exception_ptr const& failure : failures) {
    if (failure) std::rethrow_exception(failure);
  }
}

}  // namespace tool
