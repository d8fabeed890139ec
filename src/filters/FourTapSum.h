// The weighted sum of four samples a fixed distance apart, for a byte of one line and for a column of a block of lines.
#pragma once

#include <fourtapscale/FourTapFilters.h>

#include <algorithm>
#include <type_traits>

namespace fourtap {

// The words of a column. Their sums and products wrap.
typedef unsigned short FourTapWordsOf4 __attribute__((vector_size(8), may_alias));
typedef unsigned short FourTapWordsOf8 __attribute__((vector_size(16), may_alias));
typedef short FourTapSignedWordsOf4 __attribute__((vector_size(8), may_alias));
typedef short FourTapSignedWordsOf8 __attribute__((vector_size(16), may_alias));

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
FourTapColumnOf8 WeighedSum(FourTapColumnOf8 const (&columns)[4], FourTapColumnOf8 const (&taps)[4]) {
  auto const words = [&](int t) { return reinterpret_cast<FourTapWordsOf8>(columns[t]); };
  auto const tap = [&](int t) { return reinterpret_cast<FourTapWordsOf8>(taps[t]); };
  auto const product = [&](int t) { return words(t) * tap(t); };
  auto const sum = [&] {
    if constexpr (form == TapForm::symmetric) return (words(0) + words(3)) * tap(0) + (words(1) + words(2)) * tap(1);
    if constexpr (form == TapForm::general) return (product(0) + product(1)) + (product(2) + product(3));
    FourTapWordsOf8 const inner = product(1) + product(2);
    if constexpr (form == TapForm::zeroFirst) return inner + product(3);
    if constexpr (form == TapForm::zeroLast) return product(0) + inner;
    FourTapWordsOf8 const first = form == TapForm::oneFirst ? words(0) : product(0);
    FourTapWordsOf8 const last = form == TapForm::oneLast ? words(3) : product(3);
    return (first + last) + inner;
  };
  return reinterpret_cast<FourTapColumnOf8>(sum());
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
    return reinterpret_cast<FourTapWordsOf4>(in[t * distance]) * reinterpret_cast<FourTapWordsOf4>(taps[t]);
  };
  FourTapWordsOf4 const sum = (product(0) + product(1)) + (product(2) + product(3));
  return reinterpret_cast<FourTapColumnOf4>(reinterpret_cast<FourTapSignedWordsOf4>(sum) >> 6);
}

template <TapForm form>
FourTapColumnOf8 FourTapSum(FourTapColumnOf8 const* in, int distance, FourTapColumnOf8 const* taps) {
  FourTapColumnOf8 const v[4] = {in[0], in[distance], in[2 * distance], in[3 * distance]};
  FourTapColumnOf8 const t[4] = {taps[0], taps[1], taps[2], taps[3]};
  return reinterpret_cast<FourTapColumnOf8>(reinterpret_cast<FourTapSignedWordsOf8>(WeighedSum<form>(v, t)) >> 6);
}

}  // namespace fourtap
