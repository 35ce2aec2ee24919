// Element types of the tests: the library's own float, double, complex32 and complex64.
//
// Tests call the exported functions through frame/status.h, which declares them with these types. A
// test that wants the caller's view (std::complex) includes nevrad.h alone and reinterprets
// pointers: the layouts are the same.
#pragma once

#include "arith/products.h"
#include "frame/status.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <limits>
#include <ostream>
#include <type_traits>

namespace nevrad {

template <class R>
std::ostream& operator<<(std::ostream& out, const complex<R>& a) {
  return out << '(' << a.re << ", " << a.im << ')';
}

}  // namespace nevrad

namespace nevrad_test {

using nevrad::complex32;
using nevrad::complex64;
using nevrad::is_complex;
using nevrad::is_single;
using nevrad::real_of;

// TYPED_TEST_SUITE(suite, all_types, type_names);
using all_types = testing::Types<float, double, complex32, complex64>;
using real_types = testing::Types<float, double>;
using complex_types = testing::Types<complex32, complex64>;

struct type_names {
  template <class T>
  static const char* GetName(int) {
    if constexpr (is_complex<T>) {
      return is_single<T> ? "c" : "z";
    } else {
      return is_single<T> ? "s" : "d";
    }
  }
};

// Picks the function of one type, so that typed tests write csrmv<T>(...):
//   NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
//   NEVRAD_BY_TYPE(csrmv_by_reference, orv_sparse_, csrmv_)
//   NEVRAD_BY_REAL_TYPE(doti, orv_sparse_, doti), NEVRAD_BY_COMPLEX_TYPE(...)
template <class T, class S, class D, class C, class Z>
constexpr auto pick([[maybe_unused]] S s,
                    [[maybe_unused]] D d,
                    [[maybe_unused]] C c,
                    [[maybe_unused]] Z z) {
  if constexpr (is_complex<T>) {
    if constexpr (is_single<T>) {
      return c;
    } else {
      return z;
    }
  } else {
    if constexpr (is_single<T>) {
      return s;
    } else {
      return d;
    }
  }
}
#define NEVRAD_BY_TYPE(name, prefix, op) \
  template <class T>                     \
  inline constexpr auto name =           \
      ::nevrad_test::pick<T>(&prefix##s##op, &prefix##d##op, &prefix##c##op, &prefix##z##op);
#define NEVRAD_BY_REAL_TYPE(name, prefix, op) \
  template <class T>                          \
  inline constexpr auto name = ::nevrad_test::pick<T>(&prefix##s##op, &prefix##d##op, 0, 0);
#define NEVRAD_BY_COMPLEX_TYPE(name, prefix, op) \
  template <class T>                             \
  inline constexpr auto name = ::nevrad_test::pick<T>(0, 0, &prefix##c##op, &prefix##z##op);

// Wider arithmetic for references: double for s and c, long double for d and z. Every element is
// taken as a complex number there, so that one body serves all types.
template <class T>
using wide_real = std::conditional_t<is_single<T>, double, long double>;
template <class T>
using wide = std::complex<wide_real<T>>;

template <class T>
wide<T> widen(T a) {
  if constexpr (is_complex<T>) {
    return {a.re, a.im};
  } else {
    return {a, 0};
  }
}
template <class T>
T narrow(wide<T> a) {
  using real = real_of<T>;
  if constexpr (is_complex<T>) {
    return {static_cast<real>(a.real()), static_cast<real>(a.imag())};
  } else {
    return static_cast<real>(a.real());
  }
}

template <class T>
inline constexpr wide_real<T> epsilon = std::numeric_limits<real_of<T>>::epsilon();

// An element from its parts; real types drop the second.
template <class T>
T make(double re, double im = 0) {
  return narrow<T>(wide<T>(static_cast<wide_real<T>>(re), static_cast<wide_real<T>>(im)));
}
template <class T>
T quiet_nan() {
  return make<T>(std::numeric_limits<double>::quiet_NaN(),
                 std::numeric_limits<double>::quiet_NaN());
}

template <class T>
T conjugated(T a, bool yes = true) {
  if constexpr (is_complex<T>) a.im = yes ? -a.im : a.im;
  return a;
}

// Equal bits, signs of zero included; all NaN are one, since their bits are the processor's.
inline bool same_bits(float a, float b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}
inline bool same_bits(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}
template <class R>
bool same_bits(nevrad::complex<R> a, nevrad::complex<R> b) {
  return same_bits(a.re, b.re) && same_bits(a.im, b.im);
}

template <class T>
bool element_is_nan(T a) {
  if constexpr (is_complex<T>) {
    return std::isnan(a.re) || std::isnan(a.im);
  } else {
    return std::isnan(a);
  }
}

// EXPECT_PRED_FORMAT2(equal_bits, got, want): one element.
template <class T>
testing::AssertionResult equal_bits(const char* got_text,
                                    const char* want_text,
                                    const T& got,
                                    const T& want) {
  if (same_bits(got, want)) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << std::hexfloat << got_text << " is " << got << "\n  " << want_text << " is " << want;
}
#define EXPECT_SAME_BITS(got, want) EXPECT_PRED_FORMAT2(::nevrad_test::equal_bits, got, want)
#define ASSERT_SAME_BITS(got, want) ASSERT_PRED_FORMAT2(::nevrad_test::equal_bits, got, want)

}  // namespace nevrad_test
