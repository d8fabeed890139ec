#include "Objects.h"

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

namespace binding {

bool RefuseAs(fourtap_status status, char const* sentence) {
  PyObject* const exception = status == FOURTAP_MEMORY      ? PyExc_MemoryError
                              : status == FOURTAP_PROCESSOR ? PyExc_RuntimeError
                                                            : PyExc_ValueError;
  char const itsName[] = "out:";
  if (std::strncmp(sentence, itsName, std::strlen(itsName)) == 0) {
    return Refuse(exception, "rect:%s", sentence + std::strlen(itsName));
  }
  return Refuse(exception, "%s", sentence);
}

namespace {

// -1 with an exception; INT_MAX for whatever is larger, as the library refuses that as a size.
int Read(PyObject* given, bool& isNumber) {
  Object const index(PyNumber_Index(given));
  isNumber = index != nullptr;
  if (!isNumber) return -1;
  int overflow = 0;
  long const number = PyLong_AsLongAndOverflow(index.get(), &overflow);
  if (overflow > 0 || number > INT_MAX) return INT_MAX;
  if (overflow < 0 || number < INT_MIN) return INT_MIN;
  return static_cast<int>(number);
}

}  // namespace

bool RefuseValue(PyObject* exception, char const* name, PyObject* given, char const* expected) {
  Object text(PyObject_Repr(given));
  if (!text && PyErr_ExceptionMatches(PyExc_ValueError)) {
    // A number of more digits than Python shows.
    PyErr_Clear();
    text.reset(PyType_GetName(Py_TYPE(given)));
  }
  // Arrays show themselves in many lines.
  Object const end(PyUnicode_FromString("\n")), blank(PyUnicode_FromString(" "));
  Object const line(text && end && blank ? PyUnicode_Replace(text.get(), end.get(), blank.get(), -1) : nullptr);
  return line && Refuse(exception, "%s: %.200U given, expected %s", name, line.get(), expected);
}

bool ReadNumbers(PyObject* given, char const* name, char const* expected, int* numbers, int count) {
  Object const tuple(PySequence_Check(given) ? PySequence_Tuple(given) : nullptr);
  bool areNumbers = tuple && PyTuple_Size(tuple.get()) == count;
  for (int i = 0; areNumbers && i < count; ++i) numbers[i] = Read(PyTuple_GetItem(tuple.get(), i), areNumbers);
  if (areNumbers) return true;
  // Running out of memory, and being interrupted, stay what they are.
  if (PyErr_Occurred() && !PyErr_ExceptionMatches(PyExc_TypeError)) return false;
  PyErr_Clear();
  return RefuseValue(PyExc_TypeError, name, given, expected);
}

bool ReadNumber(PyObject* given, char const* name, int least, int& number) {
  bool isNumber;
  number = Read(given, isNumber);
  if (!isNumber) {
    if (!PyErr_ExceptionMatches(PyExc_TypeError)) return false;
    PyErr_Clear();
    return RefuseValue(PyExc_TypeError, name, given, "a whole number");
  }
  if (number >= least) return true;
  char expected[32];
  std::snprintf(expected, sizeof expected, "%d or more", least);
  return RefuseValue(PyExc_ValueError, name, given, expected);
}

fourtap_format const* ReadFormat(PyObject* given, char const* name, int mostPlanes, char const* expected) {
  if (!PyUnicode_Check(given)) {
    RefuseValue(PyExc_TypeError, name, given, expected);
    return nullptr;
  }
  Py_ssize_t length;
  char const* const text = PyUnicode_AsUTF8AndSize(given, &length);
  if (!text) return nullptr;
  bool const isWhole = std::strlen(text) == static_cast<size_t>(length);
  fourtap_format const* const format = isWhole ? fourtap_format_named(text) : nullptr;
  if (format && format->plane_count <= mostPlanes) return format;
  RefuseValue(PyExc_ValueError, name, given, expected);
  return nullptr;
}

// Before Python 3.14, a daemon thread that comes back while the interpreter ends is ended by pthread_exit, whose
// unwinding must not leave a destructor: it waits for the end of the process instead.
WithoutInterpreter::~WithoutInterpreter() {
  try {
    PyEval_RestoreThread(state_);
  } catch (...) {
    for (;;) pause();
  }
}

}  // namespace binding
