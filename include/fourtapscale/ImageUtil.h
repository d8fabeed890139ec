// Uncompressed bitmap files, and 24-bit pictures as three planes: what a host needs around a scaler. All functions are
// reentrant. They trust their arguments and the file: check a file that others made before it is read.
#pragma once

#include <fourtapscale/FourTapExport.h>

// Reads an uncompressed BMP file, in two calls: one with a null `buffer` for the geometry, then one that fills it.
//   cx, cy        out: width in pixels and height in lines, as the file has them (a negative height, that is a file
//                 stored top line first, is reported but its lines are not read)
//   stride        out: bytes from line to line in `buffer`, the line's bytes rounded up to a multiple of 4
//   bitsPerPixel  out
//   buffer        null, or room for stride * cy bytes; gets the raw line bytes, the picture's top line first
// Returns 0 when the file can't be opened or either header is cut short, the out arguments then unchanged; else 1. The
// type, the compression, colour tables and masks are not looked at, and missing pixel bytes are not reported: what the
// file does not hold stays as it was in `buffer`.
FOURTAP_API int ReadBitmapFile(char const* fileName, int& cx, int& cy, int& stride, int& bitsPerPixel,
                               unsigned char* buffer);

// Writes an uncompressed BMP file, bottom line first, replacing an existing one; 16 bits per pixel are stored as 5-6-5
// with masks, and no colour table is written at any depth.
//   stride  bytes from line to line in `buffer`; positive
//   buffer  read, top line first. Of each line, (cx * bitsPerPixel + 31) / 32 * 4 bytes go into the file, padding
//           included, so the last line needs that many too
// Returns 0 when the file can't be opened, else 1. Write errors are not reported: compare the file's length.
FOURTAP_API int WriteBitmapFile(char const* fileName, int cx, int cy, int stride, int bitsPerPixel,
                                unsigned char* buffer);

// Splits 24-bit pixels into three planes (GetPlanes), or merges three planes into 24-bit pixels (SetPlanes): plane k
// holds byte k of every pixel. Does nothing unless `bitsPerPixel` is 24, or when a size is not positive. Strides are in
// bytes and may be negative; bytes past the pixels of a line are neither read nor written.
FOURTAP_API void GetPlanes(unsigned char* pixels, int cx, int cy, int stride, int bitsPerPixel, unsigned char* plane0,
                           unsigned char* plane1, unsigned char* plane2, int planeStride);
FOURTAP_API void SetPlanes(unsigned char* pixels, int cx, int cy, int stride, int bitsPerPixel, unsigned char* plane0,
                           unsigned char* plane1, unsigned char* plane2, int planeStride);
