// The exported scalers of a layout: what they all are, but for name and record.
#pragma once

#include "scheme/Scaler.h"

// Defines FourTapScale<layout>_<set> and FourTapScale<layout>Progressive_<set>. A macro, since only names differ.
#define FOURTAP_DEFINE_SCALERS(layout, set, scaler)                                                                    \
  void FourTapScale##layout##_##set(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride,                  \
                                    unsigned char* dst, int dstStride, int xDest, int yDest, int cxDest, int cyDest) { \
    fourtap::ScaleFrame(scaler, *context, src, srcStride, dst, dstStride, xDest, yDest, cxDest, cyDest);               \
  }                                                                                                                    \
  void FourTapScale##layout##Progressive_##set(_SCALE_CONTEXT* context, unsigned char const* src, int srcStride,       \
                                               int cySlice, unsigned char* dst, int dstStride, int& cyWritten) {       \
    fourtap::ScaleSlice(scaler, *context, src, srcStride, cySlice, dst, dstStride, cyWritten);                         \
  }
