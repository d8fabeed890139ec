// Eight bytes between memory of any alignment and an MMX register.
#pragma once

#include <mmintrin.h>

#include <cstring>

namespace fourtap {

inline __m64 LoadBytes8(unsigned char const* from) {
  long long bytes;
  std::memcpy(&bytes, from, sizeof bytes);
  return _mm_cvtsi64_m64(bytes);
}

inline void StoreBytes8(unsigned char* to, __m64 vector) {
  long long const bytes = _mm_cvtm64_si64(vector);
  std::memcpy(to, &bytes, sizeof bytes);
}

}  // namespace fourtap
