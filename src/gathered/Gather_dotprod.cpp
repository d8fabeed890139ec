// The horizontal pass of NEON where there are dot products of bytes.
#include "gathered/Gather_dotprod.h"

#include "filters/Neon.h"
#include "gathered/Gather16.h"

namespace {

struct NeonDot : Neon {
  static uint16x8_t SumsOfFour(Register a, Register tapsOfA, Register b, Register tapsOfB) {
    uint32x4_t const sumsOfA = vdotq_u32(vdupq_n_u32(0), a, tapsOfA);
    uint32x4_t const sumsOfB = vdotq_u32(vdupq_n_u32(0), b, tapsOfB);
    return vuzp1q_u16(vreinterpretq_u16_u32(sumsOfA), vreinterpretq_u16_u32(sumsOfB));
  }
};

}  // namespace

void fourtap::FilterInFours_dotprod(GatherPlan const& plan, GatherSegment const& segment,
                                    unsigned char const* const* lines, int lineCount, unsigned char const* comingLine,
                                    unsigned char* dst, int dstStride) {
  Filter<Kernel16<NeonDot, Order::inFours>>(plan, segment, lines, lineCount, comingLine, dst, dstStride);
}
