// The walk over one compressed line that takes only the entries of a triangle, by a test an entry.
//
// Line i is seen as a row: the upper triangle is what lies beyond the diagonal, j > i. A matrix
// stored by columns is the transpose stored by rows, so its upper triangle is walked as a lower
// one. Lines need not be sorted; what lies on the other side is skipped whatever it holds.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "matrix/record.h"
#include "mv/streams.h"

namespace nevrad {

// What positions and indices of a view count from. Most kernels take the first row's begin, which
// for a packed matrix is the base; some take the base.
enum class origin : bool { first_begin, base };

template <origin Origin, class T>
NEVRAD_INLINE std::int32_t origin_of(const compressed_view<T>& a) {
  return Origin == origin::first_begin ? a.begin[0] : a.base;
}

namespace lines_table {

inline constexpr int entries_a_trip = 4;
// Bytes ahead. On AArch64 near is level 1, keep, on indices and values; far is level 2, keep, on
// values, and on indices where the third entry of a trip is taken.
inline constexpr int near_ahead = 256;
inline constexpr int far_ahead = 4096;

}  // namespace lines_table

template <triangle Side>
NEVRAD_INLINE bool is_beyond(std::int64_t j, std::int64_t i) {
  return Side == triangle::upper ? j > i : j < i;
}

// The entries of one line. Indices and the line's own number count from the view's origin.
template <class T>
struct line_of {
  const T* values;
  const std::int32_t* indices;
  std::int32_t length;
  std::int32_t number;
};

template <class T>
NEVRAD_INLINE line_of<T> line_at(const compressed_view<T>& a, std::int32_t i, std::int32_t offset) {
  const std::int64_t first = a.begin[i] - offset;
  return {a.values + first, a.indices + first, a.end[i] - a.begin[i], i + offset};
}

// sum = off_diagonal(sum, a, j) for each entry strictly on the side and sum = on_diagonal(sum, a)
// for each on the diagonal, in storage order; returns the sum. It goes by value, because a sum that
// is captured by reference ends up in memory. A trip that lies on the side as a whole takes one
// test. Of the hints, that on far indices is given only where the third entry of a trip is taken.
template <triangle Side, origin Origin, class T, class Sum, class OffDiagonal, class OnDiagonal>
NEVRAD_INLINE Sum walk_line(const line_of<T>& line,
                            Sum sum,
                            const OffDiagonal& off_diagonal,
                            const OnDiagonal& on_diagonal) {
  using namespace lines_table;
  constexpr bool hinted = fixed_hints && Origin == origin::first_begin;
  const std::int32_t i = line.number;
  const T* values = line.values;
  const std::int32_t* indices = line.indices;
  const auto take = [&](Sum so_far, T a, std::int64_t j) {
    if (is_beyond<Side>(j, i)) return off_diagonal(so_far, a, j);
    if (j == i) return on_diagonal(so_far, a);
    return so_far;
  };
  std::int32_t left = line.length;
  for (; left >= entries_a_trip; left -= entries_a_trip) {
    const auto [j0, j1] = load_indices(indices);
    const auto [j2, j3] = load_indices(indices + 2);
    const T a0 = values[0];
    const T a1 = values[1];
    const T a2 = values[2];
    const T a3 = values[3];
    values += entries_a_trip;
    indices += entries_a_trip;
    if constexpr (hinted) {
      prefetch<cache::level1>(indices, near_ahead);
      prefetch<cache::level1>(values, near_ahead);
    }
    fetch_streams(values, indices);
    const bool third = is_beyond<Side>(j2, i);
    if (is_beyond<Side>(j0, i) && is_beyond<Side>(j1, i) && third && is_beyond<Side>(j3, i)) {
      sum = off_diagonal(sum, a0, j0);
      sum = off_diagonal(sum, a1, j1);
      sum = off_diagonal(sum, a2, j2);
      sum = off_diagonal(sum, a3, j3);
    } else {
      sum = take(sum, a0, j0);
      sum = take(sum, a1, j1);
      sum = take(sum, a2, j2);
      sum = take(sum, a3, j3);
    }
    if constexpr (hinted) {
      prefetch<cache::level2>(values, far_ahead);
      if (third) prefetch<cache::level2>(indices, far_ahead);
    }
  }
  for (; left > 0; --left) sum = take(sum, *values++, *indices++);
  return sum;
}

// The same, for walks that do more with an entry off the diagonal than with one on it. A diagonal
// where an ascending line has it, at the end that the side begins at, is taken ahead of the trips
// or behind them, so that these lie on the side as a whole.
template <triangle Side, origin Origin, class T, class Sum, class OffDiagonal, class OnDiagonal>
NEVRAD_INLINE Sum walk_from_diagonal(line_of<T> line,
                                     Sum sum,
                                     const OffDiagonal& off_diagonal,
                                     const OnDiagonal& on_diagonal) {
  if (line.length <= 0) return sum;
  if (line.length < 2 * lines_table::entries_a_trip) fetch_streams(line.values, line.indices);
  bool ends_on_diagonal = false;
  if constexpr (Side == triangle::upper) {
    if (line.indices[0] == line.number) {
      sum = on_diagonal(sum, line.values[0]);
      ++line.values;
      ++line.indices;
      --line.length;
    }
  } else {
    ends_on_diagonal = line.indices[line.length - 1] == line.number;
    if (ends_on_diagonal) --line.length;
  }
  sum = walk_line<Side, Origin>(line, sum, off_diagonal, on_diagonal);
  return ends_on_diagonal ? on_diagonal(sum, line.values[line.length]) : sum;
}

// The sum of a walk that only scatters.
struct no_sum {};

// How a complex product enters a sum: rotated into it by fused steps, or formed first and then
// added part by part. Real elements: one fused operation.
enum class complex_sum : bool { rotated, separate };

template <complex_sum Sum, conjugation C, class T>
NEVRAD_INLINE T add_product(T sum, T a, T b) {
  if constexpr (is_complex<T> && Sum == complex_sum::separate) {
    return add(sum, multiply_fused(conj_if<C>(a), b));
  } else {
    return multiply_add<C>(sum, a, b);
  }
}

}  // namespace nevrad
