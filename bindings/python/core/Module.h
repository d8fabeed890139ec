// What the module is put together from.
#pragma once

#include "Objects.h"
#include "Scaling.h"

namespace binding {

State& StateOf(PyObject* module);
bool ExpectArguments(Py_ssize_t given, Py_ssize_t expected);

PyTypeObject* MakeScalerType(PyObject* module);

// selftest(say) -> bool; `say` gets each line. The library's own, over the very code that is in this module.
PyObject* SelfTest(PyObject* module, PyObject* say);

}  // namespace binding
