#include "Scaling.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "Helpers.h"

namespace binding {

namespace {

struct Alias {
  char const* name;
  int pixels;
};
// Layouts whose pixels have alpha, by names that say where it is; of all others with four channels it is the last one.
constexpr Alias withAlpha[] = {
    {"ya8", FOURTAP_GRAY_ALPHA}, {"gray8a", FOURTAP_GRAY_ALPHA}, {"argb", FOURTAP_ALPHA_RGB},
    {"abgr", FOURTAP_ALPHA_RGB}, {"ra24", FOURTAP_ALPHA_RGB},    {"ba24", FOURTAP_ALPHA_RGB},
};

constexpr int layoutBytes[] = {1, 3, 4, 2, 2, 2, 4};

char const layoutsExpected[] =
    "gray, uv16, ya8, uyvy, vyuy, yuy2, yvyu, rgb24, bgr24, rgba32, bgra, argb, rgb32 or another name of these";

// The layout of a name, and its pixels where one of the channels is alpha.
bool FindLayout(PyObject* given, int& layout, int& alphaPixels) {
  fourtap_format const* const format = ReadFormat(given, "layout", 1, layoutsExpected);
  if (!format) return false;
  layout = format->planes[0].layout;
  alphaPixels = layout == FOURTAP_RGBA32 ? FOURTAP_RGB_ALPHA : layout;
  std::string lower(PyUnicode_AsUTF8AndSize(given, nullptr));
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (Alias const& alias : withAlpha) {
    if (lower == alias.name) alphaPixels = alias.pixels;
  }
  return true;
}

char const alphasExpected[] = "'multiply', 'straight', 'drop', None or a colour of 3 numbers from 0 to 255";

bool ReadAlpha(PyObject* alpha, Pixels& pixels) {
  if (PyUnicode_Check(alpha)) {
    char const* const names[] = {"multiply", "straight", "drop"};
    for (int i = 0; i < 3; ++i) {
      if (PyUnicode_CompareWithASCIIString(alpha, names[i]) != 0) continue;
      pixels.rules.alpha = i;
      return true;
    }
    return RefuseValue(PyExc_ValueError, "alpha", alpha, alphasExpected);
  }
  int colour[3];
  if (!ReadNumbers(alpha, "alpha", alphasExpected, colour, 3)) return false;
  for (int c = 0; c < 3; ++c) {
    if (colour[c] < 0 || colour[c] > 255) {
      return RefuseValue(PyExc_ValueError, "alpha", alpha, alphasExpected);
    }
    pixels.rules.background[c] = static_cast<unsigned char>(colour[c]);
  }
  pixels.rules.alpha = FOURTAP_ALPHA_BACKGROUND;
  return true;
}

}  // namespace

bool ReadPixels(PyObject* layout, int channels, PyObject* steps, PyObject* alpha, Pixels& pixels) {
  pixels.rules = {};
  int const truth = PyObject_IsTrue(steps);
  if (truth < 0) return false;
  pixels.rules.reduction = truth ? FOURTAP_REDUCE_WIDELY : FOURTAP_REDUCE_BY_FOUR_TAPS;
  int plain, alphaPixels;
  if (layout != Py_None) {
    if (!FindLayout(layout, plain, alphaPixels)) return false;
  } else {
    constexpr int usual[] = {FOURTAP_PLANE, FOURTAP_UV16, FOURTAP_RGB24, FOURTAP_RGBA32};
    plain = usual[channels - 1];
    alphaPixels = plain == FOURTAP_RGBA32 ? FOURTAP_RGB_ALPHA : plain;
  }
  pixels.bytesIn = pixels.bytesOut = layoutBytes[plain];
  bool const hasAlpha = alphaPixels != plain;
  if (alpha != Py_None && !ReadAlpha(alpha, pixels)) return false;
  pixels.rules.pixels = alpha == Py_None ? plain : alphaPixels;
  bool const losesAlpha = pixels.rules.alpha == FOURTAP_ALPHA_DROP || pixels.rules.alpha == FOURTAP_ALPHA_BACKGROUND;
  if (hasAlpha && alpha != Py_None && losesAlpha) --pixels.bytesOut;
  return true;
}

bool ReadSize(PyObject* given, char const* name, int* size) {
  return ReadNumbers(given, name, "(width, height) in whole numbers", size, 2);
}

bool ReadRect(PyObject* given, char const* name, fourtap_rect const& all, fourtap_rect& rect) {
  if (given == Py_None) {
    rect = all;
    return true;
  }
  int numbers[4];
  if (!ReadNumbers(given, name, "(x, y, width, height) in whole numbers", numbers, 4)) return false;
  rect = {numbers[0], numbers[1], numbers[2], numbers[3]};
  return true;
}

bool ReadNeeded(Request const& request, fourtap_rect const& out, fourtap_rect& needed) {
  return Succeeded(fourtap_picture_plan(&request.rules, request.cxIn, request.cyIn, request.cxOut, request.cyOut, &out,
                                        &needed, nullptr));
}

Object TupleOf(fourtap_rect const& rect) { return Object(Py_BuildValue("(iiii)", rect.x, rect.y, rect.cx, rect.cy)); }

namespace {

// What is left once image and pixels are known.
bool BeginWith(Job& job, char const* name, PyObject* layout) {
  if (job.image.Channels() != job.pixels.bytesIn) {
    Object const described = job.image.Described();
    return described &&
           Refuse(PyExc_ValueError, "%s: %U given, expected %d %s for the layout %R", name, described.get(),
                  job.pixels.bytesIn, job.pixels.bytesIn == 1 ? "channel" : "channels", layout);
  }
  job.request = {job.pixels.rules, job.image.Width(), job.image.Height(), 0, 0};
  job.given = {0, 0, job.image.Width(), job.image.Height()};
  return true;
}

Object NewArray(State const& state, int height, int width, int channels, bool planes) {
  Object const shape(planes ? Py_BuildValue("(ii)", height, width) : Py_BuildValue("(iii)", height, width, channels));
  return shape ? Object(PyObject_CallFunctionObjArgs(state.empty, shape.get(), state.byte, nullptr)) : nullptr;
}

}  // namespace

bool ReadImage(PyObject* image, char const* name, PyObject* layout, PyObject* steps, PyObject* alpha, Job& job) {
  return job.image.Hold(image, name, false) && ReadPixels(layout, job.image.Channels(), steps, alpha, job.pixels) &&
         BeginWith(job, name, layout);
}

bool ReadImage(PyObject* image, char const* name, PyObject* layout, Pixels const& pixels, Job& job) {
  job.pixels = pixels;
  return job.image.Hold(image, name, false) && BeginWith(job, name, layout);
}

bool PlacePart(Job& job, int const* sourceSize, PyObject* origin) {
  int place[2];
  if (!ReadNumbers(origin, "origin", "(x, y) in whole numbers", place, 2)) return false;
  job.given.x = place[0];
  job.given.y = place[1];
  job.request.cxIn = sourceSize[0];
  job.request.cyIn = sourceSize[1];
  fourtap_rect const& given = job.given;
  bool const inside = given.x >= 0 && given.y >= 0 && int64_t{given.x} + given.cx <= sourceSize[0] &&
                      int64_t{given.y} + given.cy <= sourceSize[1];
  return inside || Refuse(PyExc_ValueError, "part: %dx%d pixels at %d,%d given, expected all of them inside %dx%d",
                          given.cx, given.cy, given.x, given.y, sourceSize[0], sourceSize[1]);
}

bool Aim(Job& job, int const* size, PyObject* rect) {
  job.request.cxOut = size[0];
  job.request.cyOut = size[1];
  if (!ReadRect(rect, "rect", {0, 0, size[0], size[1]}, job.out) || !ReadNeeded(job.request, job.out, job.needed)) {
    return false;
  }
  fourtap_rect const &given = job.given, &needed = job.needed;
  auto const holds = [](int first, int count, int firstNeeded, int countNeeded) {
    return first <= firstNeeded && int64_t{first} + count >= int64_t{firstNeeded} + countNeeded;
  };
  if (holds(given.x, given.cx, needed.x, needed.cx) && holds(given.y, given.cy, needed.y, needed.cy)) return true;
  return Refuse(PyExc_ValueError, "part: %dx%d pixels at %d,%d given, expected at least what is needed, %dx%d at %d,%d",
                given.cx, given.cy, given.x, given.y, needed.cx, needed.cy, needed.x, needed.y);
}

bool FindTarget(State const& state, Job& job, PyObject* out) {
  int const height = job.out.cy, width = job.out.cx, channels = job.pixels.bytesOut;
  if (out == Py_None) {
    job.result = NewArray(state, height, width, channels,
                          channels == 1 && (job.image.Dimensions() == 2 || job.pixels.bytesIn > 1));
    return job.result && job.target.Hold(job.result.get(), "out", true);
  }
  if (!job.target.Hold(out, "out", true)) return false;
  Array const& target = job.target;
  if (target.Height() != height || target.Width() != width || target.Channels() != channels) {
    Object const described = target.Described();
    return described && Refuse(PyExc_ValueError, "out: %U given, expected uint8 of shape (%d, %d, %d)%s",
                               described.get(), height, width, channels, channels == 1 ? ", or without the 1" : "");
  }
  if (!target.LiesInLines()) {
    Object const described = target.Described();
    return described && Refuse(PyExc_ValueError,
                               "out: %U with strides of its own given, expected the bytes of each line without gaps",
                               described.get());
  }
  job.result = Share(out);
  return RefuseOverlap(job, job.image);
}

bool RefuseOverlap(Job const& job, Array const& image) {
  if (!job.target.Overlaps(image)) return true;
  Object const described = job.target.Described();
  return described && Refuse(PyExc_ValueError, "out: %U whose extent overlaps the image's given, expected them apart",
                             described.get());
}

namespace {

// A part of a job that a thread does at a time.
struct Band {
  Job const* job;
  Memory const* copy;
  fourtap_picture* picture;
  int first, count;  // lines
  fourtap_status status;
  char sentence[256];  // may be of another thread's

  void Scale() {
    Array const &image = job->image, &target = job->target;
    int const bytesIn = job->pixels.bytesIn, bytesOut = job->pixels.bytesOut;
    fourtap_rect const &given = job->given, &needed = job->needed;
    ptrdiff_t const lineBytes = ptrdiff_t{needed.cx} * bytesIn;
    Lines<unsigned char const> from{copy->get(), lineBytes, lineBytes};
    if (!*copy) {
      from.stride = image.Stride();
      from.top = image.Top() + (needed.y - given.y) * from.stride + ptrdiff_t{needed.x - given.x} * bytesIn;
    }
    Lines<unsigned char> const to{target.Top(), target.Stride(), ptrdiff_t{job->out.cx} * bytesOut};
    fourtap_rect const out{job->out.x, job->out.y + first, job->out.cx, count};
    status = fourtap_picture_scale(picture, from.From<fourtap_source>(0, needed.cy), &needed,
                                   to.From<fourtap_target>(first, count), &out);
    if (status != FOURTAP_OK) std::snprintf(sentence, sizeof sentence, "%s", fourtap_error());
  }
};

// How many bytes a thread is to read and write at least, for waking it to pay: two threads were as fast as one at 1.3
// million bytes, and 1.6 times as fast at 5 million.
constexpr int64_t bytesPerThread = 1 << 20;

int64_t BytesOf(Job const& job) {
  return int64_t{job.needed.cx} * job.needed.cy * job.pixels.bytesIn +
         int64_t{job.out.cx} * job.out.cy * job.pixels.bytesOut;
}

// Of those that are wanted, 0 meaning one for each processor. More than there are processors, and than a few, would
// cost memory and nothing else.
int ThreadsThatPay(int64_t bytes, int wanted) {
  int64_t const paying = bytes / bytesPerThread;
  if (wanted == 1 || paying <= 1) return 1;
  int const processors = Processors();
  int const most = wanted == 0 ? processors : std::min(wanted, std::max(processors, 8));
  return static_cast<int>(std::min<int64_t>(paying, most));
}

}  // namespace

bool Scale(Shelf& shelf, Job* const* jobs, int count, int threads) {
  int64_t bytes = 0;
  for (int i = 0; i < count; ++i) bytes += BytesOf(*jobs[i]);
  threads = ThreadsThatPay(bytes, threads);
  std::vector<Band> bands;
  std::vector<Memory> copies(static_cast<size_t>(count));
  std::vector<std::unique_ptr<Borrowed>> borrowed;
  for (int i = 0; i < count; ++i) {
    Job const& job = *jobs[i];
    int const most = std::min(ThreadsThatPay(BytesOf(job), threads), job.out.cy);
    borrowed.push_back(std::make_unique<Borrowed>(shelf, job.request));
    Borrowed& pictures = *borrowed.back();
    while (pictures.Count() < most) {
      fourtap_status const status = pictures.Add();
      if (status == FOURTAP_MEMORY && pictures.Count() > 0) break;
      if (!Succeeded(status)) return false;
    }
    int const n = pictures.Count();
    for (int b = 0; b < n; ++b) {
      int const first = static_cast<int>(int64_t{job.out.cy} * b / n);
      int const end = static_cast<int>(int64_t{job.out.cy} * (b + 1) / n);
      bands.push_back({&job, &copies[static_cast<size_t>(i)], pictures[b], first, end - first, FOURTAP_OK, ""});
    }
  }
  bool copied = true;
  {
    WithoutInterpreter const others;
    for (int i = 0; copied && i < count; ++i) {
      Job const& job = *jobs[i];
      if (job.image.LiesInLines()) continue;
      fourtap_rect const &needed = job.needed, &given = job.given;
      Memory& copy = copies[static_cast<size_t>(i)];
      copy = job.image.Copied({needed.x - given.x, needed.y - given.y, needed.cx, needed.cy});
      copied = copy != nullptr;
    }
    if (copied) {
      DoShares(static_cast<int>(bands.size()), threads, [&bands](int i) { bands[static_cast<size_t>(i)].Scale(); });
    }
  }
  if (!copied) {
    PyErr_NoMemory();
    return false;
  }
  for (Band const& band : bands) {
    if (band.status != FOURTAP_OK) return RefuseAs(band.status, band.sentence);
  }
  return true;
}

}  // namespace binding
