// Building blocks of the scalers: the vertical filter of one line, and on x86-64 the turning of a block of lines into
// column vectors and back. All of them are reentrant, check nothing, and touch not one byte beyond `count`.
#pragma once

#include <fourtapscale/FourTapExport.h>

// One column of a block of lines, a 16-bit lane per line, line 0 in the lowest bits. Built on `long long` so that both
// compilers give the functions below the same exported names.
typedef long long FourTapColumnOf4 __attribute__((vector_size(8), may_alias));
typedef long long FourTapColumnOf8 __attribute__((vector_size(16), may_alias));

// Filters one line vertically: for each i below `count`,
//     dst[i] = clamp((coefs[0]*line0[i] + coefs[1]*line1[i] + coefs[2]*line2[i] + coefs[3]*line3[i]) >> 6, 0, 255)
// with an arithmetic shift and no rounding offset.
//   dst           written, `count` bytes; must not overlap a source line
//   line0..line3  read, `count` bytes each; any alignment (16-byte loads are aligned when all four agree modulo 16)
//   count         bytes, 0 or more
//   coefs         four taps; may be read even when `count` is 0
// The formula holds for every input when 255 * (sum of the positive taps) <= 32767 and 255 * (sum of the negative taps)
// >= -32768. Beyond that, bytes filtered in vector lanes wrap in 16 bits, and which bytes those are depends on `count`
// and on the alignment of the pointers (MMX, SSE2); else every byte wraps.
//
// Each is there where its set is, and the plain one everywhere. AVX2 and AVX-512 (F, BW, VL, VBMI and VNNI) need a
// processor that has them.
FOURTAP_API void FourTapVertFilter_c(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                     unsigned char const* line2, unsigned char const* line3, int count, short* coefs);
#if defined(__x86_64__)
FOURTAP_API void FourTapVertFilter_mmx(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                       unsigned char const* line2, unsigned char const* line3, int count, short* coefs);
FOURTAP_API void FourTapVertFilter_sse2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                        unsigned char const* line2, unsigned char const* line3, int count,
                                        short* coefs);
FOURTAP_API void FourTapVertFilter_avx2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                        unsigned char const* line2, unsigned char const* line3, int count,
                                        short* coefs);
FOURTAP_API void FourTapVertFilter_avx512(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                          unsigned char const* line2, unsigned char const* line3, int count,
                                          short* coefs);
#elif defined(__wasm_simd128__)
FOURTAP_API void FourTapVertFilter_simd128(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                           unsigned char const* line2, unsigned char const* line3, int count,
                                           short* coefs);
#elif defined(__aarch64__)
FOURTAP_API void FourTapVertFilter_neon(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                                        unsigned char const* line2, unsigned char const* line3, int count,
                                        short* coefs);
#endif

#if defined(__x86_64__)
// Lines to columns: lane k of columns[c] becomes byte c of lines[k], for c below `count`.
//   lines    8 (SSE2) or 4 (MMX) pointers to `count` readable bytes each, any alignment; neither table nor bytes change
//   columns  written, `count` vectors; 16-byte aligned for SSE2
FOURTAP_API void Rotate8LinesClockwise_sse2(unsigned char** lines, int count, FourTapColumnOf8* columns);
FOURTAP_API void Rotate4LinesClockwise_mmx(unsigned char** lines, int count, FourTapColumnOf4* columns);

// Columns back to lines: byte c of lines[k] becomes lane k of columns[c], read as a signed 16-bit value and saturated
// to 0..255, for c below `count`.
//   columns  read, `count` vectors; 16-byte aligned for SSE2
//   lines    8 (SSE2) or 4 (MMX) pointers to `count` writable bytes each, any alignment; the table does not change
FOURTAP_API void Rotate8LinesCounterClockwise_sse2(FourTapColumnOf8 const* columns, unsigned char** lines, int count);
FOURTAP_API void Rotate4LinesCounterClockwise_mmx(FourTapColumnOf4 const* columns, unsigned char** lines, int count);
#endif
