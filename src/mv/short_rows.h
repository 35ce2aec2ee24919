// Rows of a few entries: four rows in flight, one accumulator each.
//
// y_i = alpha sum_p a_p x_{j_p} + beta y_i, the sum strictly in storage order. Real: one chain of
// fused operations a row. Complex: each product formed by itself, then added part by part.
//
// Inside of a grid rows come in groups of four, each the row before moved on by one column. Such a
// group is summed with its rows as lanes: their elements of x are neighbours, one load for four.
// The lanes of `z` would not fit the registers.
#pragma once

#include "arith/lane_products.h"
#include "arith/prefetch.h"
#include "matrix/record.h"
#include "mv/moving_rows.h"
#include "mv/traffic.h"

namespace nevrad {

namespace short_rows_table {

inline constexpr int rows_in_flight = 4;

// Bytes ahead of the running position, twice a group. On AArch64 one line of each array, as a
// stream. On x86-64 that costs more than it brings; two lines of values, far enough to cross the
// page at which the hardware's own prefetch stops, nearly double the speed outside the cache.
inline constexpr int values_ahead = fixed_hints ? 1024 : 3072;
inline constexpr int indices_ahead = fixed_hints ? 512 : 1536;

}  // namespace short_rows_table

// Whether alpha is 1 and beta 0 closely enough for y to be overwritten without being read. The
// comparison is made in double for both types; NaN makes it false. Complex rows always read y.
template <class T>
NEVRAD_INLINE bool overwrites(T alpha, T beta) {
  if constexpr (is_complex<T>) {
    return false;
  } else {
    constexpr double tolerance = is_single<T> ? 1e-6 : 1e-14;
    const double from_one = static_cast<double>(alpha) - 1.0;
    return __builtin_fabs(from_one) < tolerance &&
           __builtin_fabs(static_cast<double>(beta)) < tolerance;
  }
}

template <class T>
NEVRAD_INLINE lane<T> accumulate(lane<T> sum, const T& a, const T& x) {
  if constexpr (is_complex<T>) {
    return add(sum, multiply_by_width(load<1>(&a), load<1>(&x)));
  } else {
    return {fma(a, x, sum.v)};
  }
}

// alpha * sum + scaled_y.
template <class T>
NEVRAD_INLINE T row_result(T alpha, T sum, T scaled_y) {
  if constexpr (is_complex<T>) {
    return add(scaled_y, multiply_by_width(sum, alpha));
  } else {
    return fma(sum, alpha, scaled_y);
  }
}

template <class T>
NEVRAD_INLINE void fetch_entries_ahead(const T* values, const std::int32_t* indices) {
  using namespace short_rows_table;
  constexpr hint wanted = fixed_hints ? hint::stream : hint::keep;
  prefetch<cache::level1, wanted>(values, values_ahead);
  if constexpr (!fixed_hints) prefetch<cache::level1, wanted>(values, values_ahead + 64);
  prefetch<cache::level1, wanted>(indices, indices_ahead);
}

// The sum of one row whose entries end at `last`; j advances to it.
template <class T>
NEVRAD_INLINE T row_sum(const T* values,
                        const std::int32_t* indices,
                        const T* x,
                        std::int64_t& j,
                        std::int64_t last) {
  lane<T> sum = zero_lanes<T, 1>();
  const auto take_two = [&] {
    const index_pair at = load_indices(indices + j);
    sum = accumulate(sum, values[j], x[at.first]);
    sum = accumulate(sum, values[j + 1], x[at.second]);
    j += 2;
  };
  while (j + 3 < last) {
    take_two();
    take_two();
  }
  if (j + 1 < last) take_two();
  if (j < last) {
    sum = accumulate(sum, values[j], x[indices[j]]);
    ++j;
  }
  return to_element(sum);
}

// The same for four rows. Real types and `c`.
template <class T>
NEVRAD_INLINE lanes<T, 4> accumulate_rows(lanes<T, 4> sums, lanes<T, 4> a, lanes<T, 4> x) {
  if constexpr (is_complex<T>) {
    return add(sums, multiply_fused(a, x));
  } else {
    return multiply_add(sums, a, x);
  }
}

template <class T>
NEVRAD_INLINE lanes<T, 4> row_results(T alpha, lanes<T, 4> sums, lanes<T, 4> y, T beta) {
  return accumulate_rows<T>(multiply_fused(y, broadcast<4>(to_lane(beta))), sums,
                            broadcast<4>(to_lane(alpha)));
}

template <traffic H, class T>
void short_rows(const T& alpha,
                const compressed_view<T>& a,
                const T* x,
                const T& beta,
                T* y,
                std::int32_t row_begin,
                std::int32_t row_end) {
  const bool overwrite = overwrites(alpha, beta);
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  const std::int32_t* const end = a.end;
  const std::int32_t base = a.base;
  const T* const from = x - base;
  std::int64_t j = a.begin[row_begin] - base;

  const auto next_sum = [&](std::int32_t i) {
    return row_sum(values, indices, from, j, end[i] - base);
  };
  const auto write_back = [&](std::int32_t i, T sum) {
    y[i] = overwrite ? sum : row_result(alpha, sum, multiply_by_width(y[i], beta));
  };

  // Whether the four rows from i on, the first of them of that length, move on together.
  const auto rows_move_on = [&](std::int32_t i, std::int64_t length) {
    const std::int64_t first = end[i];
    return length > 0 && end[i + 1] > first && starts_one_on(indices + j, indices + j + length) &&
           end[i + 1] - first == length && end[i + 2] - first == 2 * length &&
           end[i + 3] - first == 3 * length && lines_move_on(indices + j, length);
  };

  std::int32_t i = row_begin;
  for (; i < row_end - (short_rows_table::rows_in_flight - 1);
       i += short_rows_table::rows_in_flight) {
    fetch_entries_ahead(values + j, indices + j);
    if constexpr (sizeof(T) <= 8) {
      const std::int64_t length = end[i] - base - j;
      if (rows_move_on(i, length)) {
        fetch_entries_ahead(values + j + 2 * length, indices + j + 2 * length);
        if constexpr (H == traffic::outside) fetch_x_ahead(from, indices + j, length, i);
        lanes<T, 4> sums = zero_lanes<T, 4>();
        add_moving_rows<1>(&sums, values + j, indices + j, from, length, 0, length,
                           accumulate_rows<T>, [](std::int64_t) {});
        store(y + i, overwrite ? sums : row_results(alpha, sums, load<4>(y + i), beta));
        j += 4 * length;
        continue;
      }
    }
    const T s0 = next_sum(i);
    const T s1 = next_sum(i + 1);
    fetch_entries_ahead(values + j, indices + j);
    const T s2 = next_sum(i + 2);
    const T s3 = next_sum(i + 3);
    write_back(i, s0);
    write_back(i + 1, s1);
    write_back(i + 2, s2);
    write_back(i + 3, s3);
  }
  for (; i < row_end; ++i) {
    fetch_entries_ahead(values + j, indices + j);
    write_back(i, next_sum(i));
  }
}

template <class T>
void short_rows(const T& alpha,
                const compressed_view<T>& a,
                const T* x,
                const T& beta,
                T* y,
                std::int32_t row_begin,
                std::int32_t row_end) {
  if (row_begin >= row_end) return;
  with_traffic(a, [&](auto where) {
    short_rows<decltype(where)::value>(alpha, a, x, beta, y, row_begin, row_end);
  });
}

}  // namespace nevrad
