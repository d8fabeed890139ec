// What the module is put together from.
#pragma once

#include "Objects.h"
#include "Scaling.h"

namespace binding {

bool ExpectArguments(Py_ssize_t given, Py_ssize_t expected);

// Functions of all kinds go into tables as this one.
template <class Function>
PyCFunction AsFunction(Function* function) {
  return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(function));
}

PyTypeObject* MakeScalerType(PyObject* module);

// selftest(say) -> bool; `say` gets each line. The library's own, over the very code that is in this module.
PyObject* SelfTest(PyObject* module, PyObject* say);

}  // namespace binding
