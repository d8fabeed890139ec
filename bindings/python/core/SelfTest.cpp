#include "conformance/SelfTest.h"

#include <string>

#include "Module.h"

namespace binding {

PyObject* SelfTest(PyObject*, PyObject* say) {
  return Guarded([&]() -> PyObject* {
    bool agree = true;
    conformance::SelfTest test;
    test.say = [say](std::string const& line) {
      if (PyErr_Occurred()) return;
      Object const said(PyObject_CallFunction(say, "s", line.c_str()));
    };
    // For interrupts from the keyboard, and for other threads.
    test.goOn = [](int, int) {
      if (PyErr_Occurred() || PyErr_CheckSignals() != 0) return false;
      WithoutInterpreter const others;
      return true;
    };
    // The process is another's: no memory of it is protected, no signal handled.
    test.fences = conformance::Fences::none;
    agree = conformance::RunSelfTest(test);
    if (PyErr_Occurred()) return nullptr;
    return PyBool_FromLong(agree);
  });
}

}  // namespace binding
