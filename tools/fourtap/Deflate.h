// A zlib stream that is deflated in blocks, by several threads.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct z_stream_s;

namespace tool {

// Compression as zlib counts it.
struct DeflateRule {
  int level, strategy;
};
// Of which the one is taken whose result is shortest; at least one.
using DeflateRules = std::vector<DeflateRule>;

struct EndDeflater {
  void operator()(z_stream_s* stream) const;
};

// Each block is deflated by itself, what stands before it being its dictionary, so that the bytes depend on what is
// written and on the rules alone, not on the threads. Takes the memory of a few blocks for each thread.
struct BlockDeflater {
  // Gets the next bytes of the stream, those of a block at a time, in the thread that writes.
  using Taker = std::function<void(unsigned char const* bytes, size_t count)>;

  // Throws std::bad_alloc.
  //   streamBytes  that will be written, at least about
  //   threads      that deflate, at most: one is the calling thread, and is where the system starts no other
  BlockDeflater(int64_t streamBytes, int threads, Taker taker);
  ~BlockDeflater();
  BlockDeflater(BlockDeflater const&) = delete;
  BlockDeflater& operator=(BlockDeflater const&) = delete;

  //   rules  for these bytes; they are looked at until Finish returns
  void Write(unsigned char const* bytes, size_t count, DeflateRules const& rules);
  // After the last byte.
  void Finish();

 private:
  struct Block {
    std::unique_ptr<unsigned char[]> in;  // a dictionary, and behind it what is to be deflated
    size_t dictionaryBytes = 0, bytes = 0;
    DeflateRules const* rules = nullptr;
    bool isLast = false, isDone = false;
    std::unique_ptr<unsigned char[]> out;
    size_t outBytes = 0;
    std::unique_ptr<unsigned char[]> otherOut;  // where there are several rules
    unsigned long checksum = 0;
  };
  using Deflater = std::unique_ptr<z_stream_s, EndDeflater>;

  Deflater MakeDeflater() const;
  Block MakeBlock() const;
  void StartWorkers();
  void Deflate(z_stream_s& stream, Block& block) const;
  size_t Deflate(z_stream_s& stream, Block const& block, DeflateRule const& rule, unsigned char* out) const;
  Block& Filling() { return blocks[filled % blocks.size()]; }
  void HandOver(bool isLast);
  void Give(Block& block);
  void GiveFirst();
  void Serve(z_stream_s& stream);

  size_t const mostThreads;
  Taker const take;
  std::vector<Deflater> deflaters;  // one for each thread
  size_t outRoom = 0;
  std::vector<Block> blocks;     // in turn, over and over
  size_t filled = 0, given = 0;  // of all blocks so far
  unsigned long checksum = 1;    // of those that were given
  std::mutex mutex;              // guards what follows, `filled` where there are workers, and isDone
  std::condition_variable changed;
  size_t begun = 0;
  bool quit = false;
  std::vector<std::jthread> workers;
};

}  // namespace tool
