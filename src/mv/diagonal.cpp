#include "mv/diagonal.h"

#include "arith/prefetch.h"
#include "mv/chunked.h"

namespace nevrad {

namespace {

// The first entry of line i on the diagonal, or null.
template <class T>
NEVRAD_INLINE const T* find_diagonal(const compressed_view<T>& a, std::int32_t i) {
  const std::int64_t last = a.end[i] - a.base;
  for (std::int64_t p = a.begin[i] - a.base; p < last; ++p) {
    if (a.indices[p] - a.base == i) return a.values + p;
  }
  return nullptr;
}

// sum + alpha (a x): the inner product is rounded, the outer one fused (real) or rounded (complex).
template <conjugation C, class T>
NEVRAD_INLINE T add_scaled_product(T sum, T alpha, T element, T x) {
  const T product = multiply_fused(conj_if<C>(element), x);
  if constexpr (is_complex<T>) {
    return add(sum, multiply_fused(product, alpha));
  } else {
    return fma(alpha, product, sum);
  }
}

template <conjugation C, class T>
void diag_lines(const T& alpha,
                const compressed_view<T>& a,
                const T* x,
                T* y,
                std::int32_t line_begin,
                std::int32_t line_end) {
  for (std::int32_t i = line_begin; i < line_end; ++i) {
    const T* const element = find_diagonal(a, i);
    if (element != nullptr) y[i] = add_scaled_product<C>(y[i], alpha, *element, x[i]);
  }
}

template <class T>
void diag_lines_unit(const T& alpha,
                     const compressed_view<T>& /*a*/,
                     const T* x,
                     T* y,
                     std::int32_t line_begin,
                     std::int32_t line_end) {
  for (std::int32_t i = line_begin; i < line_end; ++i) y[i] = multiply_add(y[i], alpha, x[i]);
}

// Bytes ahead at which a trip of diag_mv_unit fetches x and y, level 1, keep; `s` only.
constexpr int unit_ahead = 1024;
constexpr int unit_elements_a_trip = 16;

template <class T>
NEVRAD_INLINE T scaled_sum_of_two(T y, T beta, T x, T alpha) {
  if constexpr (is_complex<T>) {
    return add(multiply_fused(y, beta), multiply_fused(x, alpha));
  } else {
    return fma(x, alpha, y * beta);
  }
}

}  // namespace

template <conjugation C, class T>
status diag_mv_rows(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  for (std::int32_t i = 0; i < a.rows; ++i) {
    const T scaled = multiply_fused(y[i], beta);
    const T* const element = find_diagonal(a, i);
    y[i] = element == nullptr ? scaled : add_scaled_product<C>(scaled, alpha, *element, x[i]);
  }
  return success;
}

template <class T>
status diag_mv_unit(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  std::int32_t i = 0;
  if constexpr (!is_complex<T> && is_single<T>) {
    for (; i < a.rows - (unit_elements_a_trip - 1); i += unit_elements_a_trip) {
      if constexpr (fixed_hints) {
        prefetch<cache::level1>(y + i, unit_ahead);
        prefetch<cache::level1>(x + i, unit_ahead);
      }
      for (std::int32_t r = i; r < i + unit_elements_a_trip; ++r) {
        y[r] = scaled_sum_of_two(y[r], beta, x[r], alpha);
      }
    }
  }
  for (; i < a.rows; ++i) y[i] = scaled_sum_of_two(y[i], beta, x[i], alpha);
  return success;
}

template <conjugation C, class T>
status diag_mv_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return chunked_mv_driver(a, x, y, diag_lines<C, T>, alpha, beta);
}

template <class T>
status diag_mv_columns_unit(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return chunked_mv_driver(a, x, y, diag_lines_unit<T>, alpha, beta);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                              \
  template status diag_mv_rows<conjugation::no>(const compressed_view<T>&, const T*, T*, T, T);    \
  template status diag_mv_unit(const compressed_view<T>&, const T*, T*, T, T);                     \
  template status diag_mv_columns<conjugation::no>(const compressed_view<T>&, const T*, T*, T, T); \
  template status diag_mv_columns_unit(const compressed_view<T>&, const T*, T*, T, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                            \
  template status diag_mv_rows<conjugation::yes>(const compressed_view<T>&, const T*, T*, T, T); \
  template status diag_mv_columns<conjugation::yes>(const compressed_view<T>&, const T*, T*, T, T);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
