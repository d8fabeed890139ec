// FourTapScale: resizes 8-bit images with a separable four-tap filter.
//
// The bytes of output pixel (x, y) depend on the picture and the sizes alone: not on the instruction set, nor on the
// rectangle, slicing, stride, alignment or thread they were asked with.
//
// Calling order:
//   1. InitFourTapScale() once, before any of the pointers below is read.
//   2. InitScaleContext(...) once for each pair of sizes and pixel size.
//   3. For each frame, through the layout's pointer: either whole-frame calls, each for a rectangle of the output, in
//      any number and order; or FourTapScaleProgressiveReset, then progressive calls until all lines are handed in.
//   4. DoneScaleContext(...).
//
// Pixels: FourTapScale knows five layouts. Sizes and positions (cx, cy, x, y) count pixels and lines, strides count
// bytes.
//   Plane   1 byte                                                        bitsPerPixel  8
//   RGB24   3 bytes, three channels in any order                          bitsPerPixel 24
//   RGB32   4 bytes, three channels in any order and a fourth byte        bitsPerPixel 32
//   XYXY    4 bytes a pair: chroma, luma, other chroma, luma              bitsPerPixel 16
//   YXYX    4 bytes a pair: luma, chroma, luma, other chroma              bitsPerPixel 16
// RGB32's fourth byte is no alpha: it comes out as 0, except that a call that changes the height alone filters it like
// the others. XYXY and YXYX are packed 4:2:2: two pixels share their chroma, and cxIn, cxOut, xDest and cxDest must be
// even (an assertion ends the program otherwise, in every build type), unless the height alone changes.
//
// Memory: no alignment and no padding is needed anywhere. Nothing is read outside the picture (lines of cxIn pixels)
// and nothing is written outside the rectangle asked for. Strides may be negative: pass the top line's address. Source
// and destination must not overlap.
//
// Threads: a context serves one call at a time. Different contexts may be used in different threads at once, also on
// the same picture. No call allocates, but for InitScaleContext.
//
// What to expect of the picture: the filter smooths slightly, at equal sizes too (there with taps 14, 36, 14 of 64,
// horizontally). Four taps see four source pixels whatever the ratio, so reductions beyond about 2:1 alias; reduce in
// steps of at most 2:1 where that matters.
//
// Limits: sizes of at least 1. The scalers trust their arguments.
#pragma once

#include <fourtapscale/FourTapExport.h>

// What a scaler needs for one pair of sizes: tables, scratch lines, and the progress of a progressive frame.
struct _SCALE_CONTEXT;  // NOLINT(bugprone-reserved-identifier)

// Scales a rectangle of the output, or the whole frame with (0, 0, cxOut, cyOut).
//   src        source pixel (0, 0), whatever the rectangle; cyIn lines of cxIn pixels, not written
//   srcStride  bytes from one source line to the next
//   dst        where output pixel (xDest, yDest) goes; cyDest lines of cxDest pixels are written
//   dstStride  bytes from one destination line to the next
//   xDest ...  the rectangle in output pixels, inside the output; nothing happens when it is empty
// Leaves the progress of a progressive frame alone, but overwrites its lines in waiting: finish the one before the
// other.
typedef void FourTapFrameScaler(_SCALE_CONTEXT*, unsigned char const* src, int srcStride, unsigned char* dst,
                                int dstStride, int xDest, int yDest, int cxDest, int cyDest);

// Takes the next lines of a frame and writes the output lines that they allow.
//   src        the next cySlice source lines, cxIn pixels each; not read again after the call
//   srcStride  bytes from one line of the slice to the next
//   cySlice    0 or more lines; lines beyond cyIn are ignored
//   dst        where the next unwritten output line goes: advance it by cyWritten * dstStride after each call
//   dstStride  bytes from one destination line to the next
//   cyWritten  out: output lines written by this call
// While both sizes change, lines are written in blocks of 8 (SSE2) or 4 (MMX); the call that hands in the last source
// line writes all that remain. A complete frame takes further calls and writes nothing; FourTapScaleProgressiveReset
// starts the next one. Keep to one instruction set within a frame: their blocks differ.
typedef void FourTapSliceScaler(_SCALE_CONTEXT*, unsigned char const* src, int srcStride, int cySlice,
                                unsigned char* dst, int dstStride, int& cyWritten);

extern "C" {
// The scalers to use on this processor, null until InitFourTapScale has set them.
extern FOURTAP_API FourTapFrameScaler* FourTapScalePlane;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleRGB24;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleRGB32;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleYXYX;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleXYXY;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressivePlane;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveRGB24;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveRGB32;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveYXYX;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveXYXY;

// Answers whether the SSE2 scalers may run: not 0 if so. InitFourTapScale asks it. The definition in the library is
// weak, so that a host's own takes its place.
FOURTAP_API int cpuid_detect_accel(void);
}

// Points the pointers above at the SSE2 scalers and returns 1; or, where cpuid_detect_accel answers 0, leaves them
// alone and returns 0. The pointers are written without synchronisation: call it before other threads read them.
FOURTAP_API int InitFourTapScale();

// Makes a context for pictures of cxIn x cyIn pixels to be scaled to cxOut x cyOut.
//   bitsPerPixel  of the layout, see above; sizes the buffers
// Returns null when memory can't be had, or the sizes are beyond what a scaler can count (a line of 2 GiB). The caller
// owns the context. Any variant of its layout may use it, frame by frame.
FOURTAP_API _SCALE_CONTEXT* InitScaleContext(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel);

// Releases a context; null is fine.
FOURTAP_API void DoneScaleContext(_SCALE_CONTEXT*);

// Starts a new progressive frame, whatever became of the one before. A new context needs no reset.
FOURTAP_API void FourTapScaleProgressiveReset(_SCALE_CONTEXT*);

// Instruction sets that InitFourTapScaleBest chooses from, narrowest first.
enum FourTapSet {
  FourTapSetNone,
  FourTapSetSSE2,
  FourTapSetAVX2,
  FourTapSetAVX512,  // F, BW, VL, VBMI and VNNI
};

// Points the pointers above at the scalers of the widest set that the processor and the system support and that is not
// wider than `widest`, and returns that set. Asks cpuid_detect_accel first: at 0, as for FourTapSetNone, it leaves the
// pointers alone and returns FourTapSetNone. All sets give the same bytes. AVX2 and AVX-512 hold no line back: a
// progressive call writes all that its input allows.
FOURTAP_API int InitFourTapScaleBest(int widest);

// Bytes that a context of these sizes takes, or -1 where InitScaleContext refuses them.
FOURTAP_API long long FourTapScaleContextBytes(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel);

// How many input lines a progressive frame must have been handed before output line `line`, 0 to cyOut - 1, can be
// written. AVX2 and AVX-512 write it by that call; SSE2 and MMX when its block of lines is full.
FOURTAP_API int FourTapScaleLinesNeeded(int cyIn, int cyOut, int line);

// The scalers by name. All instruction sets give the same bytes; MMX is never chosen by itself, and is there for hosts
// that want it and for comparison. AVX2 and AVX-512 need a processor that has them.
FOURTAP_API FourTapFrameScaler FourTapScalePlane_sse2, FourTapScalePlane_mmx, FourTapScalePlane_avx2,
    FourTapScalePlane_avx512;
FOURTAP_API FourTapFrameScaler FourTapScaleRGB24_sse2, FourTapScaleRGB24_mmx, FourTapScaleRGB24_avx2,
    FourTapScaleRGB24_avx512;
FOURTAP_API FourTapFrameScaler FourTapScaleRGB32_sse2, FourTapScaleRGB32_mmx, FourTapScaleRGB32_avx2,
    FourTapScaleRGB32_avx512;
FOURTAP_API FourTapFrameScaler FourTapScaleXYXY_sse2, FourTapScaleXYXY_mmx, FourTapScaleXYXY_avx2,
    FourTapScaleXYXY_avx512;
FOURTAP_API FourTapFrameScaler FourTapScaleYXYX_sse2, FourTapScaleYXYX_mmx, FourTapScaleYXYX_avx2,
    FourTapScaleYXYX_avx512;
FOURTAP_API FourTapSliceScaler FourTapScalePlaneProgressive_sse2, FourTapScalePlaneProgressive_mmx,
    FourTapScalePlaneProgressive_avx2, FourTapScalePlaneProgressive_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleRGB24Progressive_sse2, FourTapScaleRGB24Progressive_mmx,
    FourTapScaleRGB24Progressive_avx2, FourTapScaleRGB24Progressive_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleRGB32Progressive_sse2, FourTapScaleRGB32Progressive_mmx,
    FourTapScaleRGB32Progressive_avx2, FourTapScaleRGB32Progressive_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleXYXYProgressive_sse2, FourTapScaleXYXYProgressive_mmx,
    FourTapScaleXYXYProgressive_avx2, FourTapScaleXYXYProgressive_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleYXYXProgressive_sse2, FourTapScaleYXYXProgressive_mmx,
    FourTapScaleYXYXProgressive_avx2, FourTapScaleYXYXProgressive_avx512;
