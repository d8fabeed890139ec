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

// The same memory twice: between protected pages, inaccessible at first, and as the test sees it.
struct Mapping {
  unsigned char* pages;
  unsigned char* alias;
};

// Mappings given back, by the size of what can be made accessible in them. They stay inaccessible until they are used
// again: a trial needs dozens of small ones, and the system is slow to make them.
struct Pool {
  std::mutex mutex;
  std::map<std::size_t, std::vector<Mapping>> unused;
};

Pool& ThePool() {
  static Pool& pool = *new Pool;
  return pool;
}

unsigned char* Map(void* at, std::size_t size, int rights, int flags, int file) {
  void* const mapped = mmap(at, size, rights, flags, file, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  return static_cast<unsigned char*>(mapped);
}

Mapping TakePages(std::size_t size) {
  {
    std::lock_guard const lock(ThePool().mutex);
    std::vector<Mapping>& unused = ThePool().unused[size];
    if (!unused.empty()) {
      Mapping const mapping = unused.back();
      unused.pop_back();
      return mapping;
    }
  }
  int const memory = memfd_create("guarded", MFD_CLOEXEC);
  if (memory < 0 || ftruncate(memory, static_cast<off_t>(size)) != 0) throw std::bad_alloc();
  unsigned char* const reserved =
      Map(nullptr, size + 2 * PageSize(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1);
  unsigned char* const pages = Map(reserved + PageSize(), size, PROT_NONE, MAP_SHARED | MAP_FIXED, memory);
  unsigned char* const alias = Map(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory);
  close(memory);
  return {pages, alias};
}

// The same without fences.
constexpr std::size_t memoryAlignment = 64;
Mapping TakeMemory(std::size_t size) {
  auto* const memory = static_cast<unsigned char*>(operator new (size, std::align_val_t{memoryAlignment}));
  return {memory, memory};
}

void GiveBackPages(Mapping const& mapping, std::size_t size) {
  if (size > 16 * PageSize()) {
    munmap(mapping.pages - PageSize(), size + 2 * PageSize());
    munmap(mapping.alias, size);
    return;
  }
  std::lock_guard const lock(ThePool().mutex);
  ThePool().unused[size].push_back(mapping);
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

GuardedBytes::GuardedBytes(std::size_t byteCount, Flush flush, std::size_t shift, Access access, Fences theFences)
    : fences(theFences),
      pagesSize(WholePages(std::max<std::size_t>(byteCount + shift, 1))),
      size(byteCount),
      allowed(Access::none) {
  Mapping const mapping = fences == Fences::pages ? TakePages(pagesSize) : TakeMemory(pagesSize);
  pages = mapping.pages;
  alias = mapping.alias;
  std::size_t const offset = flush == Flush::start ? shift : pagesSize - shift - byteCount;
  data = pages + offset;
  contents = alias + offset;
  std::memset(alias, guardByte, pagesSize);
  Allow(access);
}

GuardedBytes::GuardedBytes(GuardedBytes&& other) noexcept
    : fences(other.fences),
      pagesSize(other.pagesSize),
      pages(std::exchange(other.pages, nullptr)),
      alias(other.alias),
      data(other.data),
      contents(other.contents),
      size(other.size),
      allowed(other.allowed) {}

GuardedBytes::~GuardedBytes() {
  if (!pages) return;
  if (fences == Fences::none) {
    operator delete (pages, std::align_val_t{memoryAlignment});
    return;
  }
  Allow(Access::none);
  GiveBackPages({pages, alias}, pagesSize);
}

void GuardedBytes::Allow(Access access) const {
  if (fences == Fences::none || allowed == access) return;
  Protect(pages, pagesSize, access);
  allowed = access;
}

void GuardedBytes::AllowOnly(Access access, unsigned char const* first, unsigned char const* last) const {
  if (fences == Fences::none) return;
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
  return AllGuardBytes(alias, contents) && AllGuardBytes(contents + size, alias + pagesSize);
}

GuardedImage::GuardedImage(int bytesPerLine, int lines, int bytesToNext, Flush flush, std::size_t shift, Access access,
                           Fences fences)
    : lineBytes(bytesPerLine),
      lineCount(lines),
      stride(bytesToNext),
      bytes(ImageSize(bytesPerLine, lines, bytesToNext), flush, shift, access, fences) {}

std::ptrdiff_t GuardedImage::OffsetOf(int y) const {
  std::ptrdiff_t const fromFirstByte = stride < 0 ? y - (lineCount - 1) : y;
  return lineCount == 0 ? 0 : fromFirstByte * stride;
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
    std::memset(Contents(y), value, static_cast<std::size_t>(lineBytes));
  }
}

void GuardedImage::CopyFrom(unsigned char const* lines) const {
  for (int y = 0; y < lineCount; ++y) {
    std::memcpy(Contents(y), lines + static_cast<std::ptrdiff_t>(y) * lineBytes, static_cast<std::size_t>(lineBytes));
  }
}

std::vector<unsigned char> GuardedImage::Copy() const {
  std::vector<unsigned char> copy;
  for (int y = 0; y < lineCount; ++y) {
    copy.insert(copy.end(), Contents(y), Contents(y) + lineBytes);
  }
  return copy;
}

bool GuardedImage::GapsIntact() const {
  for (int i = 0; i + 1 < lineCount; ++i) {
    unsigned char const* const line = bytes.Contents() + static_cast<std::ptrdiff_t>(i) * std::abs(stride);
    if (!AllGuardBytes(line + lineBytes, line + std::abs(stride))) {
      return false;
    }
  }
  return bytes.MarginsIntact();
}

}  // namespace conformance
