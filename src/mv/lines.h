// The walk over one compressed line that takes only the entries of a triangle, by a test an entry.
//
// Line i is seen as a row: the upper triangle is what lies beyond the diagonal, j > i. A matrix
// stored by columns is the transpose stored by rows, so its upper triangle is walked as a lower
// one. Lines need not be sorted; what lies on the other side is skipped whatever it holds.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "matrix/record.h"

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
inline constexpr int near_ahead = 256;  // bytes, level 1, keep: indices and values
inline constexpr int far_ahead = 4096;  // bytes, level 2, keep: values; indices on condition

}  // namespace lines_table

template <triangle Side>
NEVRAD_INLINE bool is_beyond(std::int32_t j, std::int32_t i) {
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

// Calls off_diagonal(a, j) for each entry strictly on the side and on_diagonal(a) for each on the
// diagonal, in storage order. Of the hints, that on far indices is given only where the third entry
// of a trip is taken.
template <triangle Side, origin Origin, class T, class OffDiagonal, class OnDiagonal>
NEVRAD_INLINE void walk_line(const line_of<T>& line,
                             const OffDiagonal& off_diagonal,
                             const OnDiagonal& on_diagonal) {
  using namespace lines_table;
  constexpr bool hinted = fixed_hints && Origin == origin::first_begin;
  const std::int32_t i = line.number;
  const T* values = line.values;
  const std::int32_t* indices = line.indices;
  const auto take = [&](T a, std::int32_t j) {
    if (is_beyond<Side>(j, i)) {
      off_diagonal(a, j);
    } else if (j == i) {
      on_diagonal(a);
    }
  };
  std::int32_t left = line.length;
  for (; left >= entries_a_trip; left -= entries_a_trip) {
    const std::int32_t j0 = indices[0];
    const std::int32_t j1 = indices[1];
    const std::int32_t j2 = indices[2];
    const std::int32_t j3 = indices[3];
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
    take(a0, j0);
    take(a1, j1);
    take(a2, j2);
    take(a3, j3);
    if constexpr (hinted) {
      prefetch<cache::level2>(values, far_ahead);
      if (is_beyond<Side>(j2, i)) prefetch<cache::level2>(indices, far_ahead);
    }
  }
  for (; left > 0; --left) take(*values++, *indices++);
}

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
