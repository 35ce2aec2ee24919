// Solves with a diagonal matrix. Row and column storage are one, and so are all operations but
// conjugation.
#pragma once

#include "sv/substitution.h"

namespace nevrad {

// y[i] = (alpha x[i]) / d, d the first entry of line i at its diagonal. A line without one leaves
// y[i] as it was. Complex: the denominator is one fused product and one rounded one.
template <conjugation C, class T>
void diag_solve_lines(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  const std::int32_t base = a.base;
  for (std::int32_t i = 0; i < a.rows; ++i) {
    const std::int64_t last = a.end[i] - base;
    std::int64_t p = a.begin[i] - base;
    while (p < last && a.indices[p] != i + base) ++p;
    if (p >= last) continue;
    const T t = multiply_fused(x[i], alpha);
    const T d = a.values[p];
    if constexpr (is_complex<T>) {
      const auto denominator = fma(d.re, d.re, d.im * d.im);
      const T numerator = multiply_fused(C == conjugation::no ? conj(d) : d, t);
      y[i] = {numerator.re / denominator, numerator.im / denominator};
    } else {
      y[i] = t / d;
    }
  }
}

}  // namespace nevrad
