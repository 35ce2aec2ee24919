// C := alpha * A * B + beta * C with row-major B and C: no panels, no blocks, no pass over C of its
// own. A chunk of a row of C stays in registers while the row's entries pass.
//
// Two roundings. Swept: C * beta, rounded, then alpha times the sum of each part of the row, as
// over packed panels and blocks (see row_parts.h). Direct: real, the chunk starts as C * beta,
// rounded, and each entry adds (value * alpha, rounded) times the row of B, fused; complex, the sum
// of value * b by rotations, value first, then beta and alpha once each. The columns behind the
// last whole chunk of 64 bytes go one at a time there, with alpha on each value in all types.
#pragma once

#include "mm/operands.h"
#include "mm/panels.h"
#include "mm/row_parts.h"

#include <algorithm>

namespace nevrad {

// Visits chunks of columns, first column and width, as for_each_panel does, but wider ones first:
// lanes are independent, and more of them to an entry save loads of the entry.
template <class T, class Visit>
NEVRAD_INLINE std::int32_t for_each_chunk(std::int32_t n, const Visit& visit) {
  constexpr int wide = 2 * mm_chunk<T>;
  std::int32_t j = 0;
  for (; n - j >= wide; j += wide) visit(panel_width<wide>{}, j);
  return j + for_each_panel<T>(n - j, [&](auto w, std::int32_t at) { visit(w, j + at); });
}

// Rows for which a chunk of columns is computed before the next one. Of wide rows of B all that an
// entry needs is fetched at once: it lies together in memory.
template <class T>
std::int32_t rows_at_once(std::int32_t n) {
  return n <= 2 * mm_chunk<T> ? mm_rows_at_once : 1;
}

// Whether the entries of a row meet rows of B that lie far apart, out of cache, and in no order
// that hardware follows: then they are asked for ahead. Judged by some rows.
template <class T>
bool meets_distant_rows(const compressed_matrix<T>& a, const mm_operands<T>& o) {
  constexpr std::int32_t samples = 24;
  constexpr std::int64_t far_apart = 8192;
  constexpr std::int64_t in_cache = std::int64_t{8} << 20;
  if (fixed_hints || std::int64_t{a.cols} * o.ldb * std::int64_t{sizeof(T)} < in_cache)
    return false;
  std::int64_t reach = 0;
  std::int64_t entries = 1;
  for (std::int32_t s = 0; s < samples; ++s) {
    const auto r = static_cast<std::int32_t>(std::int64_t{a.rows} * s / samples);
    const std::int64_t first = a.begin[r] - a.base;
    const std::int64_t last = a.end[r] - a.base;
    if (last <= first) continue;
    reach += a.indices[last - 1] - a.indices[first];
    entries += last - first;
  }
  return reach / entries > far_apart;
}

// Asks for the rows of B that rows r up to but excluding `stop` meet.
template <class T>
void fetch_met_rows(const compressed_matrix<T>& a,
                    std::int32_t r,
                    std::int32_t stop,
                    const mm_operands<T>& o) {
  constexpr std::int64_t line = cache_line / sizeof(T);
  if (r >= stop) return;
  for (std::int64_t p = a.begin[r]; p < a.end[stop - 1]; ++p) {
    const T* const row = line_at(o.b, a.indices[p], o.ldb);
    for (std::int64_t j = 0; j < o.n; j += line) prefetch<cache::level2>(row + j, 0);
  }
}

// Swept, rows lo to hi - 1, which must have some entry. Indices have base 0.
template <class T>
void multiply_rows_in_place(const compressed_matrix<T>& a,
                            std::int32_t lo,
                            std::int32_t hi,
                            const mm_operands<T>& o) {
  const block_bounds bounds(a.cols);
  const std::int32_t at_once = rows_at_once<T>(o.n);
  const bool ahead = meets_distant_rows(a, o);
  for (std::int32_t r = lo; r < hi; r += at_once) {
    if (ahead) fetch_met_rows(a, std::min(r + at_once, hi), std::min(r + 2 * at_once, hi), o);
    const row_entries<T> entries(a, r, std::min(at_once, hi - r));
    T* const c = line_at(o.c, r, o.ldc);
    std::int32_t j = for_each_chunk<T>(o.n, [&](auto w, std::int32_t at) {
      const strided_rows<w(), T> rows{o.b + at, o.ldb};
      update_rows<w()>(entries, bounds, rows, c + at, o.ldc, o.alpha, o.beta);
    });
    for (; j < o.n; ++j) {
      const strided_rows<1, T> rows{o.b + j, o.ldb};
      update_column(
          entries, bounds, [=](std::int32_t index) { return to_element(rows(index)); }, c + j,
          o.ldc, o.alpha, o.beta);
    }
  }
}

// Direct: W columns of rows of C, `c` at the first of them.
template <int W, class T>
NEVRAD_INLINE void direct_rows(const compressed_matrix<T>& a,
                               std::int32_t lo,
                               std::int32_t hi,
                               const strided_rows<W, T>& rows,
                               T* c,
                               std::int64_t ldc,
                               T alpha,
                               T beta) {
  const lanes<T, W> scale = broadcast<W>(to_lane(alpha));
  const lanes<T, W> scale_c = broadcast<W>(to_lane(beta));
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  for (std::int32_t i = lo; i < hi; ++i, c += ldc) {
    const std::int64_t stop = a.end[i];
    std::int64_t p = a.begin[i];
    lanes<T, W> acc = zero_lanes<T, W>();
    if constexpr (!is_complex<T>) acc = multiply(load<W>(c), scale_c);
    // Most rows are short: unrolled, their ends cost more than the entries.
#pragma clang loop unroll(disable)
    for (; p < stop; ++p) {
      lanes<T, W> v = broadcast<W>(load<1>(values + p));
      if constexpr (!is_complex<T>) v = multiply(v, scale);
      acc = multiply_add(acc, v, rows(indices[p]));
    }
    if constexpr (is_complex<T>) {
      const lanes<T, W> t = multiply_add(zero_lanes<T, W>(), load<W>(c), scale_c);
      acc = multiply_add(t, acc, scale);
    }
    store(c, acc);
  }
}

// One column of rows of C, `b` and `c` at it.
template <class T>
NEVRAD_INLINE void direct_column(const compressed_matrix<T>& a,
                                 std::int32_t lo,
                                 std::int32_t hi,
                                 const strided_rows<1, T>& rows,
                                 T* c,
                                 std::int64_t ldc,
                                 T alpha,
                                 T beta) {
  for (std::int32_t i = lo; i < hi; ++i, c += ldc) {
    T sum = multiply_fused(beta, *c);
    for (std::int32_t p = a.begin[i]; p < a.end[i]; ++p) {
      const T v = multiply_fused(alpha, a.values[p]);
      const T x = to_element(rows(a.indices[p]));
      if constexpr (is_complex<T>) {
        sum = add(sum, multiply_fused(v, x));
      } else {
        sum = fma(v, x, sum);
      }
    }
    *c = sum;
  }
}

// Rows lo up to but excluding hi. Indices have base 0.
template <class T>
void mm_rows_direct(const compressed_matrix<T>& a,
                    std::int32_t lo,
                    std::int32_t hi,
                    const mm_operands<T>& o) {
  // Real columns behind the last whole chunk round as those within, so narrower chunks take them.
  constexpr int chunk = mm_chunk<T>;
  const std::int32_t in_chunks = is_complex<T> ? o.n / chunk * chunk : o.n;
  const std::int32_t at_once = rows_at_once<T>(o.n);
  const bool ahead = meets_distant_rows(a, o);
  for (std::int32_t r = lo; r < hi; r += at_once) {
    const std::int32_t stop = std::min(r + at_once, hi);
    if (ahead) fetch_met_rows(a, stop, std::min(stop + at_once, hi), o);
    T* const c = line_at(o.c, r, o.ldc);
    std::int32_t j = for_each_chunk<T>(in_chunks, [&](auto w, std::int32_t at) {
      const strided_rows<w(), T> rows{o.b + at, o.ldb};
      direct_rows<w()>(a, r, stop, rows, c + at, o.ldc, o.alpha, o.beta);
    });
    for (; j < o.n; ++j) {
      direct_column(a, r, stop, strided_rows<1, T>{o.b + j, o.ldb}, c + j, o.ldc, o.alpha, o.beta);
    }
  }
}

}  // namespace nevrad
