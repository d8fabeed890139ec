#include "fourtap/LineChannel.h"

#include "fourtap/Picture.h"

namespace tool {

LineChannel::LineChannel(size_t lineBytes, int linesPerBatch) : batches(3) {
  for (LineBatch& batch : batches) batch.lines = Bytes(lineBytes * static_cast<size_t>(linesPerBatch));
}

LineBatch* LineChannel::AwaitEmpty() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return givenUp || passedOn - givenBack < batches.size(); });
  return givenUp ? nullptr : &batches[passedOn % batches.size()];
}

void LineChannel::PassOn() {
  std::lock_guard const lock(mutex);
  ++passedOn;
  changed.notify_all();
}

void LineChannel::Close() {
  std::lock_guard const lock(mutex);
  closed = true;
  changed.notify_all();
}

LineBatch* LineChannel::AwaitFull() {
  std::unique_lock lock(mutex);
  changed.wait(lock, [this] { return givenUp || closed || passedOn > givenBack; });
  return givenUp || passedOn == givenBack ? nullptr : &batches[givenBack % batches.size()];
}

void LineChannel::GiveBack() {
  std::lock_guard const lock(mutex);
  ++givenBack;
  changed.notify_all();
}

void LineChannel::GiveUp() {
  std::lock_guard const lock(mutex);
  givenUp = true;
  changed.notify_all();
}

}  // namespace tool
