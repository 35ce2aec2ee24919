// Line kernels of the symmetric and Hermitian products.
#pragma once

#include "mv/line_blocks.h"
#include "mv/symmetric.h"

namespace nevrad {

// y_i += acc alpha, and what follows it. Three more terms 0 * alpha follow in the symmetric forms;
// the first leaves the others nothing to change.
template <mirror_form Form, class T>
NEVRAD_INLINE T line_result(T yi, T acc, T alpha) {
  constexpr complex_sum sum = Form.hermitian ? complex_sum::separate : complex_sum::rotated;
  yi = add_product<sum, conjugation::no>(yi, acc, alpha);
  return Form.hermitian ? yi : multiply_add(yi, zero<T>(), alpha);
}

template <mirror_form Form, class T>
NEVRAD_INLINE void sym_mv_line(const T& alpha,
                               const compressed_view<T>& a,
                               const T* x,
                               T* y,
                               std::int32_t i,
                               std::int32_t offset) {
  constexpr origin from = Form.hermitian ? origin::base : origin::first_begin;
  constexpr complex_sum sum = Form.hermitian ? complex_sum::separate : complex_sum::rotated;
  const T* const x_at = x - offset;
  T* const y_at = y - offset;
  const T xi = x[i];
  const T xa = multiply_fused(xi, alpha);
  const auto line = line_at(a, i, offset);
  const auto use_twice = [&](T so_far, T element, std::int64_t j) {
    // In this order the element's register takes the mirrored sum.
    so_far = add_product<sum, Form.terms.gather>(so_far, element, x_at[j]);
    y_at[j] = add_product<sum, Form.terms.mirror>(y_at[j], element, xa);
    return so_far;
  };
  T acc;
  if constexpr (Form.ones == diagonal::unit) {
    acc = walk_line<Form.side, from>(line, xi, use_twice, [](T so_far, T) { return so_far; });
  } else {
    acc = walk_from_diagonal<Form.side, from>(line, zero<T>(), use_twice, [&](T so_far, T element) {
      return add_product<sum, Form.terms.diagonal>(so_far, element, xi);
    });
  }
  y[i] = line_result<Form>(y[i], acc, alpha);
}

// One by one. Apart from the blocks, which need all registers.
template <mirror_form Form, class T>
[[gnu::noinline]] void sym_mv_single_lines(const T& alpha_at,
                                           const compressed_view<T>& a,
                                           const T* x,
                                           T* y,
                                           std::int32_t line_begin,
                                           std::int32_t line_end) {
  const T alpha = alpha_at;
  const std::int32_t offset = origin_of<Form.hermitian ? origin::base : origin::first_begin>(a);
  for (std::int32_t i = line_begin; i < line_end; ++i) {
    sym_mv_line<Form>(alpha, a, x, y, i, offset);
  }
}

// Lines i to i + 3, if they are stepped.
template <mirror_form Form, class T>
NEVRAD_INLINE bool take_stepped_lines(const compressed_view<T>& a,
                                      const T* x,
                                      T* y,
                                      std::int32_t i,
                                      std::int32_t offset,
                                      lanes<T, 4> alpha) {
  using steps = steps_of<Form.side>;
  constexpr bool upper = Form.side == triangle::upper;
  stepped_lines<T> l;
  if (!find_stepped<Form.side>(a, i, offset, l)) return false;
  const T* const x_at = x - offset;
  T* const y_at = y - offset;
  const std::int64_t j[] = {l.indices[0], l.indices[1], l.indices[2], l.indices[3]};
  fetch_stepped(l, x_at + j[3], y_at + j[3]);

  const tile<T> entries = transpose(load_tile(l.values, l.length));
  const lanes<T, 4>(&element)[4] = entries.line;
  lanes<T, 4> acc = zero_lanes<T, 4>();
  for (int s = 0; s < l.length; ++s) acc = multiply_add(acc, element[s], load<4>(x_at + j[s]));

  const lanes<T, 4> xa = multiply_fused(load<4>(x + i), alpha);
  const auto mirror = [&](int s) {
    store(y_at + j[s], multiply_add(load<4>(y_at + j[s]), element[s], xa));
  };
  const auto results = [&](lanes<T, 4> own) {
    return multiply_add(multiply_add(own, acc, alpha), zero_lanes<T, 4>(), alpha);
  };
  mirror(steps::first_far);
  mirror(steps::first_far + 1);
  // A near step that is the diagonal's neighbour meets the block's own elements. In an upper
  // triangle the term of the line before comes ahead of an element's own sum, in a lower one that
  // of the line behind comes after it. They are handed on in registers: a load from two stores that
  // are still on their way would wait for both.
  T* const own = y + i;
  constexpr int near = steps::near;
  if constexpr (upper) {
    const lanes<T, 4> mirrored = multiply_add(load<4>(y_at + j[near]), element[near], xa);
    if (j[near] == j[steps::diagonal] + 1) {
      const lanes<T, 4> first = detail::splat(own[0]);
      store(own, results({__builtin_shufflevector(mirrored.v, first.v, 4, 0, 1, 2)}));
      own[4] = mirrored.v[3];
    } else {
      store(y_at + j[near], mirrored);
      store(own, results(load<4>(own)));
    }
  } else {
    const lanes<T, 4> sums = results(load<4>(own));
    if (j[near] == j[steps::diagonal] - 1) {
      const lanes<T, 4> before = detail::splat(own[-1]);
      const lanes<T, 4> shifted = {__builtin_shufflevector(sums.v, before.v, 4, 0, 1, 2)};
      own[3] = sums.v[3];
      store(own - 1, multiply_add(shifted, element[near], xa));
    } else {
      store(own, sums);
      mirror(near);
    }
  }
  return true;
}

// Lines i to i + 3, if they are runs.
template <mirror_form Form, class T>
[[gnu::noinline]] bool take_run_lines(const T& alpha_at,
                                      const compressed_view<T>& a,
                                      const T* x,
                                      T* y,
                                      std::int32_t i,
                                      std::int32_t offset) {
  constexpr origin from = origin::first_begin;
  run_lines<T> l;
  if (!find_runs<Form.side>(a, i, offset, l)) return false;
  const T alpha = alpha_at;
  const lanes<T, 4> xi = load<4>(x + i);
  const lanes<T, 4> xa = multiply_fused(xi, detail::splat(alpha));
  const run_lines<T> mirrored = beyond_diagonal<Form.side>(l, i);
  const lanes<T, 4> acc = Form.ones == diagonal::unit ? run_sums<from>(mirrored, x, xi)
                                                      : run_sums<from>(l, x, zero_lanes<T, 4>());
  // No line of an upper triangle mirrors into a line before it, none of a lower one behind it.
  if constexpr (Form.side == triangle::upper) run_scatter(mirrored, y, xa);
  for (int r = 0; r < lines_a_block; ++r) {
    y[i + r] = line_result<Form>(y[i + r], T{acc.v[r]}, alpha);
  }
  if constexpr (Form.side == triangle::lower) run_scatter(mirrored, y, xa);
  return true;
}

template <mirror_form Form, class T>
void sym_mv_lines(const T& alpha,
                  const compressed_view<T>& a,
                  const T* x,
                  T* y,
                  std::int32_t line_begin,
                  std::int32_t line_end) {
  if constexpr (is_complex<T>) {
    sym_mv_single_lines<Form>(alpha, a, x, y, line_begin, line_end);
  } else {
    const std::int32_t offset = a.begin[0];
    const lanes<T, 4> alphas = detail::splat(alpha);
    const auto may_be_stepped = [&](std::int32_t i) {
      return Form.ones == diagonal::stored && a.end[i] - a.begin[i] == stepped_lines<T>::length;
    };
    for_each_block(
        line_begin, line_end, [&](std::int32_t i) { return may_be_stepped(i) || may_be_run(a, i); },
        [&](std::int32_t i) {
          return may_be_stepped(i) ? take_stepped_lines<Form>(a, x, y, i, offset, alphas)
                                   : take_run_lines<Form>(alpha, a, x, y, i, offset);
        },
        [&](std::int32_t first, std::int32_t last) {
          sym_mv_single_lines<Form>(alpha, a, x, y, first, last);
        });
  }
}

}  // namespace nevrad
