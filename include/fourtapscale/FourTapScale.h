// FourTapScale: resizes 8-bit images with a separable four-tap filter.
//
// The bytes of output pixel (x, y) depend on the picture and the sizes alone: not on the instruction set, nor on the
// rectangle, slicing, stride, alignment or thread they were asked with.
//
// Calling order:
//   1. FourTapFrameScalerFor(layout, FourTapSetWidest), and FourTapSliceScalerFor for progressive frames: the layout's
//      fastest scalers on this processor. Or InitFourTapScaleBest(FourTapSetWidest) once for the whole process, and
//      then the layout's pointers below.
//   2. InitScaleContext(...) once for each pair of sizes and pixel size.
//   3. For each frame, with that scaler: either whole-frame calls, each for a rectangle of the output, in any order and
//      number; or FourTapScaleProgressiveReset, then progressive calls until all lines are handed in.
//   4. DoneScaleContext(...).
//
// Pixels: FourTapScale knows seven layouts. Sizes and positions (cx, cy, x, y) count pixels and lines, strides count
// bytes.
//   Plane   1 byte                                                        bitsPerPixel  8
//   RGB24   3 bytes, three channels in any order                          bitsPerPixel 24
//   RGB32   4 bytes, three channels in any order and a fourth byte        bitsPerPixel 32
//   XYXY    4 bytes a pair: chroma, luma, other chroma, luma              bitsPerPixel 16
//   YXYX    4 bytes a pair: luma, chroma, luma, other chroma              bitsPerPixel 16
//   UV16    2 bytes, two channels                                         bitsPerPixel 16
//   RGBA32  4 bytes, four channels in any order                           bitsPerPixel 32
// RGB32's fourth byte is no alpha: it comes out as 0, except that a call that changes the height alone filters it like
// the others. RGBA32 filters all four alike, UV16 both: no channel knows of another. So where one of them is alpha,
// hosts whose colours are not multiplied by it do that before and undo it afterwards; else what is transparent shines
// through. XYXY and YXYX are packed 4:2:2: two pixels share their chroma, and cxIn, cxOut, xDest and cxDest must be
// even (an assertion ends the program otherwise, in every build type), unless the height alone changes.
//
// Memory: no alignment and no padding is needed anywhere. Nothing is read outside the picture (lines of cxIn pixels)
// and nothing is written outside the rectangle asked for. Strides may be negative: pass the top line's address. Source
// and destination must not overlap.
//
// Threads: a context serves one call at a time. Different contexts may be used in different threads at once, also on
// the same picture. No call allocates, but for InitScaleContext. All functions without a context are safe in threads,
// except those that set the pointers.
//
// Contexts: one serves all layouts of its pixel size and all instruction sets, one frame after the other. A progressive
// frame stays with the layout and the set that it began with.
//
// What to expect of the picture: the filter smooths slightly, at equal sizes too (there with taps 14, 36, 14 of 64,
// horizontally). Four taps see four source pixels whatever the ratio, so reductions beyond about 2:1 alias; reduce in
// steps of at most 2:1 where that matters.
//
// Limits: sizes of at least 1. The scalers trust their arguments.
#pragma once

#include <fourtapscale/FourTapExport.h>
#include <fourtapscale/FourTapVersion.h>

// The version of the library that is linked, counted like FOURTAP_VERSION.
FOURTAP_API int FourTapScaleVersion();

// What a scaler needs for one pair of sizes: tables, scratch lines, and the progress of a progressive frame.
struct _SCALE_CONTEXT;

// Scales a rectangle of the output, or the whole frame with (0, 0, cxOut, cyOut).
//   src        source pixel (0, 0), whatever the rectangle; cyIn lines of cxIn pixels, not written (see
//              FourTapScaleSourceOrigin for parts)
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
// While both sizes change, lines are written in blocks of 8 (SSE2, the plain set) or 4 (MMX), or as soon as they can
// be (AVX2, AVX-512, NEON, SIMD128); the call that hands in the last source line writes all that remain.
// FourTapScaleMostLinesWritten tells how many a call may write. A complete frame takes further calls and writes
// nothing; FourTapScaleProgressiveReset starts the next one. Keep to one instruction set within a frame: their blocks
// differ.
typedef void FourTapSliceScaler(_SCALE_CONTEXT*, unsigned char const* src, int srcStride, int cySlice,
                                unsigned char* dst, int dstStride, int& cyWritten);

// Layouts by number, for the functions below. A number keeps its meaning for good; more layouts may follow.
enum FourTapLayout {
  FourTapLayoutPlane = 0,
  FourTapLayoutRGB24 = 1,
  FourTapLayoutRGB32 = 2,
  FourTapLayoutXYXY = 3,
  FourTapLayoutYXYX = 4,
  FourTapLayoutUV16 = 5,
  FourTapLayoutRGBA32 = 6,
};

// Instruction sets. A number keeps its meaning for good on all processors, and tells nothing of a set's rank; more sets
// may follow. MMX is never chosen and has none.
enum FourTapSet {
  FourTapSetNone = 0,
  FourTapSetSSE2 = 1,
  FourTapSetAVX2 = 2,
  FourTapSetAVX512 = 3,           // F, BW, VL, VBMI and VNNI
  FourTapSetPlain = 4,            // on every processor, narrower than all others
  FourTapSetNEON = 5,             // with the dot products of bytes where they are
  FourTapSetSIMD128 = 6,          // of WebAssembly
  FourTapSetWidest = 0x7fffffff,  // the widest that library and processor have, whatever comes
};

// The scalers of a layout (FourTapLayout), of the widest set that the processor and the system support and that is not
// wider than `widest` (FourTapSet). A positive number that is no set of this kind of processor counts as
// FourTapSetWidest. Null where there is none: for a number that is no layout, for FourTapSetNone, and where
// cpuid_detect_accel answers 0. They set nothing and depend on nothing that others set, so that users of the library in
// one process never meet; what they return is the same at each call, and never to be released.
FOURTAP_API FourTapFrameScaler* FourTapFrameScalerFor(int layout, int widest);
FOURTAP_API FourTapSliceScaler* FourTapSliceScalerFor(int layout, int widest);

// The set that these are of, or FourTapSetNone.
FOURTAP_API int FourTapSetFor(int widest);

extern "C" {
// The scalers to use in this process, null until InitFourTapScaleBest or InitFourTapScale has set them.
extern FOURTAP_API FourTapFrameScaler* FourTapScalePlane;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleRGB24;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleRGB32;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleYXYX;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleXYXY;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleUV16;
extern FOURTAP_API FourTapFrameScaler* FourTapScaleRGBA32;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressivePlane;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveRGB24;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveRGB32;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveYXYX;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveXYXY;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveUV16;
extern FOURTAP_API FourTapSliceScaler* FourTapScaleProgressiveRGBA32;

// Answers whether scalers may run: not 0 if so. What chooses scalers asks it, each time. The definition in the library
// tells on x86-64 whether SSE2 is there, elsewhere 1; it is weak, so that a host's own takes its place.
FOURTAP_API int cpuid_detect_accel(void);
}

// Points the pointers above at the scalers of the set that FourTapSetFor(widest) tells, and returns that set; for
// FourTapSetNone it leaves them alone. They are written without synchronisation: call it before other threads read
// them.
FOURTAP_API int InitFourTapScaleBest(int widest);

// The same for the set that every processor of the kind has, which is SSE2 on x86-64, NEON on aarch64, SIMD128 on
// WebAssembly built with it, and elsewhere the plain one: returns 1; or, where cpuid_detect_accel answers 0, leaves the
// pointers alone and returns 0.
FOURTAP_API int InitFourTapScale();

// Makes a context for pictures of cxIn x cyIn pixels to be scaled to cxOut x cyOut.
//   bitsPerPixel  of the layout, see above; sizes the buffers
// Returns null when memory can't be had, or the sizes are beyond what a scaler can count (a line of 2 GiB). The caller
// owns the context.
FOURTAP_API _SCALE_CONTEXT* InitScaleContext(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel);

// Releases a context; null is fine.
FOURTAP_API void DoneScaleContext(_SCALE_CONTEXT*);

// For hosts that hold only a part of the source: from now on whole-frame calls are handed `src` as the address of
// source pixel (x, y) instead of (0, 0). Of the source they read what FourTapScaleSourceNeeded tells for their
// rectangle, and nothing else has to be there; the bytes are the whole picture's. Packed layouts: x is even. A negative
// number means the whole picture again, as at first. Progressive calls know no origin.
// The MMX and SSE2 scalers fill the context's table of source lines at each whole-frame call: with those of the whole
// picture; with an origin, with those that the rectangle needs and, in place of all others, the nearest of them. So ask
// for many lines at a time where pictures are tall and narrow.
FOURTAP_API void FourTapScaleSourceOrigin(_SCALE_CONTEXT*, int x, int y);

// Starts a new progressive frame, whatever became of the one before. A new context needs no reset.
FOURTAP_API void FourTapScaleProgressiveReset(_SCALE_CONTEXT*);

// Bytes that a context of these sizes takes, or -1 where InitScaleContext refuses them.
FOURTAP_API long long FourTapScaleContextBytes(int cxIn, int cyIn, int cxOut, int cyOut, int bitsPerPixel);

// Which source lines output line `line`, 0 to cyOut - 1, is made of, for heights of at least 1: those from
// FourTapScaleFirstLineNeeded on that lie before FourTapScaleLinesNeeded. A progressive frame must have been handed so
// many lines before it can be written: AVX2, AVX-512, NEON and SIMD128 write it by that call; the others when its block
// is full.
FOURTAP_API int FourTapScaleFirstLineNeeded(int cyIn, int cyOut, int line);
FOURTAP_API int FourTapScaleLinesNeeded(int cyIn, int cyOut, int line);

// The rectangle of the source, in pixels and lines, that a rectangle of the output is made of, from the sizes alone.
// All of it lies inside the source; packed layouts in whole pairs. Empty for an empty rectangle, and for an unknown
// layout.
//   layout  FourTapLayout
FOURTAP_API void FourTapScaleSourceNeeded(int layout, int cxIn, int cyIn, int cxOut, int cyOut, int xDest, int yDest,
                                          int cxDest, int cyDest, int& xSrc, int& ySrc, int& cxSrc, int& cySrc);

// A number of output lines that no progressive call with cySlice source lines exceeds, whatever the set and whatever
// was handed in before; 0 for an empty slice. Room for so many lines at `dst` is enough.
FOURTAP_API int FourTapScaleMostLinesWritten(int cyIn, int cyOut, int cySlice);

// The scalers by name, as far as the kind of processor has the set. All instruction sets give the same bytes. MMX is
// never chosen by itself, and is there for hosts that want it and for comparison. AVX2 and AVX-512 need a processor
// that has them.
FOURTAP_API FourTapFrameScaler FourTapScalePlane_c, FourTapScaleRGB24_c, FourTapScaleRGB32_c, FourTapScaleXYXY_c,
    FourTapScaleYXYX_c, FourTapScaleUV16_c, FourTapScaleRGBA32_c;
FOURTAP_API FourTapSliceScaler FourTapScalePlaneProgressive_c, FourTapScaleRGB24Progressive_c,
    FourTapScaleRGB32Progressive_c, FourTapScaleXYXYProgressive_c, FourTapScaleYXYXProgressive_c,
    FourTapScaleUV16Progressive_c, FourTapScaleRGBA32Progressive_c;
#if defined(__x86_64__)
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
FOURTAP_API FourTapFrameScaler FourTapScaleUV16_sse2, FourTapScaleUV16_mmx, FourTapScaleUV16_avx2,
    FourTapScaleUV16_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleUV16Progressive_sse2, FourTapScaleUV16Progressive_mmx,
    FourTapScaleUV16Progressive_avx2, FourTapScaleUV16Progressive_avx512;
FOURTAP_API FourTapFrameScaler FourTapScaleRGBA32_sse2, FourTapScaleRGBA32_mmx, FourTapScaleRGBA32_avx2,
    FourTapScaleRGBA32_avx512;
FOURTAP_API FourTapSliceScaler FourTapScaleRGBA32Progressive_sse2, FourTapScaleRGBA32Progressive_mmx,
    FourTapScaleRGBA32Progressive_avx2, FourTapScaleRGBA32Progressive_avx512;
#elif defined(__aarch64__)
FOURTAP_API FourTapFrameScaler FourTapScalePlane_neon, FourTapScaleRGB24_neon, FourTapScaleRGB32_neon,
    FourTapScaleXYXY_neon, FourTapScaleYXYX_neon, FourTapScaleUV16_neon, FourTapScaleRGBA32_neon;
FOURTAP_API FourTapSliceScaler FourTapScalePlaneProgressive_neon, FourTapScaleRGB24Progressive_neon,
    FourTapScaleRGB32Progressive_neon, FourTapScaleXYXYProgressive_neon, FourTapScaleYXYXProgressive_neon,
    FourTapScaleUV16Progressive_neon, FourTapScaleRGBA32Progressive_neon;
#elif defined(__wasm_simd128__)
FOURTAP_API FourTapFrameScaler FourTapScalePlane_simd128, FourTapScaleRGB24_simd128, FourTapScaleRGB32_simd128,
    FourTapScaleXYXY_simd128, FourTapScaleYXYX_simd128, FourTapScaleUV16_simd128, FourTapScaleRGBA32_simd128;
FOURTAP_API FourTapSliceScaler FourTapScalePlaneProgressive_simd128, FourTapScaleRGB24Progressive_simd128,
    FourTapScaleRGB32Progressive_simd128, FourTapScaleXYXYProgressive_simd128, FourTapScaleYXYXProgressive_simd128,
    FourTapScaleUV16Progressive_simd128, FourTapScaleRGBA32Progressive_simd128;
#endif
