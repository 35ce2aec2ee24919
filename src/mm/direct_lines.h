// C := alpha * op(A) * B + beta * C, row-major and real, straight from lines that hold images.
//
// The rounding is that of mm_rows_direct: an element is C * beta, rounded, and each entry adds
// (value * alpha, rounded) times B, fused. So the chain of an element can stay in C between the
// lines that add to it.
#pragma once

#include "arith/dense.h"
#include "mm/held_lines.h"
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

// Lines r to stop - 1, for rows lo to hi - 1 of C. Rows that get images ahead of their own line are
// scaled by beta already; those of a lower triangle are not.
template <taken Which, bool Own, bool Cut, int W, class T>
void add_direct_lines(const line_reader<Which, T> a,
                      std::int32_t r,
                      std::int32_t stop,
                      std::int32_t lo,
                      std::int32_t hi,
                      const direct_columns<W, T> d) {
  for (std::int32_t i = r; i < stop; ++i) {
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
      continue;
    }
    const auto add_diagonal = [&](lanes<T, W> own) {
      if (a.plain) {
        const lanes<T, W> v = broadcast<W>(load<1>(a.values + part.diag_first));
        return multiply_add(own, multiply(v, d.alpha), b_line);
      }
      own = add_direct<true, false>(own, b_line, a.values, a.indices, part.diag_first,
                                    part.diag_last, d);
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
}

// Lines for which a chunk of columns is computed before the next one: a few where the rows of B and
// C that they meet stay at hand, else one, for which all of a row is fetched at once.
template <class T>
std::int32_t lines_in_a_chunk(const line_survey& found, const mm_operands<T>& o) {
  constexpr std::int64_t at_hand = std::int64_t{1} << 20;
  const std::int64_t row = (std::int64_t{o.ldb} + o.ldc) * std::int64_t{sizeof(T)};
  const bool near = std::int64_t{found.below} + found.above <= at_hand / row;
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
        if (lo == 0 && hi == lines) {
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
