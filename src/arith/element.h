// Element types: what every kernel may ask of its template parameter.
#pragma once

#include <cstddef>
#include <cstdint>

// Some cores of AArch64 rotate complex products in one instruction. A build for the others as well
// compiles its sources twice (NEVRAD_TWO_FORMS): for all cores, and once more for those that
// rotate, complex types alone. The second compilation has complex records of its own, so that each
// of its instances over them has a name of its own: none is linked in the place of one for all
// cores.
#if defined(NEVRAD_TWO_FORMS) && defined(__ARM_FEATURE_COMPLEX)
#define NEVRAD_SECOND_FORM 1
#endif

namespace nevrad {

#if defined(__ARM_FEATURE_COMPLEX)
inline namespace rotating {
#endif

// A complex element as the caller's arrays hold it: real part first. Our own record, because the
// operators of std::complex repair NaN and leave the rounding of a product open.
template <class R>
struct complex {
  R re;
  R im;
};

#if defined(__ARM_FEATURE_COMPLEX)
}  // namespace rotating
#endif

using complex32 = complex<float>;
using complex64 = complex<double>;

template <class T>
struct element {
  using real = T;
  static constexpr bool is_complex = false;
  static constexpr int parts = 1;
};

template <class R>
struct element<complex<R>> {
  using real = R;
  static constexpr bool is_complex = true;
  static constexpr int parts = 2;
};

template <class T>
using real_of = typename element<T>::real;

template <class T>
inline constexpr bool is_complex = element<T>::is_complex;

// Float parts, as opposed to double ones: `s` and `c` share some thresholds and roundings.
template <class T>
inline constexpr bool is_single = sizeof(real_of<T>) == sizeof(float);

// Flags of a kernel form, as types, so that an instance reads as a sentence.
enum class conjugation : bool { no, yes };
enum class triangle : bool { lower, upper };
enum class diagonal : bool { stored, unit };
enum class dense_layout : bool { row_major, column_major };

// What the conjugating operation of a table asks of an element: the identity for real types.
template <class T>
inline constexpr conjugation conjugated = is_complex<T> ? conjugation::yes : conjugation::no;

constexpr triangle opposite(triangle side) {
  return side == triangle::lower ? triangle::upper : triangle::lower;
}

}  // namespace nevrad

// The one list of type letters. X(letter, element type) stands for the code of one type.
#if defined(NEVRAD_SECOND_FORM)
#define NEVRAD_FOR_EACH_REAL(X)
#else
#define NEVRAD_FOR_EACH_REAL(X) X(s, float) X(d, double)
#endif
#define NEVRAD_FOR_EACH_COMPLEX(X) X(c, ::nevrad::complex32) X(z, ::nevrad::complex64)
#define NEVRAD_FOR_EACH_TYPE(X) NEVRAD_FOR_EACH_REAL(X) NEVRAD_FOR_EACH_COMPLEX(X)
