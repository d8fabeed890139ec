#include <fourtapscale/FourTapScale.h>

#if defined(__x86_64__)
#include <cpuid.h>

extern "C" __attribute__((weak)) int cpuid_detect_accel(void) {
  unsigned eax, ebx, ecx, edx;
  return __get_cpuid(1, &eax, &ebx, &ecx, &edx) && (edx & bit_SSE2);
}
#else
extern "C" __attribute__((weak)) int cpuid_detect_accel(void) { return 1; }
#endif
