// What is asked for in terms of Python, and doing it.
#pragma once

#include <vector>

#include "Arrays.h"
#include "Objects.h"
#include "Pictures.h"

namespace binding {

// What the functions of the module share.
struct State {
  PyObject* empty;  // numpy.empty
  PyObject* byte;   // numpy.dtype("uint8")
  PyTypeObject* scaler;
  Shelf* shelf;
};

// How pixels are scaled, and how many bytes they have.
struct Pixels {
  fourtap_rules rules;
  int bytesIn, bytesOut;
};
// `layout` is a name, or None for what so many channels usually are. `steps` and `alpha` as the front documents them.
bool ReadPixels(PyObject* layout, int channels, PyObject* steps, PyObject* alpha, Pixels& pixels);
bool ReadSize(PyObject* given, char const* name, int* size);
// None is all of the picture.
bool ReadRect(PyObject* given, char const* name, fourtap_rect const& all, fourtap_rect& rect);
// The part of the source that a part of the output is made of; refuses what can't be scaled.
bool ReadNeeded(Request const&, fourtap_rect const& out, fourtap_rect& needed);
Object TupleOf(fourtap_rect const&);

// A picture that is to be scaled, or a part of it. Nothing is written before Scale.
struct Job {
  Pixels pixels;
  Request request;
  Array image, target;
  fourtap_rect given;  // what of the source `image` is
  fourtap_rect needed;
  fourtap_rect out;
  Object result;
};

// The steps, one after the other. First, what the picture is, by what is told of its pixels, or by pixels that are
// known; the request's sizes are those of the image until told otherwise.
bool ReadImage(PyObject* image, char const* name, PyObject* layout, PyObject* steps, PyObject* alpha, Job& job);
bool ReadImage(PyObject* image, char const* name, PyObject* layout, Pixels const&, Job& job);
// Where in the source the image lies, which is a part of it.
bool PlacePart(Job& job, int const* sourceSize, PyObject* origin);
// What becomes of it: `size` is that of the whole output.
bool Aim(Job& job, int const* size, PyObject* rect);
// Where it goes: `out`, or new memory for None.
bool FindTarget(State const&, Job& job, PyObject* out);
bool RefuseOverlap(Job const& job, Array const& image);
// Does all of them, in as many bands at a time as pay.
bool Scale(Shelf& shelf, Job* const* jobs, int count, int threads);

}  // namespace binding
