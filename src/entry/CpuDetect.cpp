#include <cpuid.h>
#include <fourtapscale/FourTapScale.h>

extern "C" __attribute__((weak)) int cpuid_detect_accel(void) {
  unsigned eax, ebx, ecx, edx;
  return __get_cpuid(1, &eax, &ebx, &ecx, &edx) && (edx & bit_SSE2);
}
