#include "conformance/GuardedImage.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "conformance/Fences.h"

namespace conformance {

namespace {

std::size_t WholePages(std::size_t size) { return (size + PageSize() - 1) / PageSize() * PageSize(); }

// Without fences there is a margin on either side, for what is written there to be found.
constexpr std::size_t memoryAlignment = 64, margin = 256;
Mapping TakeMemory(std::size_t size) {
  auto* const memory = static_cast<unsigned char*>(operator new (size, std::align_val_t{memoryAlignment}));
  return {memory, memory};
}

std::size_t SizeAround(std::size_t byteCount, Fences fences) {
  if (fences == Fences::pages) return WholePages(std::max<std::size_t>(byteCount, 1));
  return (byteCount + 2 * margin + memoryAlignment - 1) / memoryAlignment * memoryAlignment;
}

bool AllGuardBytes(unsigned char const* first, unsigned char const* last) {
  if (first == last) return true;
  // Each byte is the one before it.
  return *first == GuardedBytes::guardByte &&
         std::memcmp(first, first + 1, static_cast<std::size_t>(last - first) - 1) == 0;
}

std::size_t ImageSize(int lineBytes, int lineCount, int stride) {
  if (lineCount == 0) return 0;
  return static_cast<std::size_t>(std::abs(stride)) * static_cast<std::size_t>(lineCount - 1) +
         static_cast<std::size_t>(lineBytes);
}

}  // namespace

GuardedBytes::GuardedBytes(std::size_t byteCount, Flush flush, std::size_t shift, Access access, Fences theFences)
    : fences(PossibleFences(theFences)),
      pagesSize(SizeAround(byteCount + shift, fences)),
      size(byteCount),
      allowed(Access::none) {
  Mapping const mapping = fences == Fences::pages ? TakePages(pagesSize) : TakeMemory(pagesSize);
  pages = mapping.pages;
  alias = mapping.alias;
  std::size_t const fromEnd = shift + (fences == Fences::none ? margin : 0);
  std::size_t const offset = flush == Flush::start ? fromEnd : pagesSize - fromEnd - byteCount;
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
