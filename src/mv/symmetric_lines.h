// Line kernels of the symmetric and Hermitian products.
#pragma once

#include "mv/lines.h"
#include "mv/symmetric.h"

namespace nevrad {

template <mirror_form Form, class T>
void sym_mv_lines(const T& alpha_at,
                  const compressed_view<T>& a,
                  const T* x,
                  T* y,
                  std::int32_t line_begin,
                  std::int32_t line_end) {
  constexpr origin from = Form.hermitian ? origin::base : origin::first_begin;
  constexpr complex_sum sum = Form.hermitian ? complex_sum::separate : complex_sum::rotated;
  const T alpha = alpha_at;
  const std::int32_t offset = origin_of<from>(a);
  const T* const x_at = x - offset;
  T* const y_at = y - offset;
  for (std::int32_t i = line_begin; i < line_end; ++i) {
    const T xi = x[i];
    const T xa = multiply_fused(xi, alpha);
    const T acc = walk_line<Form.side, from>(
        line_at(a, i, offset), Form.ones == diagonal::unit ? xi : zero<T>(),
        [&](T so_far, T element, std::int64_t j) {
          y_at[j] = add_product<sum, Form.terms.mirror>(y_at[j], element, xa);
          return add_product<sum, Form.terms.gather>(so_far, element, x_at[j]);
        },
        [&](T so_far, T element) {
          if constexpr (Form.ones == diagonal::unit) return so_far;
          return add_product<sum, Form.terms.diagonal>(so_far, element, xi);
        });
    const T yi = add_product<sum, conjugation::no>(y[i], acc, alpha);
    // Three more terms 0 * alpha follow in the symmetric forms; the first leaves the others nothing
    // to change.
    y[i] = Form.hermitian ? yi : multiply_add(yi, zero<T>(), alpha);
  }
}

}  // namespace nevrad
