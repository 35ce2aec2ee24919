// C := alpha * A * B + beta * C with row-major B and C, B read where it lies: no panels, no blocks,
// no pass over C of its own.
//
// Chunks of 64 bytes of a row of C stay in registers while the row's entries pass. Real: the chunk
// starts as C * beta, rounded, and each entry adds (value * alpha, rounded) times the row of B,
// fused. Complex: the sum of value * b by rotations, value first, then beta and alpha once each.
// The columns behind the last whole chunk go one at a time, with alpha on each value in all types.
#pragma once

#include "mm/column_blocks.h"
#include "mm/panels.h"

namespace nevrad {

template <class T>
struct dense_rows {
  const T* at;
  std::int32_t ld;
  NEVRAD_INLINE const T* row(std::int32_t i) const {
    return at + static_cast<std::int64_t>(i) * ld;
  }
};

// The entries of one sparse row.
template <class T>
struct sparse_row {
  const T* values;
  const std::int32_t* columns;
  std::int32_t length;
};

// One chunk of a row of C, `b` and `c` at its first column. Two entries a trip, the odd one last.
template <int W, class T>
NEVRAD_INLINE void direct_chunk(sparse_row<T> a, dense_rows<T> b, T* c, T alpha, T beta) {
  const lane<T> scale = to_lane(alpha);
  const lanes<T, W> scale_c = broadcast<W>(to_lane(beta));
  if constexpr (is_complex<T>) {
    const auto accumulate = [&](lanes<T, W> acc, std::int32_t p) {
      return multiply_add(acc, broadcast<W>(load<1>(a.values + p)), load<W>(b.row(a.columns[p])));
    };
    lanes<T, W> acc = zero_lanes<T, W>();
    std::int32_t p = 0;
    for (; p + 1 < a.length; p += 2) acc = accumulate(accumulate(acc, p), p + 1);
    if (p < a.length) acc = accumulate(acc, p);
    const lanes<T, W> t = multiply_add(zero_lanes<T, W>(), load<W>(c), scale_c);
    store(c, multiply_add(t, acc, broadcast<W>(scale)));
  } else {
    const auto accumulate = [&](lanes<T, W> acc, std::int32_t p) {
      const lanes<T, W> v = broadcast<W>(multiply(load<1>(a.values + p), scale));
      return multiply_add(acc, v, load<W>(b.row(a.columns[p])));
    };
    lanes<T, W> acc = multiply(load<W>(c), scale_c);
    std::int32_t p = 0;
    for (; p + 1 < a.length; p += 2) acc = accumulate(accumulate(acc, p), p + 1);
    if (p < a.length) acc = accumulate(acc, p);
    store(c, acc);
  }
}

// One element of C, `b` and `c` at its column.
template <class T>
NEVRAD_INLINE void direct_element(sparse_row<T> a, dense_rows<T> b, T* c, T alpha, T beta) {
  T sum = multiply_fused(beta, *c);
  for (std::int32_t p = 0; p < a.length; ++p) {
    const T v = multiply_fused(alpha, a.values[p]);
    const T x = *b.row(a.columns[p]);
    if constexpr (is_complex<T>) {
      sum = add(sum, multiply_fused(v, x));
    } else {
      sum = fma(v, x, sum);
    }
  }
  *c = sum;
}

// Rows lo up to but excluding hi.
template <class T>
void mm_rows_direct(const owned_matrix<T>& a,
                    std::int32_t lo,
                    std::int32_t hi,
                    const T* b,
                    std::int32_t n,
                    std::int32_t ldb,
                    T* c,
                    std::int32_t ldc,
                    T alpha,
                    T beta) {
  constexpr int chunk = mm_chunk<T>;
  for (std::int32_t i = lo; i < hi; ++i) {
    const std::int32_t first = a.begin[i];
    const sparse_row<T> row = {a.values + first, a.indices + first, a.end[i] - first};
    T* const ci = c + static_cast<std::int64_t>(i) * ldc;
    std::int32_t j = 0;
    for (; n - j >= chunk; j += chunk) {
      direct_chunk<chunk>(row, dense_rows<T>{b + j, ldb}, ci + j, alpha, beta);
    }
    for (; j < n; ++j) direct_element(row, dense_rows<T>{b + j, ldb}, ci + j, alpha, beta);
  }
}

}  // namespace nevrad
