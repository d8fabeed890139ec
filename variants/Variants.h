// The one list of what there is: layouts, instruction sets, and by both all scalers. Everything else follows from it:
// entry points, dispatch, exported names, compiler flags, conformance, tests, fuzzing, benchmark and tool.
//
// cmake/Variants.cmake reads it as well, and the processor's part, line by line.
#pragma once

// The processor's part, out of the folder that the build chose:
//
//   FOURTAP_SETS(SET, with)   rows SET(with, name, FourTapSet, lines that a progressive scaler writes at a time while
//                             both sizes change), narrowest first. A set that is FourTapSetNone is never chosen, and
//                             runs wherever it is asked for by name
//   FOURTAP_GATHERING_SETS    rows SET(with, name): those of them that gather
//   FOURTAP_REDUCING_SETS     rows SET(with, name, FourTapSet): those with kernels for reductions; the plain one first
//   FOURTAP_BASE_SET          the FourTapSet that every processor of the kind runs
//   FOURTAP_FEATURES_<set>    what a set asks beyond that: the compilers' names, for flags and for detection
//   FOURTAP_FLAGS_<set>       its compiler flags, where they are not -m<name>
//   FOURTAP_PROCESSOR_HAS     (set): whether processor and system have all of them
//   FOURTAP_SET_SCALERS       the header with scalerOf_<set>
#include "ProcessorSets.h"

// LAYOUT(with, name, bits per pixel, pixels that share samples), in the order of FourTapLayout. `with` is handed on.
#define FOURTAP_LAYOUTS(LAYOUT, with) \
  LAYOUT(with, Plane, 8, 1)           \
  LAYOUT(with, RGB24, 24, 1)          \
  LAYOUT(with, RGB32, 32, 1)          \
  LAYOUT(with, XYXY, 16, 2)           \
  LAYOUT(with, YXYX, 16, 2)           \
  LAYOUT(with, UV16, 16, 1)           \
  LAYOUT(with, RGBA32, 32, 1)
