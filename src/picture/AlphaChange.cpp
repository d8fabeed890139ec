#include "picture/AlphaChange.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace fourtap {

namespace {

// Over 255, rounded to nearest: without dividing. Products of two bytes, and sums of such by weights that give 255.
int Over255(int product) {
  int const rounded = product + 128;
  return (rounded + (rounded >> 8)) >> 8;
}

// Pixels in vectors of the compiler's, by lanes of four bytes: one pixel of three colours, or two of gray.
typedef uint32_t Lanes __attribute__((vector_size(16)));
typedef int32_t SignedLanes __attribute__((vector_size(16)));
typedef uint16_t Words __attribute__((vector_size(16)));
typedef unsigned char Bytes __attribute__((vector_size(16)));
typedef float Floats __attribute__((vector_size(16)));

// Where a byte of memory lies in a lane.
constexpr int ShiftOf(int byte) { return 8 * (std::endian::native == std::endian::little ? byte : 3 - byte); }

// How the pixels of a lane lie: how many there are, the bytes of each, and which of them is alpha. A type, since clang
// would show a value that templates are made of to others.
template <int pixelsOf, int bytesOf, int alphaOf>
struct LaneForm {
  static constexpr int pixels = pixelsOf, bytes = bytesOf, alpha = alphaOf;

  static constexpr int AlphaShift(int pixel) { return ShiftOf(pixel * bytes + alpha); }
  static constexpr uint32_t AlphaMask() {
    uint32_t mask = 0;
    for (int p = 0; p < pixels; ++p) mask |= 255U << AlphaShift(p);
    return mask;
  }
};

template <class Form>
Lanes AlphaOf(Lanes pixels, int pixel) {
  return pixels >> Form::AlphaShift(pixel) & 255;
}

// Alpha of each byte's pixel.
template <class Form>
Lanes AlphaOfBytes(Lanes pixels) {
  if constexpr (Form::pixels == 1) {
    Lanes const twice = AlphaOf<Form>(pixels, 0) * 0x101;
    return twice | twice << 16;
  } else {
    Lanes const alphas = pixels & Form::AlphaMask();
    return alphas | (Form::AlphaShift(0) % 16 == 0 ? alphas << 8 : alphas >> 8);
  }
}

// Of two bytes that are the lower ones of words.
Words ProductOver255(Lanes a, Lanes b) {
  Words const rounded = reinterpret_cast<Words>(a) * reinterpret_cast<Words>(b) + 128;
  return (rounded + (rounded >> 8)) >> 8;
}

template <class Form>
struct Multiplied {
  Lanes operator()(Lanes pixels) const {
    uint32_t constexpr lower = 0x00ff00ff;
    // Alpha itself, times 255, stays what it is.
    Lanes const factors = AlphaOfBytes<Form>(pixels) | Form::AlphaMask();
    Words const even = ProductOver255(pixels & lower, factors & lower);
    Words const odd = ProductOver255(pixels >> 8 & lower, factors >> 8 & lower);
    return reinterpret_cast<Lanes>(even | odd << 8);
  }
};

template <class Form>
struct Divided {
  // Colours above alpha give 255, as alpha does.
  static Lanes Clamped(Lanes pixels) {
    auto const bytes = reinterpret_cast<Bytes>(pixels), alphas = reinterpret_cast<Bytes>(AlphaOfBytes<Form>(pixels));
    return reinterpret_cast<Lanes>(bytes < alphas ? bytes : alphas);
  }

  // The sum is a float of 11 bits behind the point, whatever way it is rounded. It is off by less than 0.0006, and
  // lifted by 1 / 1024: so halves are not missed, and what is less is so by 1 / 510 at least.
  static constexpr float lift = 4096 + 0.5F + 1.0F / 1024;
  static constexpr int pointShift = 11;

  static Lanes QuotientAt(Lanes pixels, Floats reciprocal, int shift) {
    auto const colour = reinterpret_cast<SignedLanes>(pixels >> shift & 255);
    Floats const sum = __builtin_convertvector(colour, Floats) * reciprocal + lift;
    return (reinterpret_cast<Lanes>(sum) >> pointShift & 255) << shift;
  }

  Lanes operator()(Lanes pixels) const {
    Lanes const clamped = Clamped(pixels);
    Lanes divided = pixels & Form::AlphaMask();
    for (int p = 0; p < Form::pixels; ++p) {
      auto const alpha = reinterpret_cast<SignedLanes>(AlphaOf<Form>(pixels, p));
      Floats const quotient = 255 / __builtin_convertvector(alpha, Floats);
      // 0 where alpha is 0.
      auto const reciprocal = reinterpret_cast<Floats>(reinterpret_cast<SignedLanes>(quotient) & (alpha > 0));
      for (int b = 0; b < Form::bytes; ++b) {
        if (b != Form::alpha) divided |= QuotientAt(clamped, reciprocal, ShiftOf(p * Form::bytes + b));
      }
    }
    return divided;
  }
};

template <class Change>
void ChangeLanes(unsigned char const* from, size_t bytes, unsigned char* to, Change const& change) {
  Lanes lanes{};
  size_t at = 0;
  for (; at + sizeof lanes <= bytes; at += sizeof lanes) {
    std::memcpy(&lanes, from + at, sizeof lanes);
    lanes = change(lanes);
    std::memcpy(to + at, &lanes, sizeof lanes);
  }
  if (at == bytes) return;
  std::memcpy(&lanes, from + at, bytes - at);
  lanes = change(lanes);
  std::memcpy(to + at, &lanes, bytes - at);
}

template <template <class> class Change>
void ChangeColours(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  size_t const bytes = cx * static_cast<size_t>(pixel.Bytes());
  if (pixel.colours == 1) {
    ChangeLanes(from, bytes, to, Change<LaneForm<2, 2, 1>>());
  } else if (pixel.alpha == 0) {
    ChangeLanes(from, bytes, to, Change<LaneForm<1, 4, 0>>());
  } else {
    ChangeLanes(from, bytes, to, Change<LaneForm<1, 4, 3>>());
  }
}

}  // namespace

void MultiplyByAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  ChangeColours<Multiplied>(pixel, from, cx, to);
}

void DivideByAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  ChangeColours<Divided>(pixel, from, cx, to);
}

void DropAlpha(AlphaPixel const& pixel, unsigned char const* from, size_t cx, unsigned char* to) {
  for (size_t x = 0; x < cx; ++x, from += pixel.Bytes(), to += pixel.colours) {
    for (int c = 0; c < pixel.colours; ++c) to[c] = from[pixel.firstColour + c];
  }
}

void LayOnto(AlphaPixel const& pixel, unsigned char const* background, unsigned char const* from, size_t cx,
             unsigned char* to) {
  for (size_t x = 0; x < cx; ++x, from += pixel.Bytes(), to += pixel.colours) {
    int const alpha = from[pixel.alpha];
    for (int c = 0; c < pixel.colours; ++c) {
      to[c] = static_cast<unsigned char>(Over255(from[pixel.firstColour + c] * alpha + background[c] * (255 - alpha)));
    }
  }
}

}  // namespace fourtap
