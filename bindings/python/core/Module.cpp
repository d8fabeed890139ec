// The module fourtapscale._core. Its front, the package, says what the functions mean and gives arguments their names.
#include "Module.h"

#include "Helpers.h"
#include "Scaling.h"

namespace binding {

bool ExpectArguments(Py_ssize_t given, Py_ssize_t expected) {
  return given == expected || Refuse(PyExc_TypeError, "%zd arguments given, expected %zd", given, expected);
}

namespace {

State& StateOf(PyObject* module) { return *static_cast<State*>(PyModule_GetState(module)); }

// resize(image, size, layout, rect, out, threads, steps, alpha)
PyObject* Resize(PyObject* module, PyObject* const* arguments, Py_ssize_t count) {
  return Guarded([&]() -> PyObject* {
    State const& state = StateOf(module);
    Job job;
    int size[2], threads;
    if (!ExpectArguments(count, 8) || !ReadSize(arguments[1], "size", size) ||
        !ReadNumber(arguments[5], "threads", 0, threads) ||
        !ReadImage(arguments[0], "image", arguments[2], arguments[6], arguments[7], job) ||
        !Aim(job, size, arguments[3]) || !FindTarget(state, job, arguments[4])) {
      return nullptr;
    }
    Job* const jobs[] = {&job};
    return Scale(*state.shelf, jobs, 1, threads) ? job.result.release() : nullptr;
  });
}

// resize_part(part, origin, source_size, size, rect, layout, out, steps, alpha)
PyObject* ResizePart(PyObject* module, PyObject* const* arguments, Py_ssize_t count) {
  return Guarded([&]() -> PyObject* {
    State const& state = StateOf(module);
    Job job;
    int size[2], sourceSize[2];
    if (!ExpectArguments(count, 9) || !ReadSize(arguments[2], "source_size", sourceSize) ||
        !ReadSize(arguments[3], "size", size) ||
        !ReadImage(arguments[0], "part", arguments[5], arguments[7], arguments[8], job) ||
        !PlacePart(job, sourceSize, arguments[1]) || !Aim(job, size, arguments[4]) ||
        !FindTarget(state, job, arguments[6])) {
      return nullptr;
    }
    Job* const jobs[] = {&job};
    return Scale(*state.shelf, jobs, 1, 1) ? job.result.release() : nullptr;
  });
}

// needed(source_size, size, rect, layout, steps, alpha) -> (x, y, width, height)
PyObject* Needed(PyObject*, PyObject* const* arguments, Py_ssize_t count) {
  int source[2], size[2];
  Pixels pixels;
  fourtap_rect rect, needed;
  if (!ExpectArguments(count, 6) || !ReadSize(arguments[0], "source_size", source) ||
      !ReadSize(arguments[1], "size", size) || !ReadRect(arguments[2], "rect", {0, 0, size[0], size[1]}, rect) ||
      !ReadPixels(arguments[3], 1, arguments[4], arguments[5], pixels)) {
    return nullptr;
  }
  Request const request{pixels.rules, source[0], source[1], size[0], size[1]};
  return ReadNeeded(request, rect, needed) ? TupleOf(needed).release() : nullptr;
}

// resize_planes([(image, size, layout, out), ...], threads, steps) -> [array, ...]
PyObject* ResizePlanes(PyObject* module, PyObject* const* arguments, Py_ssize_t count) {
  return Guarded([&]() -> PyObject* {
    State const& state = StateOf(module);
    int threads;
    if (!ExpectArguments(count, 3) || !ReadNumber(arguments[1], "threads", 0, threads)) return nullptr;
    Py_ssize_t const planes = PyList_Size(arguments[0]);
    if (planes < 0) return nullptr;
    std::vector<Job> jobs(static_cast<size_t>(planes));
    std::vector<Job*> all;
    for (Py_ssize_t i = 0; i < planes; ++i) {
      PyObject* const plane = PyList_GetItem(arguments[0], i);
      PyObject *image, *sizeOf, *layout, *out;
      int size[2];
      Job& job = jobs[static_cast<size_t>(i)];
      if (!PyArg_ParseTuple(plane, "OOOO", &image, &sizeOf, &layout, &out) || !ReadSize(sizeOf, "size", size) ||
          !ReadImage(image, "plane", layout, arguments[2], Py_None, job) || !Aim(job, size, Py_None) ||
          !FindTarget(state, job, out)) {
        return nullptr;
      }
      all.push_back(&job);
    }
    for (Job const& job : jobs) {
      for (Job const& other : jobs) {
        bool const apart = RefuseOverlap(job, other.image) && (&job == &other || RefuseOverlap(job, other.target));
        if (!apart) return nullptr;
      }
    }
    if (!Scale(*state.shelf, all.data(), static_cast<int>(planes), threads)) return nullptr;
    Object list(PyList_New(planes));
    for (Py_ssize_t i = 0; list && i < planes; ++i) {
      PyList_SetItem(list.get(), i, jobs[static_cast<size_t>(i)].result.release());
    }
    return list.release();
  });
}

// plane_sizes(format, size) -> [(layout, width, height), ...]
PyObject* PlaneSizes(PyObject*, PyObject* const* arguments, Py_ssize_t count) {
  int size[2];
  if (!ExpectArguments(count, 2) || !ReadSize(arguments[1], "size", size)) return nullptr;
  fourtap_format const* const format = ReadFormat(arguments[0], "format", 4, "a format of frames, such as 'nv12'");
  if (!format) return nullptr;
  Object list(PyList_New(format->plane_count));
  for (int i = 0; list && i < format->plane_count; ++i) {
    constexpr char const* layouts[] = {"gray", "rgb24", "rgb32", "uyvy", "yuy2", "uv16", "rgba32"};
    int width, height;
    if (!Succeeded(fourtap_plane_size(format, i, size[0], size[1], &width, &height))) return nullptr;
    PyObject* const plane = Py_BuildValue("(sii)", layouts[format->planes[i].layout], width, height);
    if (!plane) return nullptr;
    PyList_SetItem(list.get(), i, plane);
  }
  return list.release();
}

PyObject* Formats(PyObject*, PyObject*) {
  Object list(PyList_New(0));
  for (int i = 0; list; ++i) {
    fourtap_format const* const format = fourtap_format_at(i);
    if (!format) break;
    Object const names(PyUnicode_FromString(format->names));
    if (!names || PyList_Append(list.get(), names.get()) != 0) return nullptr;
  }
  return list.release();
}

PyObject* Version(PyObject*, PyObject*) {
  int const version = fourtap_version();
  return PyUnicode_FromFormat("%d.%d.%d", version / 10000, version / 100 % 100, version % 100);
}

// For tables that pay to be kept: as many pictures as a loader's sizes, and no more memory than a picture may take.
constexpr size_t mostKept = 32, mostBytesKept = size_t{64} << 20;

int Execute(PyObject* module) {
  return Guarded([&]() -> int {
    State& state = StateOf(module);
    state.shelf = new Shelf(mostKept, mostBytesKept);
    Object const numpy(PyImport_ImportModule("numpy"));
    if (!numpy) return -1;
    state.empty = PyObject_GetAttrString(numpy.get(), "empty");
    state.byte = PyObject_CallMethod(numpy.get(), "dtype", "s", "uint8");
    state.scaler = MakeScalerType(module);
    if (!state.empty || !state.byte || !state.scaler) return -1;
    return PyModule_AddType(module, state.scaler);
  });
}

int Traverse(PyObject* module, visitproc visit, void* arg) {
  State const& state = StateOf(module);
  Py_VISIT(state.empty);
  Py_VISIT(state.byte);
  Py_VISIT(state.scaler);
  return 0;
}

int Clear(PyObject* module) {
  State& state = StateOf(module);
  Py_CLEAR(state.empty);
  Py_CLEAR(state.byte);
  Py_CLEAR(state.scaler);
  return 0;
}

void Done(void* module) {
  State& state = StateOf(static_cast<PyObject*>(module));
  Clear(static_cast<PyObject*>(module));
  delete state.shelf;
  state.shelf = nullptr;
}

PyMethodDef functions[] = {
    {"resize", AsFunction(Resize), METH_FASTCALL, nullptr},
    {"resize_part", AsFunction(ResizePart), METH_FASTCALL, nullptr},
    {"resize_planes", AsFunction(ResizePlanes), METH_FASTCALL, nullptr},
    {"needed", AsFunction(Needed), METH_FASTCALL, nullptr},
    {"plane_sizes", AsFunction(PlaneSizes), METH_FASTCALL, nullptr},
    {"formats", Formats, METH_NOARGS, nullptr},
    {"version", Version, METH_NOARGS, nullptr},
    {"selftest", SelfTest, METH_O, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef_Slot slots[] = {{Py_mod_exec, reinterpret_cast<void*>(&Execute)}, {0, nullptr}};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "fourtapscale._core", nullptr, sizeof(State), functions, slots, Traverse, Clear, Done};

}  // namespace

}  // namespace binding

PyMODINIT_FUNC PyInit__core() { return PyModuleDef_Init(&binding::definition); }
