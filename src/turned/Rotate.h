// The rotations as the scalers use them: as the exported ones, but the MMX state is not cleared where it was not used.
#pragma once

#include <fourtapscale/FourTapFilters.h>

namespace fourtap {

// noFourth: every fourth column will not be looked at, and is left alone where that saves time.
template <bool noFourth>
void LinesToColumns_sse2(unsigned char** lines, int count, FourTapColumnOf8* columns);

// For lanes of 0 to 255, as all sums of the scalers' own taps are: nothing saturates. noFourth: every fourth column is
// 0.
template <bool noFourth>
void ByteColumnsToLines_sse2(FourTapColumnOf8 const* columns, unsigned char** lines, int count);

}  // namespace fourtap
