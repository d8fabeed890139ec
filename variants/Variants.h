// The one list of what there is: layouts, instruction sets, and by both all scalers. Everything else follows from it:
// entry points, dispatch, exported names, compiler flags, conformance, tests, fuzzing, benchmark and tool.
//
// cmake/Variants.cmake reads it as well, line by line.
#pragma once

// LAYOUT(with, name, bits per pixel, pixels that share samples), in the order of FourTapLayout. `with` is handed on.
#define FOURTAP_LAYOUTS(LAYOUT, with) \
  LAYOUT(with, Plane, 8, 1)           \
  LAYOUT(with, RGB24, 24, 1)          \
  LAYOUT(with, RGB32, 32, 1)          \
  LAYOUT(with, XYXY, 16, 2)           \
  LAYOUT(with, YXYX, 16, 2)           \
  LAYOUT(with, UV16, 16, 1)           \
  LAYOUT(with, RGBA32, 32, 1)

// SET(with, name, FourTapSet, lines that a progressive scaler writes at a time while both sizes change), narrowest
// first. A set that is FourTapSetNone is never chosen, and runs wherever it is asked for by name.
#define FOURTAP_SETS(SET, with)      \
  SET(with, mmx, FourTapSetNone, 4)  \
  SET(with, sse2, FourTapSetSSE2, 8) \
  SET(with, avx2, FourTapSetAVX2, 1) \
  SET(with, avx512, FourTapSetAVX512, 1)

// What a set asks of the processor beyond every x86-64: the compilers' names, for flags and for detection.
#define FOURTAP_FEATURES_mmx(FEATURE)
#define FOURTAP_FEATURES_sse2(FEATURE)
#define FOURTAP_FEATURES_avx2(FEATURE) FEATURE(avx2)
#define FOURTAP_FEATURES_avx512(FEATURE) \
  FEATURE(avx512f) FEATURE(avx512bw) FEATURE(avx512vl) FEATURE(avx512vbmi) FEATURE(avx512vnni)

// Whether processor and system have all of them, by the compiler's run-time library.
#define FOURTAP_PROCESSOR_HAS(set) (__builtin_cpu_init(), true FOURTAP_FEATURES_##set(FOURTAP_AND_SUPPORTS))
#define FOURTAP_AND_SUPPORTS(feature) &&__builtin_cpu_supports(#feature)
