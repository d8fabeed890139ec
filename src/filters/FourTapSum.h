// The weighted sum of four samples a fixed distance apart, for a byte of one line and for a column of a block of lines.
#pragma once

#include <emmintrin.h>
#include <fourtapscale/FourTapFilters.h>

#include <algorithm>
#include <type_traits>

namespace fourtap {

inline unsigned char ClampToByte(int value) { return static_cast<unsigned char>(std::clamp(value, 0, 255)); }

// Sets of taps that take fewer operations. Lane by lane the sums stay the same, modulo 2^16.
enum class TapForm { general, zeroFirst, zeroLast, oneFirst, oneLast, symmetric };

inline TapForm FormOf(short const* coefs) {
  if (coefs[0] == 0) return TapForm::zeroFirst;
  if (coefs[3] == 0) return TapForm::zeroLast;
  if (coefs[0] == coefs[3] && coefs[1] == coefs[2]) return TapForm::symmetric;
  if (coefs[0] == 1) return TapForm::oneFirst;
  if (coefs[3] == 1) return TapForm::oneLast;
  return TapForm::general;
}

template <TapForm form>
using FormConstant = std::integral_constant<TapForm, form>;

// Calls `use` with the form as a constant.
template <class Use>
void WithForm(TapForm form, Use const& use) {
  switch (form) {
    case TapForm::general:
      return use(FormConstant<TapForm::general>{});
    case TapForm::zeroFirst:
      return use(FormConstant<TapForm::zeroFirst>{});
    case TapForm::zeroLast:
      return use(FormConstant<TapForm::zeroLast>{});
    case TapForm::oneFirst:
      return use(FormConstant<TapForm::oneFirst>{});
    case TapForm::oneLast:
      return use(FormConstant<TapForm::oneLast>{});
    case TapForm::symmetric:
      return use(FormConstant<TapForm::symmetric>{});
  }
}

// The same by taps. Forms are for whole registers; other columns have the general sum only.
template <class Use>
void WithFormOf(FourTapColumnOf8 const* taps, Use const& use) {
  short coefs[4];
  for (int t = 0; t < 4; ++t) coefs[t] = static_cast<short>(taps[t][0]);
  WithForm(FormOf(coefs), use);
}

template <class Taps, class Use>
void WithFormOf(Taps const*, Use const& use) {
  use(FormConstant<TapForm::general>{});
}

template <TapForm form>
__m128i WeighedSum(__m128i const (&v)[4], __m128i const (&taps)[4]) {
  auto const product = [&](int t) { return _mm_mullo_epi16(v[t], taps[t]); };
  if constexpr (form == TapForm::symmetric) {
    return _mm_add_epi16(_mm_mullo_epi16(_mm_add_epi16(v[0], v[3]), taps[0]),
                         _mm_mullo_epi16(_mm_add_epi16(v[1], v[2]), taps[1]));
  }
  if constexpr (form == TapForm::general) {
    return _mm_add_epi16(_mm_add_epi16(product(0), product(1)), _mm_add_epi16(product(2), product(3)));
  }
  __m128i const inner = _mm_add_epi16(product(1), product(2));
  if constexpr (form == TapForm::zeroFirst) return _mm_add_epi16(inner, product(3));
  if constexpr (form == TapForm::zeroLast) return _mm_add_epi16(product(0), inner);
  __m128i const first = form == TapForm::oneFirst ? v[0] : product(0);
  __m128i const last = form == TapForm::oneLast ? v[3] : product(3);
  return _mm_add_epi16(_mm_add_epi16(first, last), inner);
}

template <TapForm>
unsigned char FourTapSum(unsigned char const* in, int distance, short const* taps) {
  int sum = 0;
  for (int t = 0; t < 4; ++t) sum += taps[t] * in[t * distance];
  return ClampToByte(sum >> 6);
}

// Lanes are left unclamped; the rotation back saturates them.
template <TapForm>
FourTapColumnOf4 FourTapSum(FourTapColumnOf4 const* in, int distance, FourTapColumnOf4 const* taps) {
  auto const product = [&](int t) {
    return _mm_mullo_pi16(reinterpret_cast<__m64>(in[t * distance]), reinterpret_cast<__m64>(taps[t]));
  };
  __m64 const sum = _mm_add_pi16(_mm_add_pi16(product(0), product(1)), _mm_add_pi16(product(2), product(3)));
  return reinterpret_cast<FourTapColumnOf4>(_mm_srai_pi16(sum, 6));
}

template <TapForm form>
FourTapColumnOf8 FourTapSum(FourTapColumnOf8 const* in, int distance, FourTapColumnOf8 const* taps) {
  __m128i const v[4] = {in[0], in[distance], in[2 * distance], in[3 * distance]};
  __m128i const t[4] = {taps[0], taps[1], taps[2], taps[3]};
  return _mm_srai_epi16(WeighedSum<form>(v, t), 6);
}

}  // namespace fourtap
