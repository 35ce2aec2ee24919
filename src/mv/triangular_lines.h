// Line kernels of the triangular products, which test every entry.
//
// Side is the kept side as the lines see it: that of the descriptor for a matrix stored by rows,
// the opposite one for a matrix stored by columns.
#pragma once

#include "mv/line_blocks.h"

namespace nevrad {

// The sums of rows i to i + 3, if they are runs.
template <triangle Side, diagonal Ones, class T>
[[gnu::noinline]] bool tri_run_sums(const compressed_view<T>& a,
                                    const T* x,
                                    std::int32_t i,
                                    lanes<T, 4>& sums) {
  run_lines<T> l;
  if (!find_runs<Side>(a, i, a.base, l)) return false;
  constexpr origin from = origin::base;
  if constexpr (Ones == diagonal::unit) {
    sums = run_sums<from>(beyond_diagonal<Side>(l, i), x, load<4>(x + i));
  } else {
    sums = run_sums<from>(l, x, zero_lanes<T, 4>());
  }
  return true;
}

// y_i = beta y_i + alpha acc, one row after the other.
template <triangle Side, diagonal Ones, class T>
[[gnu::noinline]] void tri_mv_single_rows(const T& alpha_at,
                                          const compressed_view<T>& a,
                                          const T* x,
                                          const T& beta_at,
                                          T* y,
                                          std::int32_t row_begin,
                                          std::int32_t row_end) {
  constexpr complex_sum sum = complex_sum::separate;
  const T alpha = alpha_at;
  const T beta = beta_at;
  const T* const x_at = x - a.base;
  for (std::int32_t i = row_begin; i < row_end; ++i) {
    const auto gather = [&](T so_far, T element, std::int64_t j) {
      return add_product<sum, conjugation::no>(so_far, element, x_at[j]);
    };
    const T acc = walk_line<Side, origin::base>(line_at(a, i, a.base),
                                                Ones == diagonal::unit ? x[i] : zero<T>(), gather,
                                                [&](T so_far, T element) {
                                                  if constexpr (Ones == diagonal::unit)
                                                    return so_far;
                                                  return gather(so_far, element, i + a.base);
                                                });
    y[i] = add_product<sum, conjugation::no>(multiply_fused(y[i], beta), acc, alpha);
  }
}

// y_i = beta y_i + alpha acc for rows row_begin up to but excluding row_end, acc the sum of a x_j
// over the kept entries of the row in storage order: one accumulator, starting at x_i for a
// diagonal of ones. Complex products are formed first and then added. Counts from the base.
template <triangle Side, diagonal Ones, class T>
void tri_mv_rows(const T& alpha,
                 const compressed_view<T>& a,
                 const T* x,
                 const T& beta,
                 T* y,
                 std::int32_t row_begin,
                 std::int32_t row_end) {
  if constexpr (is_complex<T>) {
    tri_mv_single_rows<Side, Ones>(alpha, a, x, beta, y, row_begin, row_end);
  } else {
    for_each_block(
        row_begin, row_end, [&](std::int32_t i) { return may_be_run(a, i); },
        [&](std::int32_t i) {
          lanes<T, 4> sums;
          if (!tri_run_sums<Side, Ones>(a, x, i, sums)) return false;
          for (std::int32_t r = 0; r < lines_a_block; ++r) {
            y[i + r] = fma(T{sums.v[r]}, alpha, y[i + r] * beta);
          }
          return true;
        },
        [&](std::int32_t first, std::int32_t last) {
          tri_mv_single_rows<Side, Ones>(alpha, a, x, beta, y, first, last);
        });
  }
}

// y_j += a (alpha x_i) over the kept entries of lines line_begin up to but excluding line_end, one
// by one, then y_i += alpha x_i for a diagonal of ones. y may be a private vector. Sum and From
// tell the two forms apart: fused steps counted from begin[0], or whole products counted from the
// base.
template <triangle Side, diagonal Ones, conjugation C, complex_sum Sum, origin From, class T>
void tri_mv_lines_scatter(const T& alpha_at,
                          const compressed_view<T>& a,
                          const T* x,
                          T* y,
                          std::int32_t line_begin,
                          std::int32_t line_end) {
  const T alpha = alpha_at;
  const std::int32_t offset = origin_of<From>(a);
  T* const y_at = y - offset;
  const auto one_line = [&](std::int32_t i) NEVRAD_INLINED {
    const T xa = multiply_fused(x[i], alpha);
    const auto scatter = [&](no_sum none, T element, std::int64_t j) {
      y_at[j] = add_product<Sum, C>(y_at[j], element, xa);
      return none;
    };
    walk_line<Side, From>(line_at(a, i, offset), no_sum{}, scatter, [&](no_sum none, T element) {
      if constexpr (Ones == diagonal::stored) scatter(none, element, i + offset);
      return none;
    });
    if constexpr (Ones == diagonal::unit) {
      y[i] = add_product<Sum, conjugation::no>(y[i], x[i], alpha);
    }
  };
  if constexpr (is_complex<T>) {
    for (std::int32_t i = line_begin; i < line_end; ++i) one_line(i);
  } else {
    const lanes<T, 4> alphas = broadcast<4>(to_lane(alpha));
    const auto factors = [&](std::int32_t i) { return multiply_fused(load<4>(x + i), alphas); };
    // No line of an upper triangle adds to a line before it, none of a lower one behind it.
    const auto add_ones = [&](std::int32_t i, bool now) {
      if (Ones == diagonal::stored || !now) return;
      store(y + i, multiply_add(load<4>(y + i), load<4>(x + i), alphas));
    };
    using hints = std::conditional_t<From == origin::first_begin, trip_hints, no_hints>;
    scatter_in_blocks<kept_on(Side, Ones)>(
        a, offset, y, line_begin, line_end, hints{}, factors,
        [&](std::int32_t i) { add_ones(i, Side == triangle::lower); },
        [&](std::int32_t i) { add_ones(i, Side == triangle::upper); }, one_line);
  }
}

// y_i += acc alpha, acc the sum of a x_j, or conj(a) x_j, over the kept entries of line i in
// storage order, starting at x_i for a diagonal of ones. Fused steps, counted from begin[0].
template <triangle Side, diagonal Ones, conjugation C, class T>
void tri_mv_lines_gather(const T& alpha_at,
                         const compressed_view<T>& a,
                         const T* x,
                         T* y,
                         std::int32_t line_begin,
                         std::int32_t line_end) {
  const T alpha = alpha_at;
  const std::int32_t offset = a.begin[0];
  const T* const x_at = x - offset;
  for (std::int32_t i = line_begin; i < line_end; ++i) {
    const auto gather = [&](T so_far, T element, std::int64_t j) {
      return multiply_add<C>(so_far, element, x_at[j]);
    };
    const T acc = walk_line<Side, origin::first_begin>(line_at(a, i, offset),
                                                       Ones == diagonal::unit ? x[i] : zero<T>(),
                                                       gather, [&](T so_far, T element) {
                                                         if constexpr (Ones == diagonal::unit)
                                                           return so_far;
                                                         return gather(so_far, element, i + offset);
                                                       });
    y[i] = multiply_add(y[i], acc, alpha);
  }
}

}  // namespace nevrad
