// Four neighbouring lines at once, where their shape allows it. Real elements.
//
// A line's sum is one chain of fused operations, and the processor waits for it in every line. Four
// lines have four chains; elements that they meet in are loaded and stored once. Every sum keeps
// its order, and so does every element of y: that of the lines.
//
// Lines of one run each, as in a band and in a matrix of dense blocks; those of a grid are in
// moving_lines.h. Lines are not expected to be sorted: what has not the shape, or takes entries
// from the other side of the diagonal, is left to the walk line by line.
#pragma once

#include "arith/tile.h"
#include "mv/index_runs.h"
#include "mv/moving_lines.h"

namespace nevrad {

namespace detail {

template <class T>
NEVRAD_INLINE lanes<T, 4> splat(T a) {
  return broadcast<4>(to_lane(a));
}

}  // namespace detail

// Lines line_begin to line_end - 1 in order: take(i) for each block of four that begins with a line
// of which worth_a_look(i) holds, and where that answers false, and for all other lines,
// one_by_one(first, last), for as many as need no look at once.
template <class WorthALook, class Take, class OneByOne>
NEVRAD_INLINE void for_each_block(std::int32_t line_begin,
                                  std::int32_t line_end,
                                  const WorthALook& worth_a_look,
                                  const Take& take,
                                  const OneByOne& one_by_one) {
  const std::int32_t last_block = line_end - lines_a_block;
  for (std::int32_t i = line_begin; i < line_end;) {
    if (i <= last_block && worth_a_look(i) && take(i)) {
      i += lines_a_block;
      continue;
    }
    std::int32_t next = i;
    while (next <= last_block) {
      next += lines_a_block;
      if (next > last_block || worth_a_look(next)) break;
    }
    if (next > last_block) next = line_end;
    one_by_one(i, next);
    i = next;
  }
}

// Lines whose indices follow one another without a gap: line r holds those from first[r] up to but
// excluding last[r], and values[r] + j is where its element at index j lies. Indices count from 0.
template <class T>
struct run_lines {
  const T* values[lines_a_block];
  std::int64_t first[lines_a_block];
  std::int64_t last[lines_a_block];
  const T* values_behind;  // where those of the next block are expected
  const std::int32_t* indices_behind;

  // What all lines hold; empty when the first is not below the last.
  std::int64_t common_first() const {
    std::int64_t most = first[0];
    for (int r = 1; r < lines_a_block; ++r) most = first[r] > most ? first[r] : most;
    return most;
  }
  std::int64_t common_last() const {
    std::int64_t least = last[0];
    for (int r = 1; r < lines_a_block; ++r) least = last[r] < least ? last[r] : least;
    return least;
  }
};

// The hints of the walk line by line, on the values of a trip, where they are fixed.
template <origin From, class T>
NEVRAD_INLINE void hint_trip(const T* at) {
  if constexpr (fixed_hints && From == origin::first_begin) {
    prefetch<cache::level1>(at, lines_table::near_ahead);
    prefetch<cache::level2>(at, lines_table::far_ahead);
  }
}

template <class T>
NEVRAD_INLINE bool may_be_run(const compressed_view<T>& a, std::int32_t i) {
  return a.end[i] - a.begin[i] >= shortest_run;
}

template <triangle Side, class T>
NEVRAD_INLINE bool find_runs(const compressed_view<T>& a,
                             std::int32_t i,
                             std::int32_t offset,
                             run_lines<T>& found) {
  const std::int64_t behind = a.end[i + lines_a_block - 1] - offset;
  found.values_behind = a.values + behind;
  found.indices_behind = a.indices + behind;
  for (std::int32_t r = 0; r < lines_a_block; ++r) {
    const std::int64_t first = a.begin[i + r] - offset;
    const std::int32_t length = a.end[i + r] - a.begin[i + r];
    const std::int32_t* const indices = a.indices + first;
    if (!is_run(indices, length)) return false;
    found.first[r] = std::int64_t{indices[0]} - offset;
    found.last[r] = found.first[r] + length;
    found.values[r] = a.values + first - found.first[r];
    if (Side == triangle::upper ? found.first[r] < i + r : found.last[r] > i + r + 1) return false;
  }
  return true;
}

// The part of runs strictly on the side; lines number from i.
template <triangle Side, class T>
NEVRAD_INLINE run_lines<T> beyond_diagonal(run_lines<T> l, std::int64_t i) {
  for (int r = 0; r < lines_a_block; ++r) {
    if constexpr (Side == triangle::upper) {
      if (l.first[r] == i + r) ++l.first[r];
    } else {
      if (l.last[r] == i + r + 1) --l.last[r];
    }
  }
  return l;
}

// Where no hint is fixed: asks for sixteen of the entries to come, from `k` behind those of a
// block. Over a block for as many as it holds, not one line of memory less: its lines are read side
// by side, and none alone is a stream for long.
template <class T>
NEVRAD_INLINE void fetch_behind_block(const T* values,
                                      const std::int32_t* indices,
                                      std::int64_t k) {
  if constexpr (!fixed_hints) {
    prefetch<cache::level2>(values + k, stream_values_ahead);
    if constexpr (sizeof(T) == 8) prefetch<cache::level2>(values + k, stream_values_ahead + 64);
    prefetch<cache::level2>(indices + k, stream_indices_ahead);
  }
}

// The last of them, once `from` have been asked for.
template <class T>
NEVRAD_INLINE void fetch_rest_behind_block(const T* values,
                                           const std::int32_t* indices,
                                           std::int64_t from,
                                           std::int64_t to) {
  if constexpr (!fixed_hints) {
    for (std::int64_t k = from; k < to; k += 16) fetch_behind_block(values, indices, k);
  }
}

// What four runs have in common, by whole groups of four. Functions of their own, with all pointers
// at hand: within a larger one they end up in memory.
template <origin From, class T>
[[gnu::noinline]] lanes<T, 4> run_sums_in_fours(const T* a0,
                                                const T* a1,
                                                const T* a2,
                                                const T* a3,
                                                const T* x,
                                                std::int64_t count,
                                                const T* values_behind,
                                                const std::int32_t* indices_behind,
                                                lanes<T, 4> sums) {
  for (std::int64_t j = 0; j < count; j += 4) {
    fetch_behind_block(values_behind, indices_behind, lines_a_block * j);
    hint_trip<From>(a0 + j);
    hint_trip<From>(a1 + j);
    hint_trip<From>(a2 + j);
    hint_trip<From>(a3 + j);
    const tile<T> a =
        transpose(tile<T>{{load<4>(a0 + j), load<4>(a1 + j), load<4>(a2 + j), load<4>(a3 + j)}});
    for (int k = 0; k < 4; ++k) sums = multiply_add(sums, a.line[k], detail::splat(x[j + k]));
  }
  return sums;
}
template <class T>
[[gnu::noinline]] void run_scatter_in_fours(const T* a0,
                                            const T* a1,
                                            const T* a2,
                                            const T* a3,
                                            T* y,
                                            std::int64_t count,
                                            lanes<T, 4> xa) {
  const lanes<T, 4> x0 = broadcast<4>(lane_at<0>(xa));
  const lanes<T, 4> x1 = broadcast<4>(lane_at<1>(xa));
  const lanes<T, 4> x2 = broadcast<4>(lane_at<2>(xa));
  const lanes<T, 4> x3 = broadcast<4>(lane_at<3>(xa));
  for (std::int64_t j = 0; j < count; j += 4) {
    lanes<T, 4> sum = multiply_add(load<4>(y + j), load<4>(a0 + j), x0);
    sum = multiply_add(sum, load<4>(a1 + j), x1);
    sum = multiply_add(sum, load<4>(a2 + j), x2);
    store(y + j, multiply_add(sum, load<4>(a3 + j), x3));
  }
}

// sums + a x over the lines of runs, each in ascending order.
template <origin From, class T>
NEVRAD_INLINE lanes<T, 4> run_sums(const run_lines<T>& l, const T* x, lanes<T, 4> sums) {
  const std::int64_t first = l.common_first();
  const std::int64_t last = l.common_last();
  for (int r = 0; r < lines_a_block; ++r) {
    const std::int64_t stop = first < l.last[r] ? first : l.last[r];
    T sum = sums.v[r];
    for (std::int64_t j = l.first[r]; j < stop; ++j) sum = fma(l.values[r][j], x[j], sum);
    sums.v[r] = sum;
  }
  const std::int64_t fours = first < last ? (last - first) / 4 * 4 : 0;
  sums = run_sums_in_fours<From>(l.values[0] + first, l.values[1] + first, l.values[2] + first,
                                 l.values[3] + first, x + first, fours, l.values_behind,
                                 l.indices_behind, sums);
  fetch_rest_behind_block(l.values_behind, l.indices_behind, lines_a_block * fours,
                          lines_a_block * (l.last[0] - l.first[0]));
  const std::int64_t j = first + fours;
  for (int r = 0; r < lines_a_block; ++r) {
    T sum = sums.v[r];
    const std::int64_t start = j > l.first[r] ? j : l.first[r];
    for (std::int64_t k = start; k < l.last[r]; ++k) sum = fma(l.values[r][k], x[k], sum);
    sums.v[r] = sum;
  }
  return sums;
}

// y += a xa over the lines of runs. An element takes the lines in order.
template <class T>
NEVRAD_INLINE void run_scatter(const run_lines<T>& l, T* y, lanes<T, 4> xa) {
  const std::int64_t first = l.common_first();
  const std::int64_t last = l.common_last();
  const auto one_line = [&](int r, std::int64_t from, std::int64_t to) {
    const T factor = xa.v[r];
    for (std::int64_t j = from; j < to; ++j) y[j] = fma(l.values[r][j], factor, y[j]);
  };
  for (int r = 0; r < lines_a_block; ++r) {
    one_line(r, l.first[r], first < l.last[r] ? first : l.last[r]);
  }
  const std::int64_t fours = first < last ? (last - first) / 4 * 4 : 0;
  run_scatter_in_fours(l.values[0] + first, l.values[1] + first, l.values[2] + first,
                       l.values[3] + first, y + first, fours, xa);
  const std::int64_t j = first + fours;
  for (int r = 0; r < lines_a_block; ++r) one_line(r, j > l.first[r] ? j : l.first[r], l.last[r]);
}

}  // namespace nevrad
