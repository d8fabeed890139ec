#include "Arrays.h"

#include <climits>
#include <cstring>
#include <string>

namespace binding {

namespace {

bool IsByte(Py_buffer const& view) {
  if (view.itemsize != 1) return false;
  char const* format = view.format ? view.format : "B";
  if (*format && std::strchr("@=<>!|", *format)) ++format;
  return std::strcmp(format, "B") == 0;
}

Object DescribedView(Py_buffer const& view) {
  std::string shape = "(";
  for (int i = 0; i < view.ndim; ++i) {
    if (i > 0) shape += ", ";
    shape += std::to_string(view.shape[i]);
  }
  shape += view.ndim == 1 ? ",)" : ")";
  Object const type(view.obj ? PyObject_GetAttrString(view.obj, "dtype") : nullptr);
  if (type) return Object(PyUnicode_FromFormat("%S of shape %s", type.get(), shape.c_str()));
  PyErr_Clear();
  if (IsByte(view)) return Object(PyUnicode_FromFormat("bytes of shape %s", shape.c_str()));
  return Object(PyUnicode_FromFormat("items '%s' of shape %s", view.format ? view.format : "B", shape.c_str()));
}

char const expected[] = "uint8 of shape (height, width), or (height, width, channels) with 1 to 4 channels";

}  // namespace

bool Array::Hold(PyObject* given, char const* name, bool writable) {
  if (!PyObject_CheckBuffer(given)) {
    Object const type(PyType_GetName(Py_TYPE(given)));
    return type && Refuse(PyExc_TypeError, "%s: %U given, expected an array, or another object with a buffer, of %s",
                          name, type.get(), expected);
  }
  if (PyObject_GetBuffer(given, &view_, PyBUF_STRIDES | PyBUF_FORMAT | (writable ? PyBUF_WRITABLE : 0)) != 0) {
    // Their owners raise what they like: a read-only array of NumPy's a ValueError, others a BufferError.
    if (PyErr_ExceptionMatches(PyExc_MemoryError)) return false;
    PyErr_Clear();
    return Refuse(PyExc_ValueError, "%s: a buffer that can't be %s given, expected %s%s", name,
                  writable ? "written to" : "read in place", writable ? "writable memory of " : "", expected);
  }
  held_ = true;
  bool const isPicture = (view_.ndim == 2 || view_.ndim == 3) && view_.shape[0] <= INT_MAX &&
                         view_.shape[1] <= INT_MAX && (view_.ndim == 2 || (1 <= view_.shape[2] && view_.shape[2] <= 4));
  if (IsByte(view_) && isPicture) {
    // Arrays of ctypes have none, though they are asked for; their items lie without gaps.
    ptrdiff_t distance = 1;
    for (int i = view_.ndim; i-- > 0;) {
      strides_[i] = view_.strides ? view_.strides[i] : distance;
      distance *= view_.shape[i];
    }
    return true;
  }
  Object const described = DescribedView(view_);
  return described && Refuse(IsByte(view_) ? PyExc_ValueError : PyExc_TypeError, "%s: %U given, expected %s", name,
                             described.get(), expected);
}

ptrdiff_t Array::Stride() const { return Height() == 1 ? ptrdiff_t{Width()} * Channels() : strides_[0]; }

bool Array::LiesInLines() const {
  ptrdiff_t const lineBytes = ptrdiff_t{Width()} * Channels();
  if (Channels() > 1 && strides_[2] != 1) return false;
  if (Width() > 1 && strides_[1] != Channels()) return false;
  ptrdiff_t const distance = Stride() < 0 ? -Stride() : Stride();
  return lineBytes <= distance && distance <= INT_MAX;
}

Array::Span Array::Within() const {
  auto const address = reinterpret_cast<uintptr_t>(view_.buf);
  Span span{address, address};
  for (int i = 0; i < view_.ndim; ++i) {
    if (view_.shape[i] == 0) return {address, address};
    auto const reach = static_cast<uintptr_t>((view_.shape[i] - 1) * strides_[i]);
    (strides_[i] < 0 ? span.first : span.end) += reach;
  }
  return {span.first, span.end + 1};
}

bool Array::Overlaps(Array const& other) const {
  Span const here = Within(), there = other.Within();
  return here.first < there.end && there.first < here.end;
}

Memory Array::Copied(fourtap_rect const& rect) const {
  ptrdiff_t const channels = Channels();
  ptrdiff_t const lineBytes = rect.cx * channels;
  Memory memory(
      static_cast<unsigned char*>(std::malloc(static_cast<size_t>(lineBytes) * static_cast<size_t>(rect.cy))));
  if (!memory) return nullptr;
  ptrdiff_t const betweenPixels = strides_[1];
  ptrdiff_t const betweenChannels = view_.ndim == 3 ? strides_[2] : 1;
  unsigned char* to = memory.get();
  for (int y = 0; y < rect.cy; ++y) {
    unsigned char const* from = Top() + (rect.y + y) * strides_[0] + rect.x * betweenPixels;
    for (int x = 0; x < rect.cx; ++x) {
      for (ptrdiff_t c = 0; c < channels; ++c) *to++ = from[c * betweenChannels];
      from += betweenPixels;
    }
  }
  return memory;
}

Object Array::Described() const { return DescribedView(view_); }

}  // namespace binding
