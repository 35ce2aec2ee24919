// Blocks of the sparse vector updates: positions first to last - 1, in ascending order.
//
// The position loops go by groups with the odd positions first, so that the main loop has no tail
// test; the order of positions, and so every result, is that of the plain loop. Indices are read
// two at a time: what bounds these loops in cache is the number of loads and stores.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// Calls body(i, indx[i]) for i in first to last - 1, Factor a trip, the remainder ahead of the
// trips. Where pairs are of use to it, body(i, indx[i], indx[i + 1]) does two positions.
template <int Factor, class Body>
NEVRAD_INLINE void for_positions(const std::int32_t* indx,
                                 std::int32_t first,
                                 std::int32_t last,
                                 const Body& body) {
  static_assert(Factor % 2 == 0);
  constexpr bool by_pairs = requires { body(0, std::int64_t{}, std::int64_t{}); };
  std::int32_t i = first;
  for (std::int32_t odd = (last - first) % Factor; odd > 0; --odd, ++i) {
    body(i, static_cast<std::int64_t>(indx[i]));
  }
  for (; i < last; i += Factor) {
#pragma clang loop unroll(full)
    for (int step = 0; step < Factor; step += 2) {
      const index_pair at = load_indices(indx + i + step);
      if constexpr (by_pairs) {
        body(i + step, at.first, at.second);
      } else {
        body(i + step, at.first);
        body(i + step + 1, at.second);
      }
    }
  }
}

// Positions a trip, by type.
template <class T>
inline constexpr int gthrz_factor = is_complex<T> && !is_single<T> ? 4 : 2;
template <class T>
inline constexpr int axpyi_factor = is_complex<T> ? 2 : 4;
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
  for_positions<axpyi_factor<T>>(indx, first, last, [=](std::int32_t i, std::int64_t j) {
    T& target = y[j];
    if constexpr (is_complex<T>) {
      target = add(multiply_fused(alpha, x[i]), target);
    } else {
      target = fma(alpha, x[i], target);
    }
  });
}

template <class T>
struct gather_step {
  const T* y;
  T* x;

  NEVRAD_INLINE void operator()(std::int32_t i, std::int64_t j) const { x[i] = y[j]; }
  // Reals are stored two at a time.
  NEVRAD_INLINE void operator()(std::int32_t i, std::int64_t j, std::int64_t k) const {
    if constexpr (is_complex<T>) {
      x[i] = y[j];
      x[i + 1] = y[k];
    } else {
      store(x + i, lanes<T, 2>{typename lanes<T, 2>::storage{y[j], y[k]}});
    }
  }
};

template <class T>
void gthr_block(const T* y, T* x, const std::int32_t* indx, std::int32_t first, std::int32_t last) {
  for_positions<gthr_factor>(indx, first, last, gather_step<T>{y, x});
}

template <class T>
void gthrz_block(T* y, T* x, const std::int32_t* indx, std::int32_t first, std::int32_t last) {
  for_positions<gthrz_factor<T>>(indx, first, last, [=](std::int32_t i, std::int64_t j) {
    x[i] = y[j];
    y[j] = zero<T>();
  });
}

template <class T>
void sctr_block(const T* x, const std::int32_t* indx, T* y, std::int32_t first, std::int32_t last) {
  for_positions<sctr_factor>(indx, first, last, [=](std::int32_t i, std::int64_t j) {
    // By way of an integer: there are more loads and stores of those in a cycle.
    using unit = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    unit bits[sizeof(T) / sizeof(unit)];
    __builtin_memcpy(bits, x + i, sizeof bits);
    __builtin_memcpy(y + j, bits, sizeof bits);
  });
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
  for_positions<roti_factor>(indx, first, last, [=](std::int32_t i, std::int64_t j) {
    T& v = y[j];
    const T u = x[i];
    x[i] = fma(c, u, s * v);
    v = fma(c, v, -(s * u));
  });
}

}  // namespace nevrad
