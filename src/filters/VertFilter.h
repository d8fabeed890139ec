// The vertical filter as the scalers use it.
#pragma once

#include <fourtapscale/FourTapFilters.h>

namespace fourtap {

// FourTapVertFilter_sse2, but the MMX state is not cleared where it was not used: that counts on short lines.
void FilterLineVertically_sse2(unsigned char* dst, unsigned char const* line0, unsigned char const* line1,
                               unsigned char const* line2, unsigned char const* line3, int count, short* coefs);

}  // namespace fourtap
