// Lines of a picture on their way from one thread to another.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace tool {

struct LineBatch {
  std::unique_ptr<unsigned char[]> lines;  // without gaps between them
  int count = 0;
};

// A few batches that one thread fills and another one empties, in turn.
struct LineChannel {
  // Throws std::bad_alloc.
  LineChannel(size_t lineBytes, int linesPerBatch);

  // The next batch to be filled, or null when there is no use in it any more.
  LineBatch* AwaitEmpty();
  void PassOn();
  // There are no more batches than those passed on.
  void Close();

  // The next batch to be emptied, or null when there are no more.
  LineBatch* AwaitFull();
  void GiveBack();

  // Neither side waits any more, and neither gets another batch.
  void GiveUp();

 private:
  std::vector<LineBatch> batches;
  std::mutex mutex;  // guards all below
  std::condition_variable changed;
  size_t passedOn = 0, givenBack = 0;
  bool closed = false, givenUp = false;
};

}  // namespace tool
