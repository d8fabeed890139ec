// The type Scaler: pictures of one pair of sizes, and one that is on its way line by line.
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "Module.h"

namespace binding {

namespace {

// A picture that is handed over line by line.
struct Progress {
  fourtap_picture* picture = nullptr;
  fourtap_rect needed;
  int taken = 0;        // lines of the source
  int written = 0;      // lines of the output
  pid_t turnOf = 0;     // the process that pushes or resets at the moment
  bool isLost = false;  // lines went in, and their output did not come out
};

// Threads that push at once are refused, since nobody could say whose lines come first; also those that come while the
// one before runs Python's code. A child of fork has none of the threads that were pushing.
class Turn {
 public:
  explicit Turn(Progress& progress) : progress_(progress), isMine_(progress.turnOf != getpid()) {
    if (isMine_) progress.turnOf = getpid();
  }
  ~Turn() {
    if (isMine_) progress_.turnOf = 0;
  }
  Turn(Turn const&) = delete;
  Turn& operator=(Turn const&) = delete;

  bool IsMine() const {
    return isMine_ || Refuse(PyExc_RuntimeError, "scaler: another push is under way, expected one at a time");
  }

 private:
  Progress& progress_;
  bool const isMine_;
};

struct Scaler {
  Pixels pixels;
  Request request;
  Object layout;  // its name
  // Whoever has a scaler wants it kept, whatever it takes; of more threads at a time than that, it is opened anew.
  Shelf shelf{16, std::numeric_limits<size_t>::max()};
  Progress progress;

  ~Scaler() { fourtap_picture_close(progress.picture); }
};

struct ScalerObject {
  PyObject head;
  Scaler* scaler;
};

Scaler& Of(PyObject* self) { return *reinterpret_cast<ScalerObject*>(self)->scaler; }

State const& StateBehind(PyObject* self) { return *static_cast<State*>(PyType_GetModuleState(Py_TYPE(self))); }

// Scaler(source_size, size, layout, steps, alpha)
PyObject* New(PyTypeObject* type, PyObject* arguments, PyObject*) {
  return Guarded([&]() -> PyObject* {
    PyObject *sourceSize, *size, *layout, *steps, *alpha;
    if (!PyArg_ParseTuple(arguments, "OOOOO", &sourceSize, &size, &layout, &steps, &alpha)) return nullptr;
    auto scaler = std::make_unique<Scaler>();
    int in[2], out[2];
    if (layout == Py_None) {
      Refuse(PyExc_TypeError, "layout: None given, expected a name, such as 'rgb24'");
      return nullptr;
    }
    fourtap_rect needed;
    if (!ReadSize(sourceSize, "source_size", in) || !ReadSize(size, "size", out) ||
        !ReadPixels(layout, 1, steps, alpha, scaler->pixels)) {
      return nullptr;
    }
    scaler->request = {scaler->pixels.rules, in[0], in[1], out[0], out[1]};
    if (!ReadNeeded(scaler->request, {0, 0, out[0], out[1]}, needed)) return nullptr;
    {
      // So that memory is there, or its lack is known now.
      Borrowed first(scaler->shelf, scaler->request);
      if (!Succeeded(first.Add())) return nullptr;
    }
    // Text alone: nothing that might hold this scaler in turn.
    scaler->layout.reset(PyUnicode_FromObject(layout));
    if (!scaler->layout) return nullptr;
    auto const allocate = reinterpret_cast<allocfunc>(PyType_GetSlot(type, Py_tp_alloc));
    PyObject* const self = allocate(type, 0);
    if (self) reinterpret_cast<ScalerObject*>(self)->scaler = scaler.release();
    return self;
  });
}

void Dealloc(PyObject* self) {
  PyTypeObject* const type = Py_TYPE(self);
  delete reinterpret_cast<ScalerObject*>(self)->scaler;
  reinterpret_cast<freefunc>(PyType_GetSlot(type, Py_tp_free))(self);
  Py_DECREF(type);
}

bool ReadAsTold(Scaler& scaler, PyObject* image, char const* name, Job& job) {
  return ReadImage(image, name, scaler.layout.get(), scaler.pixels, job);
}

// resize(image, rect, out, threads)
PyObject* Resize(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return Guarded([&]() -> PyObject* {
    Scaler& scaler = Of(self);
    Job job;
    int threads;
    if (!ExpectArguments(count, 4) || !ReadNumber(arguments[3], "threads", 0, threads) ||
        !ReadAsTold(scaler, arguments[0], "image", job)) {
      return nullptr;
    }
    if (job.request.cxIn != scaler.request.cxIn || job.request.cyIn != scaler.request.cyIn) {
      Object const described = job.image.Described();
      if (!described) return nullptr;
      Refuse(PyExc_ValueError, "image: %U given, expected %d lines of %d pixels", described.get(), scaler.request.cyIn,
             scaler.request.cxIn);
      return nullptr;
    }
    int const size[] = {scaler.request.cxOut, scaler.request.cyOut};
    if (!Aim(job, size, arguments[1]) || !FindTarget(StateBehind(self), job, arguments[2])) return nullptr;
    Job* const jobs[] = {&job};
    return Scale(scaler.shelf, jobs, 1, threads) ? job.result.release() : nullptr;
  });
}

// resize_part(part, origin, rect, out)
PyObject* ResizePart(PyObject* self, PyObject* const* arguments, Py_ssize_t count) {
  return Guarded([&]() -> PyObject* {
    Scaler& scaler = Of(self);
    Job job;
    int const in[] = {scaler.request.cxIn, scaler.request.cyIn}, out[] = {scaler.request.cxOut, scaler.request.cyOut};
    if (!ExpectArguments(count, 4) || !ReadAsTold(scaler, arguments[0], "part", job) ||
        !PlacePart(job, in, arguments[1]) || !Aim(job, out, arguments[2]) ||
        !FindTarget(StateBehind(self), job, arguments[3])) {
      return nullptr;
    }
    Job* const jobs[] = {&job};
    return Scale(scaler.shelf, jobs, 1, 1) ? job.result.release() : nullptr;
  });
}

// needed(rect)
PyObject* Needed(PyObject* self, PyObject* given) {
  Request const& request = Of(self).request;
  fourtap_rect rect, needed;
  if (!ReadRect(given, "rect", {0, 0, request.cxOut, request.cyOut}, rect) || !ReadNeeded(request, rect, needed)) {
    return nullptr;
  }
  return TupleOf(needed).release();
}

// Lines of the source before output line `line` can be made. Asked of its first pixels: for all of an output, which a
// single line may be, all of the source is said to be needed.
bool ReadLinesNeeded(Request const& request, int line, int& lines) {
  fourtap_rect needed;
  if (!ReadNeeded(request, {0, line, std::min(2, request.cxOut), 1}, needed)) return false;
  lines = needed.y + needed.cy;
  return true;
}

PyObject* LinesNeeded(PyObject* self, PyObject* given) {
  Request const& request = Of(self).request;
  int line, lines;
  if (!ReadNumber(given, "line", 0, line)) return nullptr;
  if (line >= request.cyOut) {
    Refuse(PyExc_ValueError, "line: %d given, expected 0 to %d", line, request.cyOut - 1);
    return nullptr;
  }
  return ReadLinesNeeded(request, line, lines) ? PyLong_FromLong(lines) : nullptr;
}

// Output lines that so many lines of the source allow, at most.
bool ReadLinesAllowed(Request const& request, int taken, int& allowed) {
  int first = 0, end = request.cyOut;  // of those among which is the first that needs more
  while (first < end) {
    int const middle = first + (end - first) / 2;
    int lines;
    if (!ReadLinesNeeded(request, middle, lines)) return false;
    if (lines <= taken) {
      first = middle + 1;
    } else {
      end = middle;
    }
  }
  allowed = first;
  return true;
}

bool Begin(Scaler& scaler) {
  Progress& progress = scaler.progress;
  progress.taken = progress.written = 0;
  if (progress.isLost) {
    // Perhaps a fork met it half way.
    fourtap_picture_close(progress.picture);
    progress.picture = nullptr;
    progress.isLost = false;
  }
  if (!progress.picture) {
    Request const& request = scaler.request;
    if (!Succeeded(fourtap_picture_open(&progress.picture, &request.rules, request.cxIn, request.cyIn, request.cxOut,
                                        request.cyOut))) {
      return false;
    }
  }
  return Succeeded(fourtap_picture_begin(progress.picture, nullptr)) &&
         Succeeded(fourtap_picture_needed(progress.picture, nullptr, &progress.needed));
}

// push(lines) -> array
PyObject* Push(PyObject* self, PyObject* given) {
  return Guarded([&]() -> PyObject* {
    Scaler& scaler = Of(self);
    Request const& request = scaler.request;
    Progress& progress = scaler.progress;
    Job job;
    Turn const turn(progress);
    if (!turn.IsMine() || !ReadAsTold(scaler, given, "lines", job)) return nullptr;
    if (progress.isLost) {
      Refuse(PyExc_RuntimeError, "scaler: the output of lines that were pushed is lost, expected reset() first");
      return nullptr;
    }
    int const lines = job.image.Height(), left = request.cyIn - progress.taken;
    if (job.image.Width() != request.cxIn || lines > left) {
      Object const described = job.image.Described();
      if (!described) return nullptr;
      Refuse(PyExc_ValueError, "lines: %U given, expected at most %d lines, which are left, of %d pixels",
             described.get(), left, request.cxIn);
      return nullptr;
    }
    if (!progress.picture && !Begin(scaler)) return nullptr;

    // Of these lines, those that the output is made of.
    fourtap_rect const& needed = progress.needed;
    int const first = std::clamp(needed.y - progress.taken, 0, lines);
    int const end = std::clamp(needed.y + needed.cy - progress.taken, first, lines);
    int allowed = 0;
    if (!ReadLinesAllowed(request, progress.taken + lines, allowed)) return nullptr;
    // With room for one more, no line is left for want of room.
    int const room = std::min(allowed + 1, request.cyOut) - progress.written;
    int const bytesIn = scaler.pixels.bytesIn, bytesOut = scaler.pixels.bytesOut;
    job.out = {0, 0, request.cxOut, room};
    if (!FindTarget(StateBehind(self), job, Py_None)) return nullptr;

    int taken = 0, written = 0;
    fourtap_status status = FOURTAP_OK;
    bool enoughMemory = true;
    progress.isLost = true;
    {
      WithoutInterpreter const others;
      ptrdiff_t const lineBytes = ptrdiff_t{needed.cx} * bytesIn;
      Lines<unsigned char const> from{job.image.Top() + ptrdiff_t{needed.x} * bytesIn, job.image.Stride(), lineBytes};
      Memory copy;
      int firstLine = first;
      if (end > first && !job.image.LiesInLines()) {
        copy = job.image.Copied({needed.x, first, needed.cx, end - first});
        enoughMemory = copy != nullptr;
        from = {copy.get(), lineBytes, lineBytes};
        firstLine = 0;
      }
      Lines<unsigned char> const to{job.target.Top(), job.target.Stride(), ptrdiff_t{request.cxOut} * bytesOut};
      if (enoughMemory && end > first) {
        status = fourtap_picture_push(progress.picture, from.From<fourtap_source>(firstLine, end - first), end - first,
                                      &taken, to.From<fourtap_target>(0, room), room, &written);
      }
    }
    progress.isLost = enoughMemory && status == FOURTAP_OK;  // a refusal takes nothing
    if (!enoughMemory) return PyErr_NoMemory();
    if (!Succeeded(status)) return nullptr;
    if (taken != end - first) {
      Refuse(PyExc_SystemError, "scaler: %d of %d lines taken", taken, end - first);
      return nullptr;
    }
    progress.taken += lines;
    progress.written += written;
    job.target.Let();
    // The room for one more may not have been needed.
    PyObject* const result = written == room ? job.result.release() : PySequence_GetSlice(job.result.get(), 0, written);
    progress.isLost = !result;
    return result;
  });
}

PyObject* Reset(PyObject* self, PyObject*) {
  Scaler& scaler = Of(self);
  Turn const turn(scaler.progress);
  if (!turn.IsMine() || !Begin(scaler)) return nullptr;
  Py_RETURN_NONE;
}

PyObject* LinesLeft(PyObject* self, void*) { return PyLong_FromLong(Of(self).request.cyIn - Of(self).progress.taken); }

PyObject* Bytes(PyObject* self, void*) {
  return PyLong_FromSize_t(Of(self).shelf.Bytes() + fourtap_picture_bytes(Of(self).progress.picture));
}

PyMethodDef methods[] = {
    {"resize", AsFunction(Resize), METH_FASTCALL, nullptr},
    {"resize_part", AsFunction(ResizePart), METH_FASTCALL, nullptr},
    {"needed", Needed, METH_O, nullptr},
    {"lines_needed", LinesNeeded, METH_O, nullptr},
    {"push", Push, METH_O, nullptr},
    {"reset", Reset, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyGetSetDef properties[] = {
    {"lines_left", LinesLeft, nullptr, nullptr, nullptr},
    {"nbytes", Bytes, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

template <class Function>
void* AsSlot(Function* function) {
  return reinterpret_cast<void*>(function);
}

PyType_Slot slots[] = {
    {Py_tp_new, AsSlot(New)},
    {Py_tp_dealloc, AsSlot(Dealloc)},
    {Py_tp_methods, methods},
    {Py_tp_getset, properties},
    {0, nullptr},
};

PyType_Spec scalerType = {"fourtapscale._core.Scaler", sizeof(ScalerObject), 0, Py_TPFLAGS_DEFAULT, slots};

}  // namespace

PyTypeObject* MakeScalerType(PyObject* module) {
  return reinterpret_cast<PyTypeObject*>(PyType_FromModuleAndSpec(module, &scalerType, nullptr));
}

}  // namespace binding
