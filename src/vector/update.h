// Blocks of the sparse vector updates: positions first to last - 1, in ascending order.
//
// The position loops go by factors with the odd positions first, so that the main loop has no tail
// test; the order of positions, and so every result, is that of the plain loop.
#pragma once

#include "arith/products.h"

namespace nevrad {

// Calls body(i) for i in first to last - 1, Factor a trip, the remainder ahead of the trips.
template <int Factor, class Body>
NEVRAD_INLINE void for_positions(std::int32_t first, std::int32_t last, const Body& body) {
  std::int32_t i = first;
  for (std::int32_t odd = (last - first) % Factor; odd > 0; --odd) body(i++);
  for (; i < last; i += Factor) {
#pragma clang loop unroll(full)
    for (int step = 0; step < Factor; ++step) body(i + step);
  }
}

// Positions a trip, by type.
template <class T>
inline constexpr int gthrz_factor = is_complex<T> && !is_single<T> ? 4 : 2;
inline constexpr int axpyi_factor = 2;
inline constexpr int gthr_factor = 4;
inline constexpr int sctr_factor = 4;
inline constexpr int roti_factor = 2;

template <class T>
void axpyi_block(T alpha,
                 const T* x,
                 const std::int32_t* indx,
                 T* y,
                 std::int32_t first,
                 std::int32_t last) {
  for_positions<axpyi_factor>(first, last, [=](std::int32_t i) {
    T& target = y[indx[i]];
    if constexpr (is_complex<T>) {
      target = add(multiply_fused(alpha, x[i]), target);
    } else {
      target = fma(alpha, x[i], target);
    }
  });
}

template <class T>
void gthr_block(const T* y, T* x, const std::int32_t* indx, std::int32_t first, std::int32_t last) {
  for_positions<gthr_factor>(first, last, [=](std::int32_t i) { x[i] = y[indx[i]]; });
}

template <class T>
void gthrz_block(T* y, T* x, const std::int32_t* indx, std::int32_t first, std::int32_t last) {
  for_positions<gthrz_factor<T>>(first, last, [=](std::int32_t i) {
    x[i] = y[indx[i]];
    y[indx[i]] = zero<T>();
  });
}

template <class T>
void sctr_block(const T* x, const std::int32_t* indx, T* y, std::int32_t first, std::int32_t last) {
  for_positions<sctr_factor>(first, last, [=](std::int32_t i) { y[indx[i]] = x[i]; });
}

// The old x[i] is kept in a register; y is loaded anew after x[i] is stored, as aliased arrays
// show.
template <class T>
void roti_block(T* x,
                const std::int32_t* indx,
                T* y,
                T c,
                T s,
                std::int32_t first,
                std::int32_t last) {
  for_positions<roti_factor>(first, last, [=](std::int32_t i) {
    T& v = y[indx[i]];
    const T u = x[i];
    x[i] = fma(c, u, s * v);
    v = fma(c, v, -(s * u));
  });
}

}  // namespace nevrad
