// C = alpha A B + beta C, one element at a time, in the documented order of operations: what the
// products must give to the last bit.
#pragma once

#include "support/exact.h"
#include "support/oracle.h"

namespace nevrad_test {

// How a product is computed; the paths differ in their rounding.
enum class path {
  swept,       // C scaled first, then each block of columns adds alpha * its sum
  swept_beta,  // a single block, beta taken on the way; real types
  direct       // B read where it lies
};

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

// An element of a panel (sums by rotations) or of one of the last columns (complex ones plain).
template <class T>
T swept_element(const row<T>& entries,
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
    for (; p < entries.size() && entries[p].first < stop; ++p) {
      const T x = b(entries[p].first, j);
      sum = plain ? exact_add(sum, exact_plain_product(entries[p].second, x))
                  : exact_multiply_add(sum, x, entries[p].second);
    }
    if (in_panel && p == first) continue;
    c = plain ? exact_add(c, exact_plain_product(alpha, sum)) : exact_multiply_add(c, sum, alpha);
  }
  return c;
}

template <class T>
T direct_element(const row<T>& entries,
                 const panel<T>& b,
                 int j,
                 bool in_chunk,
                 T alpha,
                 T beta,
                 T c) {
  if (in_chunk && is_complex<T>) {
    T sum{};
    for (const auto& [column, value] : entries) sum = exact_multiply_add(sum, value, b(column, j));
    return exact_multiply_add(exact_multiply_add(T{}, c, beta), sum, alpha);
  }
  c = exact_fused_product(beta, c);
  for (const auto& [column, value] : entries) {
    const T v = exact_fused_product(alpha, value);
    if constexpr (is_complex<T>) {
      c = exact_add(c, exact_fused_product(v, b(column, j)));
    } else {
      c = fused(v, b(column, j), c);
    }
  }
  return c;
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
  const lines<T> stored = lines_of(a);
  const lines<T> rows = op == 0 ? ascending(stored) : transposed(stored, a.cols, op == 2);
  const int cols = op == 0 ? a.cols : a.rows;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (int j = 0; j < n; ++j) {
      T& element = c(static_cast<std::int64_t>(i), j);
      if (way == path::direct) {
        element = direct_element(rows[i], b, j, j < n / chunk * chunk, alpha, beta, element);
        continue;
      }
      const bool in_panel = j < n / 4 * 4;
      const T scaled = exact_fused_product(element, beta);
      if (way == path::swept) {
        element = swept_element(rows[i], cols, b, j, in_panel, alpha, scaled);
      } else {
        T sum{};
        for (const auto& [column, value] : rows[i])
          sum = exact_multiply_add(sum, b(column, j), value);
        const bool skipped = in_panel && rows[i].empty();
        element = skipped ? scaled : exact_multiply_add(scaled, sum, alpha);
      }
    }
  }
  return c;
}

}  // namespace nevrad_test
