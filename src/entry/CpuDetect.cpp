#include <fourtapscale/FourTapScale.h>

#if defined(__x86_64__)
// As the compiler's library has read it once: in virtual machines each question to the processor takes microseconds.
extern "C" __attribute__((weak)) int cpuid_detect_accel(void) {
  __builtin_cpu_init();
  return __builtin_cpu_supports("sse2") != 0;
}
#else
extern "C" __attribute__((weak)) int cpuid_detect_accel(void) { return 1; }
#endif
