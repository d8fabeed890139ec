// Pictures in memory of Python's: what they are, where their lines lie, and what of them has to be copied.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "Objects.h"

namespace binding {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<unsigned char, Free>;

// A buffer of Python's that is held: while it is, its owner neither frees nor moves it.
class Array {
 public:
  Array() = default;
  ~Array() { Let(); }
  Array(Array const&) = delete;
  Array& operator=(Array const&) = delete;

  // Bytes in lines: (height, width), or (height, width, channels). `name` is the argument's.
  bool Hold(PyObject* given, char const* name, bool writable);
  void Let() {
    if (held_) PyBuffer_Release(&view_);
    held_ = false;
  }

  int Height() const { return static_cast<int>(view_.shape[0]); }
  int Width() const { return static_cast<int>(view_.shape[1]); }
  int Dimensions() const { return view_.ndim; }
  int Channels() const { return view_.ndim == 3 ? static_cast<int>(view_.shape[2]) : 1; }
  unsigned char* Top() const { return static_cast<unsigned char*>(view_.buf); }
  ptrdiff_t Stride() const;
  // Pixels without gaps, lines that don't share bytes: what the library takes as it is.
  bool LiesInLines() const;
  bool Overlaps(Array const& other) const;
  // A rectangle of it, without gaps; null where there is no memory.
  Memory Copied(fourtap_rect const& rect) const;
  // For exceptions: "float64 of shape (480, 640)".
  Object Described() const;

 private:
  struct Span {
    uintptr_t first, end;
  };
  Span Within() const;

  Py_buffer view_;
  ptrdiff_t strides_[3];  // by its dimensions; not every owner tells them
  bool held_ = false;
};

// Lines of a target, from the top one on, as the library takes a source or a target.
template <class Data>
struct Lines {
  Data* top;
  ptrdiff_t stride;
  ptrdiff_t lineBytes;

  template <class Handed>
  Handed From(int first, int count) const {
    if (count == 0) return {top, 0, 0};
    ptrdiff_t const distance = stride < 0 ? -stride : stride;
    Data* const lowest = top + (stride < 0 ? first + count - 1 : first) * stride;
    return {lowest, static_cast<size_t>(distance * (count - 1) + lineBytes), stride};
  }
};

}  // namespace binding
