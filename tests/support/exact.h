// Rounding told step by step, part by part, independent of the library's arithmetic layer.
#pragma once

#include "support/types.h"

namespace nevrad_test {

enum class conjugate : bool { no, yes };

template <class R>
R fused(R a, R b, R c) {
  return std::fma(a, b, c);
}
template <class R>
R rounded(R a, R b) {
  return a * b;
}
template <class R>
R rounded_sum(R a, R b) {
  return a + b;
}

template <class R>
using complex_of = nevrad::complex<R>;

// Sums part by part.
template <class T>
T exact_add(T a, T b) {
  if constexpr (is_complex<T>) {
    return {rounded_sum(a.re, b.re), rounded_sum(a.im, b.im)};
  } else {
    return rounded_sum(a, b);
  }
}

template <class T>
T exact_subtract(T a, T b) {
  if constexpr (is_complex<T>) {
    return exact_add(a, T{-b.re, -b.im});
  } else {
    return rounded_sum(a, -b);
  }
}

// One rounded product inside a fused one.
template <class T>
T exact_fused_product(T a, T b) {
  if constexpr (is_complex<T>) {
    return {fused(a.re, b.re, -rounded(a.im, b.im)), fused(a.im, b.re, rounded(a.re, b.im))};
  } else {
    return rounded(a, b);
  }
}

// Three roundings a part.
template <class T>
T exact_plain_product(T a, T b) {
  if constexpr (is_complex<T>) {
    return {rounded_sum(rounded(a.re, b.re), -rounded(a.im, b.im)),
            rounded_sum(rounded(a.im, b.re), rounded(a.re, b.im))};
  } else {
    return rounded(a, b);
  }
}

// The product form of the element-wise sums: fused for c, plain for z.
template <class T>
T exact_product(T a, T b) {
  return is_single<T> ? exact_fused_product(a, b) : exact_plain_product(a, b);
}

// One step of a complex multiply-accumulate, its angle in quarter turns.
template <class R>
complex_of<R> exact_rotation(int quarter, complex_of<R> acc, complex_of<R> a, complex_of<R> b) {
  switch (quarter) {
    case 0:
      return {fused(a.re, b.re, acc.re), fused(a.re, b.im, acc.im)};
    case 1:
      return {fused(-a.im, b.im, acc.re), fused(a.im, b.re, acc.im)};
    case 2:
      return {fused(-a.re, b.re, acc.re), fused(-a.re, b.im, acc.im)};
    default:
      return {fused(a.im, b.im, acc.re), fused(-a.im, b.re, acc.im)};
  }
}

// acc + a b and acc + conj(a) b, then with the minus sign, as two rotations each.
template <class T>
T exact_multiply_add(T acc, T a, T b, conjugate how = conjugate::no) {
  if constexpr (is_complex<T>) {
    return exact_rotation(how == conjugate::yes ? 3 : 1, exact_rotation(0, acc, a, b), a, b);
  } else {
    return fused(a, b, acc);
  }
}
template <class T>
T exact_multiply_subtract(T acc, T a, T b, conjugate how = conjugate::no) {
  if constexpr (is_complex<T>) {
    return exact_rotation(how == conjugate::yes ? 1 : 3, exact_rotation(2, acc, a, b), a, b);
  } else {
    return fused(-a, b, acc);
  }
}

}  // namespace nevrad_test
