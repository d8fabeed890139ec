// The exported scalers of a layout: what they all are, but for name and record.
#pragma once

#include "scheme/Scaler.h"
#include "variants/Variants.h"

#include FOURTAP_SET_SCALERS

// Defines FourTapScale<layout>_<set> and FourTapScale<layout>Progressive_<set> for every set, by the record
// <layout>Layout. A macro, since only names differ.
#define FOURTAP_DEFINE_LAYOUT(layout) FOURTAP_SETS(FOURTAP_DEFINE_SCALERS, layout)
#define FOURTAP_DEFINE_SCALERS(layout, set, number, linesAtATime)                                                      \
  static_assert(fourtap::FitsLines(fourtap::scalerOf_##set<layout##Layout>));                                          \
  static_assert(fourtap::LinesAtATime(fourtap::scalerOf_##set<layout##Layout>) == (linesAtATime));                     \
  void FourTapScale##layout##_##set(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride,                  \
                                    unsigned char* dst, int dstStride, int xDest, int yDest, int cxDest, int cyDest) { \
    fourtap::ScaleFrame(fourtap::scalerOf_##set<layout##Layout>, *context, src, srcStride, dst, dstStride, xDest,      \
                        yDest, cxDest, cyDest);                                                                        \
  }                                                                                                                    \
  void FourTapScale##layout##Progressive_##set(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride,       \
                                               int cySlice, unsigned char* dst, int dstStride, int& cyWritten) {       \
    fourtap::ScaleSlice(fourtap::scalerOf_##set<layout##Layout>, *context, src, srcStride, cySlice, dst, dstStride,    \
                        cyWritten);                                                                                    \
  }
