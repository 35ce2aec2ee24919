// Line kernels: sparse rows times one column, for the columns that fill no panel.
//
// Real: one chain of fused operations a row and block, in stored order, and one fused update of y.
// Complex: nothing is fused; each product is formed by itself, then added. A row without entries
// goes through the update too, with a sum of zero, so an infinite alpha makes it NaN.
#pragma once

#include "arith/products.h"
#include "mm/block_list.h"

namespace nevrad {

template <class T>
NEVRAD_INLINE T add_product(T sum, T a, T x) {
  if constexpr (is_complex<T>) {
    return add(sum, multiply_plain(a, x));
  } else {
    return fma(a, x, sum);
  }
}

// alpha * sum on top of y.
template <class T>
NEVRAD_INLINE T add_scaled(T y, T alpha, T sum) {
  if constexpr (is_complex<T>) {
    return add(y, multiply_plain(alpha, sum));
  } else {
    return fma(sum, alpha, y);
  }
}

template <class T>
NEVRAD_INLINE T
multiply_line(const T* values, const std::int32_t* columns, std::int32_t length, const T* x) {
  T sum = zero<T>();
  for (std::int32_t p = 0; p < length; ++p) sum = add_product(sum, values[p], x[columns[p]]);
  return sum;
}

// Row r of y is one element on when unit_stride is odd, else ldc elements.
NEVRAD_INLINE std::int64_t line_stride(std::int32_t ldc, std::uint32_t unit_stride) {
  return (unit_stride & 1U) != 0 ? 1 : ldc;
}

template <class T>
void line_kernel(const block_list<T>& source,
                 const T* x,
                 T* y,
                 std::int32_t ldc,
                 const T* alpha,
                 std::uint32_t unit_stride) {
  const T scale = *alpha;
  const std::int64_t stride = line_stride(ldc, unit_stride);
  source.for_each_part_and_gap(
      [=](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
        T& target = y[r * stride];
        target = add_scaled(target, scale, multiply_line(values, columns, length, x));
      });
}

// With y * beta, rounded, in the place of y; for a whole matrix as a single block. Real types.
template <class T>
void line_kernel_beta(const block_list<T>& source,
                      const T* x,
                      T* y,
                      std::int32_t ldc,
                      const T* alpha,
                      const T* beta,
                      std::uint32_t unit_stride) {
  const T scale = *alpha;
  const T scale_y = *beta;
  const std::int64_t stride = line_stride(ldc, unit_stride);
  source.for_each_part_and_gap(
      [=](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
        T& target = y[r * stride];
        target = add_scaled(target * scale_y, scale, multiply_line(values, columns, length, x));
      });
}

}  // namespace nevrad
