// Runs of lines of one shape: each holds the entries of the line before, one row and one column on.
//
// Most lines of a stencil on a regular grid are in such runs. Where a line meets B and C is known
// then without its indices, its length is a constant, and what is next to the diagonal belongs to
// the line before and is at hand. Lines still go one by one, so every element of C takes its
// entries in the same order.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "mm/held_lines.h"
#include "mm/panels.h"

namespace nevrad {

// Columns of the widest chunk that takes lines with their images. On AArch64 the registers hold the
// sums of a line and of its images in one width.
template <class T>
inline constexpr int widest_chunk = fixed_hints ? mm_chunk<T> : 2 * mm_chunk<T>;

// Shorter runs gain nothing.
inline constexpr std::int32_t shortest_line_run = 4;

// The rows that the first line of a run meets, those of its entries off the diagonal first, its own
// last; those of each next line lie ldb and ldc behind.
template <int N, class T>
struct run_rows {
  const T* values;
  std::int64_t length;  // values from one line to the next
  std::int32_t lines;
  const T* b[N + 1];
  T* c[N + 1];
  std::int64_t ldb;
  std::int64_t ldc;
};

// Of a lower triangle, in W columns: adds to each line's own row, from form.start(c) on, its N
// entries and the diagonal, and each entry to the row of its image. `Near`: the last entry is the
// only one next to the diagonal, so its image is the row of the line before, which waits for it in
// registers.
template <bool Near, int N, int W, class T, class Form>
[[gnu::noinline]] void add_run(const run_rows<N, T>& rows, const Form& how) {
  constexpr bool wide = sizeof(T) * W > cache_line;
  const run_rows<N, T> of = rows;  // in registers, whatever is stored
  const Form form = how;
  const T* values = of.values;
  std::int64_t at_b = 0;
  std::int64_t at_c = 0;
  lanes<T, W> before = zero_lanes<T, W>();
  lanes<T, W> b_before = zero_lanes<T, W>();
  if constexpr (Near) {
    before = load<W>(of.c[N - 1]);
    if constexpr (!wide) b_before = load<W>(of.b[N - 1]);
  }
  for (std::int32_t left = of.lines; left > 0; --left) {
    form.template fetch<W>(of.b[N] + at_b, of.c[N] + at_c);
    const lanes<T, W> b_line = load<W>(of.b[N] + at_b);
    lanes<T, W> own = form.template start<W>(of.c[N] + at_c);
#pragma clang loop unroll(full)
    for (int k = 0; k < N; ++k) {
      const lanes<T, W> v = broadcast<W>(form.prepare(load<1>(values + k)));
      if (Near && k == N - 1) {
        own = multiply_add(own, v, wide ? load<W>(of.b[k] + at_b) : b_before);
        store(of.c[k] + at_c, multiply_add(before, v, b_line));
      } else {
        T* const c = of.c[k] + at_c;
        own = multiply_add(own, v, load<W>(of.b[k] + at_b));
        store(c, multiply_add(load<W>(c), v, b_line));
      }
    }
    own = multiply_add(own, broadcast<W>(form.prepare(load<1>(values + N))), b_line);
    if constexpr (Near) {
      before = own;
      b_before = b_line;
    } else {
      store(of.c[N] + at_c, own);
    }
    values += of.length;
    at_b += of.ldb;
    at_c += of.ldc;
  }
  if constexpr (Near) store(of.c[N] + (at_c - of.ldc), before);
}

// `lines` lines of the shape whose entries off the diagonal have the given indices, the line's own
// index behind them. `b_at` and `c_at` tell where the row of an index lies.
template <int N, int W, class T, class Form, class B, class C>
NEVRAD_INLINE void add_lines_of_shape(const T* values,
                                      const std::int32_t* indices,
                                      std::int64_t length,
                                      std::int32_t lines,
                                      std::int64_t ldb,
                                      std::int64_t ldc,
                                      const B& b_at,
                                      const C& c_at,
                                      const Form& form) {
  run_rows<N, T> rows{values, length, lines, {}, {}, ldb, ldc};
  for (int k = 0; k <= N; ++k) {
    rows.b[k] = b_at(indices[k]);
    rows.c[k] = c_at(indices[k]);
  }
  // One entry alone: a second one at its place would find the row not in memory.
  const bool alone = N == 1 || indices[N > 1 ? N - 2 : 0] != indices[N - 1];
  if (alone && indices[N - 1] + 1 == indices[N]) {
    add_run<true, N, W>(rows, form);
  } else {
    add_run<false, N, W>(rows, form);
  }
}

// Calls body(constant) with the number of entries off the diagonal; false where there is no kernel
// for it.
template <class Body>
NEVRAD_INLINE bool with_entries(std::int32_t entries, const Body& body) {
  switch (entries) {
    case 1:
      body(std::integral_constant<int, 1>{});
      return true;
    case 2:
      body(std::integral_constant<int, 2>{});
      return true;
    case 3:
      body(std::integral_constant<int, 3>{});
      return true;
    default:
      return false;
  }
}

}  // namespace nevrad
