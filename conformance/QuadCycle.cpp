// The powers of x modulo f = x^4 + x^3 + x^2 + 6 over the field of 256 elements, each by its lowest coefficient. Such a
// sequence follows from any four neighbours, byte n + 4 being byte n + 3 plus byte n + 2 plus 6 times byte n. If x has
// as many different powers as there are polynomials other than 0, no four neighbours stand twice.
//
// For neighbours d bytes apart the same holds with x^d in x's place, as long as its powers up to the third are
// independent of each other; and these are unless x^d lies in the field of 65536 elements, where the distances that are
// multiples of 65537 lead.
#include "conformance/QuadCycle.h"

#include <algorithm>
#include <array>

namespace conformance {

namespace {

// Fields of 2^8 elements are all alike; this is the one modulo 0x11d.
unsigned char Twice(unsigned char a) { return static_cast<unsigned char>(a << 1 ^ (a >> 7) * 0x1d); }
unsigned char SixTimes(unsigned char a) { return Twice(a) ^ Twice(Twice(a)); }

unsigned char Product(unsigned char a, unsigned char b) {
  unsigned char product = 0;
  for (; b != 0; b = static_cast<unsigned char>(b >> 1), a = Twice(a)) {
    if (b & 1) product ^= a;
  }
  return product;
}

// Of degree 3, the lowest coefficient first.
typedef std::array<unsigned char, 4> Polynomial;

constexpr Polynomial one{1, 0, 0, 0};

Polynomial TimesX(Polynomial const& p) {
  return {SixTimes(p[3]), p[0], static_cast<unsigned char>(p[1] ^ p[3]), static_cast<unsigned char>(p[2] ^ p[3])};
}

Polynomial Product(Polynomial p, Polynomial const& q) {
  Polynomial product{};
  for (unsigned char const coefficient : q) {
    for (std::size_t i = 0; i < 4; ++i) product[i] ^= Product(p[i], coefficient);
    p = TimesX(p);
  }
  return product;
}

Polynomial PowerOfX(uint64_t exponent) {
  Polynomial power = one, square = TimesX(one);
  for (; exponent != 0; exponent >>= 1, square = Product(square, square)) {
    if (exponent & 1) power = Product(power, square);
  }
  return power;
}

}  // namespace

void ReadQuadCycle(uint64_t from, unsigned char* to, std::size_t count) {
  // What f says of neighbours, f to the power of 256 says of bytes 256 apart, since 256 is a power of 2.
  std::size_t const apart = 256;
  Polynomial power = PowerOfX(from % quadCycleBytes);
  std::size_t const single = std::min(count, 4 * apart);
  for (std::size_t i = 0; i < single; ++i, power = TimesX(power)) to[i] = power[0];
  for (std::size_t i = single; i < count; ++i) {
    to[i] = to[i - apart] ^ to[i - 2 * apart] ^ SixTimes(to[i - 4 * apart]);
  }
}

bool QuadCycleIsWhole() {
  // The number of different powers divides quadCycleBytes if that power is 1, and is no less if no largest proper
  // divisor of it leads to 1 too.
  if (PowerOfX(quadCycleBytes) != one) return false;
  static_assert(uint64_t{3} * 5 * 17 * 257 * 65537 == quadCycleBytes);
  for (uint64_t const prime : {3U, 5U, 17U, 257U, 65537U}) {
    if (PowerOfX(quadCycleBytes / prime) == one) return false;
  }
  return true;
}

}  // namespace conformance
