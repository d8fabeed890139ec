#include "conformance/GuardedImage.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace conformance {

namespace {

std::size_t PageSize() {
  static std::size_t const size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

std::size_t WholePages(std::size_t size) { return (size + PageSize() - 1) / PageSize() * PageSize(); }

void Protect(unsigned char* pages, std::size_t size, Access access) {
  int const rights = access == Access::none ? PROT_NONE : access == Access::read ? PROT_READ : PROT_READ | PROT_WRITE;
  if (size > 0 && mprotect(pages, size, rights) != 0) std::abort();
}

// Mappings given back, by the size of what can be made accessible in them. They stay inaccessible until they are used
// again: a trial needs dozens of small ones, and the system is slow to make them.
struct Pool {
  std::mutex mutex;
  std::map<std::size_t, std::vector<unsigned char*>> unused;
};

Pool& ThePool() {
  static Pool& pool = *new Pool;
  return pool;
}

// Inaccessible; returns the first byte that can be made accessible.
unsigned char* TakePages(std::size_t size) {
  {
    std::lock_guard const lock(ThePool().mutex);
    std::vector<unsigned char*>& unused = ThePool().unused[size];
    if (!unused.empty()) {
      unsigned char* const pages = unused.back();
      unused.pop_back();
      return pages;
    }
  }
  int const flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
  void* const reserved = mmap(nullptr, size + 2 * PageSize(), PROT_NONE, flags, -1, 0);
  if (reserved == MAP_FAILED) throw std::bad_alloc();
  return static_cast<unsigned char*>(reserved) + PageSize();
}

void GiveBackPages(unsigned char* pages, std::size_t size) {
  if (size > 16 * PageSize()) {
    munmap(pages - PageSize(), size + 2 * PageSize());
    return;
  }
  std::lock_guard const lock(ThePool().mutex);
  ThePool().unused[size].push_back(pages);
}

bool AllGuardBytes(unsigned char const* first, unsigned char const* last) {
  return std::all_of(first, last, [](unsigned char byte) { return byte == GuardedBytes::guardByte; });
}

std::size_t ImageSize(int lineBytes, int lineCount, int stride) {
  if (lineCount == 0) return 0;
  return static_cast<std::size_t>(std::abs(stride)) * static_cast<std::size_t>(lineCount - 1) +
         static_cast<std::size_t>(lineBytes);
}

}  // namespace

GuardedBytes::GuardedBytes(std::size_t byteCount, Flush flush, std::size_t shift)
    : pagesSize(WholePages(std::max<std::size_t>(byteCount + shift, 1))),
      pages(TakePages(pagesSize)),
      data(flush == Flush::start ? pages + shift : pages + pagesSize - shift - byteCount),
      size(byteCount) {
  Allow(Access::readWrite);
  std::memset(pages, guardByte, pagesSize);
}

GuardedBytes::GuardedBytes(GuardedBytes&& other) noexcept
    : pagesSize(other.pagesSize),
      pages(std::exchange(other.pages, nullptr)),
      data(other.data),
      size(other.size),
      allowed(other.allowed) {}

GuardedBytes::~GuardedBytes() {
  if (!pages) return;
  Allow(Access::none);
  GiveBackPages(pages, pagesSize);
}

void GuardedBytes::Allow(Access access) const {
  if (allowed == access) return;
  Protect(pages, pagesSize, access);
  allowed = access;
}

void GuardedBytes::AllowOnly(Access access, unsigned char const* first, unsigned char const* last) const {
  std::size_t const begin = static_cast<std::size_t>(first - pages) / PageSize() * PageSize();
  std::size_t const end = WholePages(static_cast<std::size_t>(last - pages));
  if (begin == 0 && end == pagesSize) {
    Allow(access);
    return;
  }
  Protect(pages, begin, Access::none);
  Protect(pages + begin, end - begin, access);
  Protect(pages + end, pagesSize - end, Access::none);
  allowed.reset();
}

bool GuardedBytes::MarginsIntact() const {
  return AllGuardBytes(pages, data) && AllGuardBytes(data + size, pages + pagesSize);
}

GuardedImage::GuardedImage(int bytesPerLine, int lines, int bytesToNext, Flush flush, std::size_t shift)
    : lineBytes(bytesPerLine),
      lineCount(lines),
      stride(bytesToNext),
      bytes(ImageSize(bytesPerLine, lines, bytesToNext), flush, shift) {}

unsigned char* GuardedImage::Line(int y) const {
  std::ptrdiff_t const fromFirstByte = stride < 0 ? y - (lineCount - 1) : y;
  return lineCount == 0 ? bytes.Data() : bytes.Data() + fromFirstByte * stride;
}

void GuardedImage::AllowOnly(Access access, int first, int last) const {
  if (first >= last) {
    Allow(Access::none);
    return;
  }
  auto const [low, high] = std::minmax({Line(first), Line(last - 1)});
  bytes.AllowOnly(access, low, high + lineBytes);
}

void GuardedImage::Fill(unsigned char value) const {
  for (int y = 0; y < lineCount; ++y) {
    std::memset(Line(y), value, static_cast<std::size_t>(lineBytes));
  }
}

void GuardedImage::CopyFrom(unsigned char const* lines) const {
  for (int y = 0; y < lineCount; ++y) {
    std::memcpy(Line(y), lines + static_cast<std::ptrdiff_t>(y) * lineBytes, static_cast<std::size_t>(lineBytes));
  }
}

std::vector<unsigned char> GuardedImage::Copy() const {
  std::vector<unsigned char> copy;
  for (int y = 0; y < lineCount; ++y) {
    copy.insert(copy.end(), Line(y), Line(y) + lineBytes);
  }
  return copy;
}

bool GuardedImage::GapsIntact() const {
  for (int i = 0; i + 1 < lineCount; ++i) {
    unsigned char const* const line = bytes.Data() + static_cast<std::ptrdiff_t>(i) * std::abs(stride);
    if (!AllGuardBytes(line + lineBytes, line + std::abs(stride))) {
      return false;
    }
  }
  return bytes.MarginsIntact();
}

}  // namespace conformance
