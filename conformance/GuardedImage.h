// Memory that ends a program which touches what it was not given: images between protected pages.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace conformance {

enum class Flush { start, end };  // which end of the accessible pages the bytes touch
enum class Access { none, read, readWrite };

// Protected pages end a program, or call its signal handler; without them bytes are only looked at afterwards, as suits
// a process that belongs to somebody else.
enum class Fences { pages, none };

// `size` bytes with protected pages before and after. They start `shift` bytes after the start of the accessible pages,
// or end `shift` bytes before their end. All accessible bytes begin as `guardByte`. The test itself may look at them
// and change them at another address, whatever is allowed at theirs: asking the system to allow things is slow.
class GuardedBytes {
 public:
  static constexpr unsigned char guardByte = 0xa5;

  explicit GuardedBytes(std::size_t size, Flush flush = Flush::end, std::size_t shift = 0,
                        Access access = Access::readWrite, Fences fences = Fences::pages);
  GuardedBytes(GuardedBytes&&) noexcept;
  GuardedBytes(GuardedBytes const&) = delete;
  GuardedBytes& operator=(GuardedBytes const&) = delete;
  ~GuardedBytes();

  unsigned char* Data() const { return data; }
  unsigned char* Contents() const { return contents; }
  std::size_t Size() const { return size; }

  // What may be done with the bytes from now on.
  void Allow(Access access) const;
  // The same for the pages that [first, last) touches, not empty; the others can't be touched.
  void AllowOnly(Access access, unsigned char const* first, unsigned char const* last) const;

  // Whether the accessible bytes outside Data() to Data() + Size() are as they began.
  bool MarginsIntact() const;

 private:
  Fences fences;
  std::size_t pagesSize;
  unsigned char* pages;  // the first accessible one
  unsigned char* alias;  // the same memory, always accessible
  unsigned char* data;
  unsigned char* contents;
  std::size_t size;
  mutable std::optional<Access> allowed;  // if the same on all pages
};

// An image in guarded memory. Lines lie |stride| bytes apart, the top one last if the stride is negative; the bytes
// between them are guarded by their value.
class GuardedImage {
 public:
  // `stride` may have either sign; its absolute value is at least `lineBytes`.
  GuardedImage(int lineBytes, int lineCount, int stride, Flush flush = Flush::end, std::size_t shift = 0,
               Access access = Access::readWrite, Fences fences = Fences::pages);

  int LineBytes() const { return lineBytes; }
  int LineCount() const { return lineCount; }
  int Stride() const { return stride; }
  unsigned char* Top() const { return Line(0); }
  unsigned char* Line(int y) const { return bytes.Data() + OffsetOf(y); }
  unsigned char* Contents(int y) const { return bytes.Contents() + OffsetOf(y); }

  void Allow(Access access) const { bytes.Allow(access); }
  // Only the pages of lines [first, last) can be touched: none of them when that is empty.
  void AllowOnly(Access access, int first, int last) const;

  void Fill(unsigned char value) const;
  // Lines without gaps between them, top line first.
  void CopyFrom(unsigned char const* lines) const;
  std::vector<unsigned char> Copy() const;

  // Whether nothing was written between the lines or around them.
  bool GapsIntact() const;

 private:
  std::ptrdiff_t OffsetOf(int y) const;

  int lineBytes;
  int lineCount;
  int stride;
  GuardedBytes bytes;
};

}  // namespace conformance
