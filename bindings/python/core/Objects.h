// What the files of the extension share: owned objects, refusals, and numbers out of Python's.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <Python.h>
#include <fourtapscale/fourtap.h>

#include <memory>
#include <new>
#include <type_traits>

namespace binding {

struct Release {
  void operator()(PyObject* object) const { Py_DECREF(object); }
};
using Object = std::unique_ptr<PyObject, Release>;

inline Object Share(PyObject* borrowed) {
  Py_INCREF(borrowed);
  return Object(borrowed);
}

// Sets an exception; for `return Refuse(...)`. The text is as PyErr_Format takes it.
template <class... Values>
bool Refuse(PyObject* exception, char const* text, Values... values) {
  PyErr_Format(exception, text, values...);
  return false;
}

// "name: <given> given, expected <expected>", in one line of bounded length.
bool RefuseValue(PyObject* exception, char const* name, PyObject* given, char const* expected);

// The exception for a refusal of the library's, whose `out` is the rectangle here.
bool RefuseAs(fourtap_status, char const* sentence);
inline bool Succeeded(fourtap_status status) { return status == FOURTAP_OK || RefuseAs(status, fourtap_error()); }

// `count` whole numbers out of a sequence. `expected` says of what.
bool ReadNumbers(PyObject* given, char const* name, char const* expected, int* numbers, int count);
bool ReadNumber(PyObject* given, char const* name, int least, int& number);

// The frame format of a name that was given for an argument; null with an exception. `expected` says what names there
// are.
fourtap_format const* ReadFormat(PyObject* given, char const* name, int mostPlanes, char const* expected);

// Runs what may throw for want of memory.
template <class Body>
auto Guarded(Body const& body) -> std::invoke_result_t<Body> {
  try {
    return body();
  } catch (std::bad_alloc const&) {
    PyErr_NoMemory();
    if constexpr (std::is_same_v<std::invoke_result_t<Body>, int>) {
      return -1;
    } else {
      return nullptr;
    }
  }
}

// While it lives, other threads of Python's run.
class WithoutInterpreter {
 public:
  WithoutInterpreter() : state_(PyEval_SaveThread()) {}
  ~WithoutInterpreter();
  WithoutInterpreter(WithoutInterpreter const&) = delete;
  WithoutInterpreter& operator=(WithoutInterpreter const&) = delete;

 private:
  PyThreadState* state_;
};

}  // namespace binding
