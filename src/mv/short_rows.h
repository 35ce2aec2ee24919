// Rows of a few entries: four rows in flight, one accumulator each.
//
// y_i = alpha sum_p a_p x_{j_p} + beta y_i, the sum strictly in storage order. Real: one chain of
// fused operations a row. Complex: each product formed by itself, then added part by part.
#pragma once

#include "arith/prefetch.h"
#include "matrix/record.h"

namespace nevrad {

namespace short_rows_table {

inline constexpr int rows_in_flight = 4;
// Bytes ahead of the running position, level 1, streaming.
inline constexpr int values_ahead = 1024;
inline constexpr int indices_ahead = 512;

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
NEVRAD_INLINE T accumulate(T sum, T a, T x) {
  if constexpr (is_complex<T>) {
    return add(sum, multiply_by_width(a, x));
  } else {
    return fma(a, x, sum);
  }
}

template <class T>
NEVRAD_INLINE T scaled_sum(T alpha, T sum, T scaled_y) {
  if constexpr (is_complex<T>) {
    return add(scaled_y, multiply_by_width(sum, alpha));
  } else {
    return fma(sum, alpha, scaled_y);
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
  using namespace short_rows_table;
  if (row_begin >= row_end) return;
  const bool overwrite = overwrites(alpha, beta);
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  const std::int32_t* const end = a.end;
  const T* const from = x - a.base;
  std::int64_t j = a.begin[row_begin] - a.base;

  const auto fetch_ahead = [&] {
    if constexpr (fixed_hints) {
      prefetch<cache::level1, hint::stream>(values + j, values_ahead);
      prefetch<cache::level1, hint::stream>(indices + j, indices_ahead);
    }
  };
  const auto row_sum = [&](std::int32_t i) {
    T sum = zero<T>();
    for (const std::int64_t last = end[i] - a.base; j < last; ++j) {
      sum = accumulate(sum, values[j], from[indices[j]]);
    }
    return sum;
  };
  const auto write_back = [&](std::int32_t i, T sum) {
    y[i] = overwrite ? sum : scaled_sum(alpha, sum, multiply_by_width(y[i], beta));
  };

  std::int32_t i = row_begin;
  for (; i < row_end - (rows_in_flight - 1); i += rows_in_flight) {
    fetch_ahead();
    const T s0 = row_sum(i);
    const T s1 = row_sum(i + 1);
    fetch_ahead();
    const T s2 = row_sum(i + 2);
    const T s3 = row_sum(i + 3);
    write_back(i, s0);
    write_back(i + 1, s1);
    write_back(i + 2, s2);
    write_back(i + 3, s3);
  }
  for (; i < row_end; ++i) {
    fetch_ahead();
    write_back(i, row_sum(i));
  }
}

}  // namespace nevrad
