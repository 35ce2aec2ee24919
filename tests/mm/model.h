// C = alpha A B + beta C, one element at a time, in the documented order of operations: what the
// products must give to the last bit. Written out with scalar fused operations alone.
#pragma once

#include "support/oracle.h"

namespace nevrad_test {

// How a product is computed; the paths differ in their rounding.
enum class path {
  swept,       // C scaled first, then each block of columns adds alpha * its sum
  swept_beta,  // a single block, beta taken on the way; real types
  direct       // B read where it lies
};

// acc + a b by the two rotations, each fusing one product a part.
template <class T>
T rotate_add(T acc, T a, T b) {
  if constexpr (is_complex<T>) {
    acc = {std::fma(a.re, b.re, acc.re), std::fma(a.re, b.im, acc.im)};
    return {std::fma(-a.im, b.im, acc.re), std::fma(a.im, b.re, acc.im)};
  } else {
    return std::fma(a, b, acc);
  }
}
template <class T>
T product_fused(T a, T b) {
  if constexpr (is_complex<T>) {
    return {std::fma(a.re, b.re, -(a.im * b.im)), std::fma(a.im, b.re, a.re * b.im)};
  } else {
    return a * b;
  }
}
template <class T>
T product_plain(T a, T b) {
  if constexpr (is_complex<T>) {
    return {a.re * b.re - a.im * b.im, a.im * b.re + a.re * b.im};
  } else {
    return a * b;
  }
}
template <class T>
T sum_of(T a, T b) {
  if constexpr (is_complex<T>) {
    return {a.re + b.re, a.im + b.im};
  } else {
    return a + b;
  }
}

// One past the last column of the block in which `column` lies, drawn up from the end: the last two
// blocks halve what is left after the full ones.
inline int block_stop(int column, int cols) {
  constexpr int width = 5120;
  int done = 0;
  while (true) {
    const int left = cols - done;
    done += left >= 2 * width ? width : left > width ? left / 2 : left;
    if (column < done) return done;
  }
}

template <class T>
using sparse_line = std::vector<std::pair<int, T>>;

// An element of a panel (sums by rotations) or of one of the last columns (complex ones plain).
template <class T>
T swept_element(const sparse_line<T>& row,
                int cols,
                const panel<T>& b,
                int j,
                bool in_panel,
                T alpha,
                T c) {
  const bool plain = is_complex<T> && !in_panel;
  std::size_t p = 0;
  int stop = 0;
  while (stop < cols) {
    stop = block_stop(stop, cols);
    T sum{};
    const std::size_t first = p;
    for (; p < row.size() && row[p].first < stop; ++p) {
      const T x = b(row[p].first, j);
      sum =
          plain ? sum_of(sum, product_plain(row[p].second, x)) : rotate_add(sum, x, row[p].second);
    }
    if (in_panel && p == first) continue;
    c = plain ? sum_of(c, product_plain(alpha, sum)) : rotate_add(c, sum, alpha);
  }
  return c;
}

template <class T>
T direct_element(const sparse_line<T>& row,
                 const panel<T>& b,
                 int j,
                 bool in_chunk,
                 T alpha,
                 T beta,
                 T c) {
  if (in_chunk && is_complex<T>) {
    T sum{};
    for (const auto& [column, value] : row) sum = rotate_add(sum, value, b(column, j));
    return rotate_add(rotate_add(T{}, c, beta), sum, alpha);
  }
  c = product_fused(beta, c);
  for (const auto& [column, value] : row) {
    const T v = product_fused(alpha, value);
    if constexpr (is_complex<T>) {
      c = sum_of(c, product_fused(v, b(column, j)));
    } else {
      c = std::fma(v, b(column, j), c);
    }
  }
  return c;
}

// The rows of op(A), ascending, equal columns in their order.
template <class T>
lines<T> ascending_rows(const matrix<T>& a, int op) {
  lines<T> rows(static_cast<std::size_t>(op == 0 ? a.rows : a.cols));
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      const int k = a.indices[p] - a.base;
      T v = a.values[p];
      if constexpr (is_complex<T>) {
        if (op == 2) v.im = -v.im;
      }
      auto& row = rows[static_cast<std::size_t>(op == 0 ? i : k)];
      const std::pair<int, T> entry(op == 0 ? k : i, v);
      row.insert(std::upper_bound(row.begin(), row.end(), entry,
                                  [](const auto& x, const auto& y) { return x.first < y.first; }),
                 entry);
    }
  }
  return rows;
}

template <class T>
panel<T> model_product(path way,
                       const matrix<T>& a,
                       int op,
                       const panel<T>& b,
                       T alpha,
                       T beta,
                       const panel<T>& before) {
  constexpr int chunk = 64 / static_cast<int>(sizeof(T));
  panel<T> c = before;
  const auto n = static_cast<int>(c.cols());
  const lines<T> rows = ascending_rows(a, op);
  const int cols = op == 0 ? a.cols : a.rows;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (int j = 0; j < n; ++j) {
      T& element = c(static_cast<std::int64_t>(i), j);
      if (way == path::direct) {
        element = direct_element(rows[i], b, j, j < n / chunk * chunk, alpha, beta, element);
        continue;
      }
      const bool in_panel = j < n / 4 * 4;
      const T scaled = product_fused(element, beta);
      if (way == path::swept) {
        element = swept_element(rows[i], cols, b, j, in_panel, alpha, scaled);
      } else {
        T sum{};
        for (const auto& [column, value] : rows[i]) sum = rotate_add(sum, b(column, j), value);
        const bool skipped = in_panel && rows[i].empty();
        element = skipped ? scaled : rotate_add(scaled, sum, alpha);
      }
    }
  }
  return c;
}

}  // namespace nevrad_test
