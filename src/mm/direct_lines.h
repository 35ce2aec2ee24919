// C := alpha * op(A) * B + beta * C, row-major and real, straight from lines that hold images.
//
// The rounding is that of mm_rows_direct: an element is C * beta, rounded, and each entry adds
// (value * alpha, rounded) times B, fused. So the chain of an element can stay in C between the
// lines that add to it.
#pragma once

#include "arith/dense.h"
#include "mm/held_lines.h"
#include "mm/line_runs.h"
#include "mm/operands.h"
#include "mm/panel_window.h"
#include "mm/rows_in_place.h"

namespace nevrad {

// W columns of B and C. Base 0.
template <int W, class T>
struct direct_columns {
  strided_rows<W, T> b;
  T* c;
  std::int64_t ldc;
  lanes<T, W> alpha;
  lanes<T, W> beta;

  T* row(std::int64_t i) const { return c + i * ldc; }
};

// Entries p to q - 1 of a line, added to the line's own row, to those of the images, or to both.
template <bool Own, bool Images, int W, class T>
NEVRAD_INLINE lanes<T, W> add_direct(lanes<T, W> own,
                                     lanes<T, W> b_line,
                                     const T* values,
                                     const std::int32_t* indices,
                                     std::int64_t p,
                                     std::int64_t q,
                                     const direct_columns<W, T>& d) {
#pragma clang loop unroll(disable)
  for (; p < q; ++p) {
    const std::int64_t i = indices[p];
    const lanes<T, W> v = multiply(broadcast<W>(load<1>(values + p)), d.alpha);
    if constexpr (Own) own = multiply_add(own, v, d.b(i));
    if constexpr (Images) {
      T* const row = d.row(i);
      store(row, multiply_add(load<W>(row), v, b_line));
    }
  }
  return own;
}

// How a line of a run begins and what becomes of its values (see line_runs.h).
template <class T>
struct direct_form {
  lane<T> alpha;
  lane<T> beta;
  std::int64_t ldb;
  std::int64_t ldc;

  template <int W>
  NEVRAD_INLINE lanes<T, W> start(const T* c) const {
    return multiply(load<W>(c), broadcast<W>(beta));
  }
  NEVRAD_INLINE lane<T> prepare(lane<T> value) const { return multiply(value, alpha); }
  template <int W>
  NEVRAD_INLINE void fetch(const T* b, const T* c) const {
    constexpr std::int64_t rows_ahead = 16;
    constexpr auto bytes = static_cast<std::int64_t>(sizeof(T));
    if constexpr (!fixed_hints) {
      for (std::int64_t j = 0; j < W; j += column_line<T>) {
        prefetch<cache::level1>(b, (rows_ahead * ldb + j) * bytes);
        prefetch<cache::level1>(c, (rows_ahead * ldc + j) * bytes);
      }
    }
  }
};

// Line i, for rows lo to hi - 1 of C. Rows that get images ahead of their own line are scaled by
// beta already; those of a lower triangle are not.
template <taken Which, bool Own, bool Cut, int W, class T>
NEVRAD_INLINE void add_direct_line(const line_reader<Which, T>& a,
                                   std::int32_t i,
                                   std::int32_t lo,
                                   std::int32_t hi,
                                   const direct_columns<W, T>& d) {
  const line_parts part = a.parts(i);
  if constexpr (!Cut) {
    fetch_rows_ahead<W>(d.b.at + i * d.b.ld, d.b.ld, 8);
    fetch_rows_ahead<W>(d.row(i), d.ldc, 8);
  }
  std::int64_t p = part.first;
  std::int64_t q = part.last;
  if constexpr (Cut) {
    while (p < q && a.indices[p] < lo) ++p;
    while (p < q && a.indices[q - 1] >= hi) --q;
  }
  const lanes<T, W> b_line = d.b(i);
  if (Which == taken::all || (Cut && (i < lo || i >= hi))) {
    add_direct<false, true>(b_line, b_line, a.values, a.indices, p, q, d);
    return;
  }
  const auto add_diagonal = [&](lanes<T, W> own) {
    if (a.plain) {
      const lanes<T, W> v = broadcast<W>(load<1>(a.values + part.diag_first));
      return multiply_add(own, multiply(v, d.alpha), b_line);
    }
    own = add_direct<true, false>(own, b_line, a.values, a.indices, part.diag_first, part.diag_last,
                                  d);
    return a.ones ? multiply_add(own, d.alpha, b_line) : own;
  };
  lanes<T, W> own = load<W>(d.row(i));
  own = Which == taken::lower ? multiply(own, d.beta) : add_diagonal(own);
  if constexpr (Own) {
    if constexpr (Cut) {
      own = add_direct<true, false>(own, b_line, a.values, a.indices, part.first, p, d);
    }
    own = add_direct<true, true>(own, b_line, a.values, a.indices, p, q, d);
    if constexpr (Cut) {
      own = add_direct<true, false>(own, b_line, a.values, a.indices, q, part.last, d);
    }
  } else {
    add_direct<false, true>(b_line, b_line, a.values, a.indices, p, q, d);
  }
  if constexpr (Which == taken::lower) own = add_diagonal(own);
  store(d.row(i), own);
}

// Lines from i on of one shape, `lines` of them, where they are a run that pays and all its rows
// are among rows lo to hi - 1. The lines are plain ones of a lower triangle.
template <int W, class T>
NEVRAD_INLINE bool add_direct_run(const line_reader<taken::lower, T>& a,
                                  std::int32_t i,
                                  std::int32_t lines,
                                  std::int32_t lo,
                                  std::int32_t hi,
                                  const direct_columns<W, T>& d) {
  const std::int32_t first = a.begin[i];
  const std::int32_t length = a.end[i] - first;
  const std::int32_t* const indices = a.indices + first;
  if (lines < shortest_line_run || indices[0] < lo || i + lines > hi) return false;
  const direct_form<T> form{lane_at<0>(d.alpha), lane_at<0>(d.beta), d.b.ld, d.ldc};
  return with_entries(length - 1, [&](auto entries) {
    add_lines_of_shape<entries(), W>(
        a.values + first, indices, length, lines, d.b.ld, d.ldc,
        [&](std::int64_t index) { return d.b.at + index * d.b.ld; },
        [&](std::int64_t index) { return d.row(index); }, form);
  });
}

// Lines r to stop - 1, as above.
template <taken Which, bool Own, bool Cut, int W, class T>
void add_direct_lines(const line_reader<Which, T> a,
                      std::int32_t r,
                      std::int32_t stop,
                      std::int32_t lo,
                      std::int32_t hi,
                      const direct_columns<W, T> d) {
  for (std::int32_t i = r; i < stop; ++i) add_direct_line<Which, Own, Cut>(a, i, lo, hi, d);
}

// The same for plain lines of a lower triangle, by runs.
template <bool Cut, int W, class T>
[[gnu::noinline]] void add_direct_runs(const line_reader<taken::lower, T>& lines,
                                       std::int32_t r,
                                       std::int32_t stop,
                                       std::int32_t lo,
                                       std::int32_t hi,
                                       const direct_columns<W, T>& columns) {
  const line_reader<taken::lower, T> a = lines;  // in registers, whatever is stored
  const direct_columns<W, T> d = columns;
  for (std::int32_t i = r; i < stop;) {
    std::int32_t like_it = lines_of_shape(a, i, stop);
    if (add_direct_run(a, i, like_it, lo, hi, d)) {
      i += like_it;
      continue;
    }
    for (; like_it > 0; --like_it, ++i) add_direct_line<taken::lower, true, Cut>(a, i, lo, hi, d);
  }
}

// Lines for which a chunk of columns is computed before the next one: a few where the rows of B and
// C that they meet stay at hand, else one, for which all of a row is fetched at once.
template <class T>
std::int32_t lines_in_a_chunk(const line_survey& found, const mm_operands<T>& o) {
  constexpr std::int64_t at_hand = std::int64_t{1} << 20;
  const std::int64_t row = (std::int64_t{o.ldb} + o.ldc) * std::int64_t{sizeof(T)};
  const bool near = std::int64_t{found.below} + found.above <= at_hand / row;
  if (o.n <= mm_chunk<T>) return 16 * mm_rows_at_once;  // there is no next chunk
  return near ? mm_rows_at_once : rows_at_once<T>(o.n);
}

template <taken Which, class T>
void multiply_taken_direct(const held_lines<T>& held,
                           const line_survey& found,
                           std::int32_t lo,
                           std::int32_t hi,
                           const mm_operands<T>& o) {
  const std::int32_t lines = held.lines.rows;
  const auto reached = [=](std::int64_t i, std::int32_t end) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(i, 0, end));
  };
  const std::int32_t first = reached(std::int64_t{lo} - found.above, lines);
  const std::int32_t last = reached(std::int64_t{hi} + found.below, lines);
  const std::int32_t at_once = lines_in_a_chunk(found, o);
  const line_reader<Which, T> a(held, found.plain);
  const bool in_runs = found.plain && found.short_lines && at_once >= shortest_line_run;
  std::int32_t scaled = lo;
  std::int32_t stop = first;
  for (std::int32_t r = first; r < last; r = stop) {
    stop = r + std::min(at_once, last - r);
    if constexpr (Which != taken::lower) {
      const std::int32_t end = reached(std::int64_t{stop} + found.above, hi);
      for (; scaled < end; ++scaled) dense_scale(o.n, line_at(o.c, scaled, o.ldc), o.beta);
    }
    const auto add_columns = [&](auto w, std::int32_t at) {
      const direct_columns<w(), T> d{{o.b + at, o.ldb},
                                     o.c + at,
                                     o.ldc,
                                     broadcast<w()>(to_lane(o.alpha)),
                                     broadcast<w()>(to_lane(o.beta))};
      if (Which != taken::all && held.has_own()) {
        const bool all = lo == 0 && hi == lines;
        if constexpr (Which == taken::lower && w() > 1 && w() <= widest_chunk<T>) {
          if (in_runs) {
            if (all) return add_direct_runs<false>(a, r, stop, lo, hi, d);
            return add_direct_runs<true>(a, r, stop, lo, hi, d);
          }
        }
        if (all) {
          add_direct_lines<Which, true, false>(a, r, stop, lo, hi, d);
        } else {
          add_direct_lines<Which, true, true>(a, r, stop, lo, hi, d);
        }
      } else {
        add_direct_lines<Which, false, true>(a, r, stop, lo, hi, d);
      }
    };
    std::int32_t j = for_each_chunk<T>(o.n, add_columns);
    for (; j < o.n; ++j) add_columns(panel_width<1>{}, j);
  }
  if constexpr (Which != taken::lower) {
    for (; scaled < hi; ++scaled) dense_scale(o.n, line_at(o.c, scaled, o.ldc), o.beta);
  }
}

// Rows lo to hi - 1 of C. Where that is not all of them, the lines ascend.
template <class T>
void multiply_lines_direct(const held_lines<T>& held,
                           const line_survey& found,
                           std::int32_t lo,
                           std::int32_t hi,
                           const mm_operands<T>& o) {
  with_taken(held, [&](auto which) { multiply_taken_direct<which()>(held, found, lo, hi, o); });
}

}  // namespace nevrad
