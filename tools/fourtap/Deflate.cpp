#include "fourtap/Deflate.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace tool {

namespace {

size_t const blockBytes = 1 << 17, dictionaryBytes = 1 << 15;
int const rawWindowBits = -15, memoryLevel = 9;
unsigned char const zlibHeader[] = {0x78, 0x9c};

}  // namespace

void EndDeflater::operator()(z_stream_s* stream) const {
  deflateEnd(stream);
  delete stream;
}

BlockDeflater::BlockDeflater(int64_t streamBytes, int threads, Taker taker)
    : mostThreads(static_cast<size_t>(std::clamp<int64_t>(streamBytes / static_cast<int64_t>(blockBytes), 1, threads))),
      take(std::move(taker)) {
  deflaters.push_back(MakeDeflater());
  // And the stream's header and checksum, and what ends a block at a whole byte.
  outRoom = deflateBound(deflaters.front().get(), blockBytes) + 32;
  blocks.push_back(MakeBlock());
}

BlockDeflater::Deflater BlockDeflater::MakeDeflater() const {
  auto stream = std::make_unique<z_stream>();
  if (deflateInit2(stream.get(), Z_DEFAULT_COMPRESSION, Z_DEFLATED, rawWindowBits, memoryLevel, Z_DEFAULT_STRATEGY) !=
      Z_OK) {
    throw std::bad_alloc();
  }
  return Deflater(stream.release());
}

// Before the first block is handed over.
void BlockDeflater::StartWorkers() {
  while (deflaters.size() < mostThreads) deflaters.push_back(MakeDeflater());
  // One being filled, one waiting, and one that each thread deflates.
  while (blocks.size() < mostThreads + 2) blocks.push_back(MakeBlock());
  try {
    for (Deflater const& deflater : deflaters) workers.emplace_back([this, &deflater] { Serve(*deflater); });
  } catch (std::system_error const&) {
    // Those that run, or the calling thread, do all.
  }
}

BlockDeflater::~BlockDeflater() {
  std::lock_guard const lock(mutex);
  quit = true;
  changed.notify_all();
}

BlockDeflater::Block BlockDeflater::MakeBlock() const {
  Block block;
  block.in = std::make_unique_for_overwrite<unsigned char[]>(dictionaryBytes + blockBytes);
  block.out = std::make_unique_for_overwrite<unsigned char[]>(outRoom);
  return block;
}

void BlockDeflater::Write(unsigned char const* bytes, size_t count, DeflateRules const& rules) {
  while (count > 0) {
    // It goes when more follows: the last one must be known.
    bool const isFull = Filling().bytes == blockBytes, isOfOtherRules = Filling().rules != &rules;
    if (isFull || (isOfOtherRules && Filling().bytes > 0)) HandOver(false);
    Block& block = Filling();
    block.rules = &rules;
    if (rules.size() > 1 && !block.otherOut) {
      block.otherOut = std::make_unique_for_overwrite<unsigned char[]>(outRoom);
    }
    size_t const taken = std::min(count, blockBytes - block.bytes);
    std::memcpy(block.in.get() + block.dictionaryBytes + block.bytes, bytes, taken);
    block.bytes += taken;
    bytes += taken;
    count -= taken;
  }
}

void BlockDeflater::Finish() { HandOver(true); }

void BlockDeflater::HandOver(bool isLast) {
  if (filled == 0 && !isLast && mostThreads > 1) StartWorkers();
  Block& block = Filling();
  block.isLast = isLast;
  if (workers.empty()) {
    Deflate(*deflaters.front(), block);
    ++filled;
    Give(block);
  } else {
    {
      std::lock_guard const lock(mutex);
      ++filled;
      changed.notify_all();
    }
    while (given < filled && (isLast || filled - given == blocks.size())) GiveFirst();
  }
  // It may be the same one.
  unsigned char const* const end = block.in.get() + block.dictionaryBytes + block.bytes;
  Block& next = Filling();
  next.dictionaryBytes = std::min(block.bytes, dictionaryBytes);
  std::memmove(next.in.get(), end - next.dictionaryBytes, next.dictionaryBytes);
  next.bytes = 0;
  next.isDone = false;
}

void BlockDeflater::GiveFirst() {
  Block& first = blocks[given % blocks.size()];
  {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&first] { return first.isDone; });
  }
  Give(first);
}

void BlockDeflater::Give(Block& block) {
  ++given;
  checksum = adler32_combine(checksum, block.checksum, static_cast<z_off_t>(block.bytes));
  for (int shift = 24; block.isLast && shift >= 0; shift -= 8) {
    block.out[block.outBytes++] = static_cast<unsigned char>(checksum >> shift);
  }
  take(block.out.get(), block.outBytes);
}

void BlockDeflater::Serve(z_stream_s& stream) {
  std::unique_lock lock(mutex);
  for (;;) {
    changed.wait(lock, [this] { return quit || begun < filled; });
    if (quit) return;
    Block& block = blocks[begun++ % blocks.size()];
    lock.unlock();
    Deflate(stream, block);
    lock.lock();
    block.isDone = true;
    changed.notify_all();
  }
}

void BlockDeflater::Deflate(z_stream_s& stream, Block& block) const {
  block.outBytes = 0;
  for (DeflateRule const& rule : *block.rules) {
    bool const isFirst = block.outBytes == 0;
    size_t const count = Deflate(stream, block, rule, (isFirst ? block.out : block.otherOut).get());
    if (!isFirst && count >= block.outBytes) continue;
    if (!isFirst) std::swap(block.out, block.otherOut);
    block.outBytes = count;
  }
  block.checksum =
      adler32(adler32(0, nullptr, 0), block.in.get() + block.dictionaryBytes, static_cast<unsigned>(block.bytes));
}

// Returns how many bytes there are. Nothing of it can fail: the stream has its memory, and `out` has room for all.
size_t BlockDeflater::Deflate(z_stream_s& stream, Block const& block, DeflateRule const& rule,
                              unsigned char* out) const {
  size_t const headerBytes = block.dictionaryBytes == 0 ? sizeof zlibHeader : 0;
  std::memcpy(out, zlibHeader, headerBytes);
  stream.next_in = nullptr;
  stream.avail_in = 0;
  stream.next_out = out + headerBytes;
  stream.avail_out = static_cast<unsigned>(outRoom - headerBytes);
  deflateReset(&stream);
  deflateParams(&stream, rule.level, rule.strategy);
  bool const looksBack = rule.strategy != Z_HUFFMAN_ONLY && rule.strategy != Z_RLE;
  if (block.dictionaryBytes && looksBack) {
    deflateSetDictionary(&stream, block.in.get(), static_cast<unsigned>(block.dictionaryBytes));
  }
  stream.next_in = block.in.get() + block.dictionaryBytes;
  stream.avail_in = static_cast<unsigned>(block.bytes);
  deflate(&stream, block.isLast ? Z_FINISH : Z_SYNC_FLUSH);
  return outRoom - stream.avail_out;
}

}  // namespace tool
