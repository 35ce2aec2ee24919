#include "sm/diagonal.h"

#include "arith/panel_moves.h"
#include "frame/regions.h"

namespace nevrad {

namespace {

// alpha / d, or alpha / conj(d). Complex: no scaling against overflow.
template <conjugation C, class T>
T divide(T alpha, T value) {
  if constexpr (is_complex<T>) {
    const T d = conj_if<C>(value);
    const auto size = fma(d.re, d.re, d.im * d.im);
    return {fma(alpha.re, d.re, alpha.im * d.im) / size,
            fma(alpha.im, d.re, -(alpha.re * d.im)) / size};
  } else {
    return alpha / value;
  }
}

// inverse[i] = alpha / a(i, i) for lines first to last - 1.
template <conjugation C, class T>
void sm_diag_inverse(const compressed_matrix<T>& a,
                     T* inverse,
                     T alpha,
                     std::int32_t first,
                     std::int32_t last) {
  for (std::int32_t i = first; i < last; ++i) {
    inverse[i] = zero<T>();
    for (std::int64_t e = a.begin[i] - a.base; e < a.end[i] - a.base; ++e) {
      if (a.indices[e] - a.base == i) inverse[i] = divide<C>(alpha, a.values[e]);
    }
  }
}

// Lines of the layout: columns of a column-major matrix, rows of a row-major one.
template <class T>
struct dense_lines {
  const T* x;
  std::int32_t ldx;
  T* y;
  std::int32_t ldy;
  std::int32_t width;  // elements of a line

  const T* from(std::int32_t line) const { return x + static_cast<std::int64_t>(line) * ldx; }
  T* to(std::int32_t line) const { return y + static_cast<std::int64_t>(line) * ldy; }
};

template <class T>
void sm_scale_by_inverse_col(const dense_lines<T>& lines,
                             const T* inverse,
                             std::int32_t first,
                             std::int32_t last) {
  constexpr int at_once = 32 / sizeof(T);
  for (std::int32_t j = first; j < last; ++j) {
    const T* const x = lines.from(j);
    T* const y = lines.to(j);
    std::int32_t i = 0;
    for (; i + at_once <= lines.width; i += at_once) {
      store(y + i, multiply_fused(load<at_once>(inverse + i), load<at_once>(x + i)));
    }
    for (; i < lines.width; ++i) y[i] = multiply_fused(inverse[i], x[i]);
  }
}

template <class T>
void sm_scale_by_inverse_row(const dense_lines<T>& lines,
                             const T* inverse,
                             std::int32_t first,
                             std::int32_t last) {
  for (std::int32_t i = first; i < last; ++i) {
    move_line(lines.to(i), lines.from(i), lines.width, times_elements<T>{inverse[i]});
  }
}

// The element is the first operand here, alpha the second.
template <class T>
void sm_scale_by_alpha(const dense_lines<T>& lines,
                       T alpha,
                       std::int32_t first,
                       std::int32_t last) {
  constexpr int at_once = 32 / sizeof(T);
  const auto factor = broadcast<at_once>(to_lane(alpha));
  for (std::int32_t t = first; t < last; ++t) {
    const T* const x = lines.from(t);
    T* const y = lines.to(t);
    std::int32_t e = 0;
    for (; e + at_once <= lines.width; e += at_once) {
      store(y + e, multiply_fused(load<at_once>(x + e), factor));
    }
    for (; e < lines.width; ++e) y[e] = multiply_fused(x[e], alpha);
  }
}

// Runs scale(first, last) over chunks of `count` lines: on the calling thread at a budget of 1,
// else on the default team.
template <class Scale>
status split_lines(std::int32_t count, const Scale& scale) {
  const int budget = current_thread_budget();
  if (budget == 1) {
    scale(0, count);
    return success;
  }
  const scratch<std::int32_t> part(
      plain_alloc(sizeof(std::int32_t) * (static_cast<std::uint64_t>(budget) + 1)));
  if (!part) return alloc_failed;
  const std::int32_t chunks = partition_by_fours(count, budget, part.get());
  for_each_chunk_on_default_team(chunks, [&](int c) { scale(part[c], part[c + 1]); });
  return success;
}

}  // namespace

template <conjugation C, dense_layout Layout, class T>
status sm_diag(const compressed_matrix<T>& a,
               const T* x,
               std::int32_t n,
               std::int32_t ldx,
               T* y,
               std::int32_t ldy,
               T alpha) {
  const std::int32_t rows = a.rows;
  const scratch<T> inverse(
      rounded_aligned_alloc(cache_line, sizeof(T) * static_cast<std::uint64_t>(rows)));
  if (!inverse) return alloc_failed;
  for_static_blocks_on_team(current_thread_budget(), rows,
                            [&](std::int32_t first, std::int32_t last) {
                              sm_diag_inverse<C>(a, inverse.get(), alpha, first, last);
                            });
  if constexpr (Layout == dense_layout::column_major) {
    const dense_lines<T> lines{x, ldx, y, ldy, rows};
    return split_lines(n, [&](std::int32_t first, std::int32_t last) {
      sm_scale_by_inverse_col(lines, inverse.get(), first, last);
    });
  } else {
    const dense_lines<T> lines{x, ldx, y, ldy, n};
    return split_lines(rows, [&](std::int32_t first, std::int32_t last) {
      sm_scale_by_inverse_row(lines, inverse.get(), first, last);
    });
  }
}

template <dense_layout Layout, class T>
status sm_unit_diag(const compressed_matrix<T>& a,
                    const T* x,
                    std::int32_t n,
                    std::int32_t ldx,
                    T* y,
                    std::int32_t ldy,
                    T alpha) {
  constexpr bool by_columns = Layout == dense_layout::column_major;
  const dense_lines<T> lines{x, ldx, y, ldy, by_columns ? a.rows : n};
  return split_lines(by_columns ? n : a.rows, [&](std::int32_t first, std::int32_t last) {
    sm_scale_by_alpha(lines, alpha, first, last);
  });
}

#define NEVRAD_INSTANTIATE(letter, T)                                                             \
  template status sm_diag<conjugation::no, dense_layout::column_major>(                           \
      const compressed_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, std::int32_t, T);    \
  template status sm_diag<conjugation::no, dense_layout::row_major>(const compressed_matrix<T>&,  \
                                                                    const T*, std::int32_t,       \
                                                                    std::int32_t, T*,             \
                                                                    std::int32_t, T);             \
  template status sm_unit_diag<dense_layout::column_major>(const compressed_matrix<T>&, const T*, \
                                                           std::int32_t, std::int32_t, T*,        \
                                                           std::int32_t, T);                      \
  template status sm_unit_diag<dense_layout::row_major>(const compressed_matrix<T>&, const T*,    \
                                                        std::int32_t, std::int32_t, T*,           \
                                                        std::int32_t, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                             \
  template status sm_diag<conjugation::yes, dense_layout::column_major>(                          \
      const compressed_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, std::int32_t, T);    \
  template status sm_diag<conjugation::yes, dense_layout::row_major>(const compressed_matrix<T>&, \
                                                                     const T*, std::int32_t,      \
                                                                     std::int32_t, T*,            \
                                                                     std::int32_t, T);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
