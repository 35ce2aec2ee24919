// Lanes of one value or another, without a branch.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// A choice as it is kept in memory, as wide as the parts of an element: 0 or `chosen`.
template <class T>
using choice = std::conditional_t<sizeof(real_of<T>) == 8, std::int64_t, std::int32_t>;

template <class T>
inline constexpr choice<T> chosen = -1;

namespace detail {

template <class T, int W>
using choices = typename vector_of<choice<T>, lanes<T, W>::parts>::type;

}  // namespace detail

// All lanes of `a` if chosen, else of `b`.
template <class T, int W>
NEVRAD_INLINE lanes<T, W> choose(choice<T> c, lanes<T, W> a, lanes<T, W> b) {
  using mask = detail::choices<T, W>;
  const mask all = mask{} + c;
#if defined(__AVX__)
  // The blend that goes by signs, which compilers do not find for lanes of several registers.
  using piece = detail::vector_of<double, 4>::type;
  constexpr int bytes = sizeof(a.v);
  constexpr int pieces = bytes / 32;
  if constexpr (pieces > 0) {
    piece m[pieces], x[pieces], y[pieces];
    __builtin_memcpy(m, &all, sizeof m);
    __builtin_memcpy(x, &a.v, sizeof x);
    __builtin_memcpy(y, &b.v, sizeof y);
    for (int i = 0; i < pieces; ++i) x[i] = __builtin_ia32_blendvpd256(y[i], x[i], m[i]);
    __builtin_memcpy(&a.v, x, sizeof x);
    return a;
  }
#endif
  using real = typename lanes<T, W>::storage;
  const mask one = reinterpret_cast<mask>(a.v);
  const mask other = reinterpret_cast<mask>(b.v);
  return {reinterpret_cast<real>((all & one) | (~all & other))};
}

// Zero if chosen, else `a`.
template <class T, int W>
NEVRAD_INLINE lanes<T, W> clear_if(choice<T> c, lanes<T, W> a) {
  using mask = detail::choices<T, W>;
  using real = typename lanes<T, W>::storage;
  return {reinterpret_cast<real>(~(mask{} + c) & reinterpret_cast<mask>(a.v))};
}

}  // namespace nevrad
