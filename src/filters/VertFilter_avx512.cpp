// The vertical filter, 64 bytes at a time. All bytes go through vector lanes, whatever their number.
#include <fourtapscale/FourTapFilters.h>

#include "filters/Avx512Bytes.h"
#include "filters/VertFilterBytes.h"

void fourtap::FilterLinesVertically_avx512(VertTaps const* taps, int lineCount, int firstByte, int count,
                                           unsigned char* const* dst) {
  FilterRuns<Avx512>(taps, lineCount, firstByte, count, dst);
}

void FourTapVertFilter_avx512(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                              unsigned char const* line2, unsigned char const* line3, int count, short* coefs) {
  FilterLine<Avx512>(dst, {line0, line1, line2, line3}, count, coefs);
}
