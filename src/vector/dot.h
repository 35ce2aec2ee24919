// Blocks of the sparse dot products: the sum over positions first to last - 1, in ascending order.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// One chain of fused operations (real), or of rounded sums of fused (`c`) or plain (`z`) products.
// The conjugated form takes conj(x[i]) and keeps y as the first operand of the product.
template <conjugation C, class T>
T dot_block(const T* x,
            const std::int32_t* indx,
            const T* y,
            std::int32_t first,
            std::int32_t last) {
  T sum = zero<T>();
  for (std::int32_t i = first; i < last; ++i) {
    const T u = x[i];
    const T v = y[indx[i]];
    if constexpr (!is_complex<T>) {
      sum = fma(u, v, sum);
    } else if constexpr (C == conjugation::yes) {
      sum = add(sum, multiply_by_width(v, conj(u)));
    } else {
      sum = add(sum, multiply_by_width(u, v));
    }
  }
  return sum;
}

// The one-thread form of `z`: one accumulator, the product rotated into it by fused steps.
template <conjugation C, class T>
T dot_rotated(const T* x, const std::int32_t* indx, const T* y, std::int32_t nnz) {
  lane<T> sum = zero_lanes<T, 1>();
  for (std::int32_t i = 0; i < nnz; ++i) {
    sum = multiply_add<C>(sum, load<1>(x + i), load<1>(y + indx[i]));
  }
  return to_element(sum);
}

}  // namespace nevrad
