// The general row product told one element at a time: every order and rounding as it must be.
#pragma once

#include "support/exact.h"
#include "support/matrix.h"

namespace nevrad_test {

// One row range of the short-row walk. Entries are found by a running position, so that a gap
// between rows is taken as part of the next one; `base` is the field of the view.
template <class T>
void short_rows_model(const matrix<T>& a,
                      int base,
                      const array<T>& x,
                      array<T>& y,
                      T alpha,
                      T beta,
                      int row_begin,
                      int row_end) {
  if (row_begin >= row_end) return;
  bool overwrite = false;
  if constexpr (!is_complex<T>) {
    const double tolerance = is_single<T> ? 1e-6 : 1e-14;
    overwrite = std::abs(static_cast<double>(alpha) - 1.0) < tolerance &&
                std::abs(static_cast<double>(beta)) < tolerance;
  }
  int j = a.begin[row_begin] - base;
  for (int i = row_begin; i < row_end; ++i) {
    T sum{};
    for (; j < a.end[i] - base; ++j) {
      const T xj = x[a.indices[j] - base];
      sum = is_complex<T> ? exact_add(sum, exact_product(a.values[j], xj))
                          : exact_multiply_add(sum, a.values[j], xj);
    }
    if (overwrite) {
      y[i] = sum;
    } else if (is_complex<T>) {
      y[i] = exact_add(exact_product(y[i], beta), exact_product(sum, alpha));
    } else {
      y[i] = exact_multiply_add(exact_product(y[i], beta), sum, alpha);
    }
  }
}

// The long-row walk: four sums a row, begin[0] subtracted from everything. `trip` entries at a
// time go round the four sums, what is left of a row to the first.
template <class T>
void long_rows_model(const matrix<T>& a,
                     const array<T>& x,
                     array<T>& y,
                     T alpha,
                     T beta,
                     int row_begin,
                     int row_end,
                     conjugate how = conjugate::no) {
  const bool four_a_trip = is_complex<T> && (!is_single<T> || how == conjugate::yes);
  const int trip = four_a_trip ? 4 : 8;
  const int offset = a.begin[0];
  for (int i = row_begin; i < row_end; ++i) {
    T sums[4] = {};
    const int length = std::max(0, a.end[i] - a.begin[i]);
    for (int e = 0; e < length; ++e) {
      const int p = a.begin[i] - offset + e;
      T& sum = sums[e < length / trip * trip ? e % 4 : 0];
      sum = exact_multiply_add(sum, a.values[p], x[a.indices[p] - offset], how);
    }
    if constexpr (is_complex<T>) {
      T t = exact_multiply_add(T{}, beta, y[i]);
      for (const T sum : sums) t = exact_multiply_add(t, sum, alpha);
      y[i] = t;
    } else if (alpha == T{1} && beta == T{0}) {
      y[i] = exact_add(exact_add(sums[0], sums[1]), exact_add(sums[2], sums[3]));
    } else {
      T t = exact_product(beta, y[i]);
      for (const T sum : sums) t = exact_multiply_add(t, sum, alpha);
      y[i] = t;
    }
  }
}

}  // namespace nevrad_test
