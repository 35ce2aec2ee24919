// Tiles: four by four elements in registers, turned over between a column-major matrix and a panel.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

inline constexpr int tile_size = 4;

template <class T>
struct tile {
  lanes<T, tile_size> line[tile_size];
};

namespace detail {

// Elements A, B, C, D of the eight in a and b.
template <int A, int B, int C, int D, class T>
NEVRAD_INLINE lanes<T, 4> pick_elements(lanes<T, 4> a, lanes<T, 4> b) {
  if constexpr (is_complex<T>) {
    return {__builtin_shufflevector(a.v, b.v, 2 * A, 2 * A + 1, 2 * B, 2 * B + 1, 2 * C, 2 * C + 1,
                                    2 * D, 2 * D + 1)};
  } else {
    return {__builtin_shufflevector(a.v, b.v, A, B, C, D)};
  }
}

}  // namespace detail

template <class T>
NEVRAD_INLINE tile<T> transpose(tile<T> t) {
  using detail::pick_elements;
  const auto even01 = pick_elements<0, 4, 2, 6>(t.line[0], t.line[1]);
  const auto odd01 = pick_elements<1, 5, 3, 7>(t.line[0], t.line[1]);
  const auto even23 = pick_elements<0, 4, 2, 6>(t.line[2], t.line[3]);
  const auto odd23 = pick_elements<1, 5, 3, 7>(t.line[2], t.line[3]);
  return {{pick_elements<0, 1, 4, 5>(even01, even23), pick_elements<0, 1, 4, 5>(odd01, odd23),
           pick_elements<2, 3, 6, 7>(even01, even23), pick_elements<2, 3, 6, 7>(odd01, odd23)}};
}

// Line i of the tile is the four elements at from + i * stride.
template <class T>
NEVRAD_INLINE tile<T> load_tile(const T* from, std::int64_t stride) {
  return {{load<4>(from), load<4>(from + stride), load<4>(from + 2 * stride),
           load<4>(from + 3 * stride)}};
}

template <class T>
NEVRAD_INLINE void store_tile(T* to, std::int64_t stride, const tile<T>& t) {
  for (int i = 0; i < tile_size; ++i) store(to + i * stride, t.line[i]);
}

}  // namespace nevrad
