// Products and sums of single elements, named by their rounding.
//
// The order of operands is part of a name's meaning: in a complex product the first operand's
// imaginary part is the one that is fused into the imaginary sum.
#pragma once

#include "arith/element.h"

#define NEVRAD_INLINE inline __attribute__((always_inline))

namespace nevrad {

// a * b + c with one rounding.
NEVRAD_INLINE float fma(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
NEVRAD_INLINE double fma(double a, double b, double c) { return __builtin_fma(a, b, c); }

// The same number, of which the compiler knows nothing: a choice by mask does not become a branch.
NEVRAD_INLINE std::int64_t opaque(std::int64_t n) {
  asm("" : "+r"(n));
  return n;
}

template <class T>
NEVRAD_INLINE T zero() {
  return T{};
}

template <class T>
NEVRAD_INLINE T one() {
  if constexpr (is_complex<T>) {
    return {1, 0};
  } else {
    return 1;
  }
}

template <class R>
NEVRAD_INLINE complex<R> conj(complex<R> a) {
  return {a.re, -a.im};
}

template <conjugation C, class T>
NEVRAD_INLINE T conj_if(T a) {
  if constexpr (C == conjugation::yes && is_complex<T>) {
    return conj(a);
  } else {
    return a;
  }
}

template <class T>
NEVRAD_INLINE T add(T a, T b) {
  if constexpr (is_complex<T>) {
    return {a.re + b.re, a.im + b.im};
  } else {
    return a + b;
  }
}

template <class T>
NEVRAD_INLINE T subtract(T a, T b) {
  if constexpr (is_complex<T>) {
    return {a.re - b.re, a.im - b.im};
  } else {
    return a - b;
  }
}

// Fused product: one rounded product inside a fused one, so two roundings a part.
// Real elements: one rounded product.
NEVRAD_INLINE float multiply_fused(float a, float b) { return a * b; }
NEVRAD_INLINE double multiply_fused(double a, double b) { return a * b; }
template <class R>
NEVRAD_INLINE complex<R> multiply_fused(complex<R> a, complex<R> b) {
  return {fma(a.re, b.re, -(a.im * b.im)), fma(a.im, b.re, a.re * b.im)};
}

// Plain product: every product and every sum rounded, three roundings a part.
NEVRAD_INLINE float multiply_plain(float a, float b) { return a * b; }
NEVRAD_INLINE double multiply_plain(double a, double b) { return a * b; }
template <class R>
NEVRAD_INLINE complex<R> multiply_plain(complex<R> a, complex<R> b) {
  return {a.re * b.re - a.im * b.im, a.im * b.re + a.re * b.im};
}

// The product of the element-wise sums: fused for `c`, plain for `z`.
template <class T>
NEVRAD_INLINE T multiply_by_width(T a, T b) {
  if constexpr (is_single<T>) {
    return multiply_fused(a, b);
  } else {
    return multiply_plain(a, b);
  }
}

}  // namespace nevrad
