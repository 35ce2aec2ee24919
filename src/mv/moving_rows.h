// Groups of four rows, one behind the other in memory, of which each is the row before moved on by
// one column, as inside of a grid. They are summed with the rows as lanes: an entry's four elements
// of x are neighbours and come in one load. The sums of each row take its entries in the same order
// as ever.
#pragma once

#include "arith/prefetch.h"
#include "arith/shifted_lines.h"
#include "arith/tile.h"

namespace nevrad {

// Entries `from` to `to` - 1 of the four rows, each to the sum of its place in a group of four, or
// all to the only one: add(sum, a, x). Calls fetch(position) where each sixteen entries begin. At
// least four entries stand before `to`.
template <int Sums, class T, class Add, class Fetch>
NEVRAD_INLINE void add_moving_rows(lanes<T, 4>* sums,
                                   const T* values,
                                   const std::int32_t* indices,
                                   const T* x,
                                   std::int64_t length,
                                   std::int64_t from,
                                   std::int64_t to,
                                   const Add& add,
                                   const Fetch& fetch) {
  static_assert(Sums == 1 || Sums == tile_size);
  const auto take = [&](int sum, lanes<T, 4> a, std::int64_t k) {
    sums[sum] = add(sums[sum], a, load<4>(x + indices[k]));
  };
  std::int64_t k = from;
  for (; k + tile_size <= to; k += tile_size) {
    fetch(tile_size * k);
    const tile<T> entries = transpose(load_tile(values + k, length));
    for (int e = 0; e < tile_size; ++e) take(e % Sums, entries.line[e], k + e);
  }
  if constexpr (Sums == 1) {
    if (k == to) return;
    fetch(tile_size * k);
    // The last four entries once more, for those that are left.
    const tile<T> entries = transpose(load_tile(values + to - tile_size, length));
    if (to - k > 2) take(0, entries.line[1], to - 3);
    if (to - k > 1) take(0, entries.line[2], to - 2);
    take(0, entries.line[3], to - 1);
  }
}

// The elements of x that the rows want some groups later. Outside the caches they have fallen out
// of level 1 since the last line of the grid. A cache line serves several groups, hence only every
// other.
template <class T>
NEVRAD_INLINE void fetch_x_ahead(const T* x,
                                 const std::int32_t* indices,
                                 std::int64_t length,
                                 std::int32_t row) {
  constexpr int ahead = 128;
  if ((row & 4) == 0) return;
  for (std::int64_t k = 0; k < length; ++k) prefetch<cache::level1>(x + indices[k], ahead);
}

}  // namespace nevrad
