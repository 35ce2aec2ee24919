// C := alpha * A * B + beta * C with row-major B and C: no panels, no blocks, no pass over C of its
// own. A chunk of a row of C stays in registers while the row's entries pass.
//
// Two roundings. Swept: C * beta, rounded, then alpha times the sum of each part of the row, as
// over packed panels and blocks (see row_parts.h). Direct: real, the chunk starts as C * beta,
// rounded, and each entry adds (value * alpha, rounded) times the row of B, fused; complex, the sum
// of value * b by rotations, value first, then beta and alpha once each. The columns behind the
// last whole chunk of 64 bytes go one at a time there, with alpha on each value in all types.
#pragma once

#include "matrix/sorted_rows.h"
#include "mm/operands.h"
#include "mm/panels.h"
#include "mm/row_parts.h"
#include "mm/scattered_rows.h"

#include <algorithm>

namespace nevrad {

// The widest chunk of columns in lanes. Where registers are, two of them go side by side.
template <class T>
inline constexpr int widest_lanes = 2 * mm_chunk<T>;
template <class T>
inline constexpr bool has_chunk_pairs = !is_complex<T> && !fixed_hints;

// Whether to take them: where rows of B lie far apart, half of each at a time has hardware fetch
// the other half meanwhile. Out of cache they gain only with what is asked for far ahead.
template <class T>
bool takes_chunk_pairs(const compressed_matrix<T>& a, const mm_operands<T>& o) {
  return has_chunk_pairs<T> && o.n > widest_lanes<T> &&
         (stay_in_cache<T>(a.cols, o.ldb) || rows_are_whole_lines(o)) && !meets_distant_rows(a);
}

// Rows for which a chunk of columns is computed before the next one. Of wide rows of B that come
// from memory unasked, all that an entry needs is fetched at once: it lies together.
template <class T>
std::int32_t rows_at_once(std::int32_t n, bool b_at_hand = false, bool pairs = false) {
  if (n <= (pairs ? 2 : 1) * widest_lanes<T>) return mm_rows_at_once;
  return b_at_hand ? mm_rows_at_once / 4 : 1;
}

// Visits rows lo to hi - 1 by as many as are computed at once, as multiply(rows, r, stop).
template <class T, class Multiply>
NEVRAD_INLINE void for_rows_at_once(const rows_in_order<T>& rows,
                                    std::int32_t lo,
                                    std::int32_t hi,
                                    const mm_operands<T>& o,
                                    const row_meetings<T>& meetings,
                                    bool pairs,
                                    const Multiply& multiply) {
  const bool at_hand = stay_in_cache<T>(rows.shape().cols, o.ldb) || meetings.by_chunks();
  const std::int32_t at_once = rows_at_once<T>(o.n, at_hand, pairs);
  std::int32_t stop = lo;
  for (std::int32_t r = lo; r < hi; r = stop) {
    stop = r + std::min(at_once, hi - r);
    multiply(rows, r, stop);
  }
}

// Rows r to stop - 1 for a chunk of columns or a pair of them at a time, and behind the first
// `in_chunks` for single columns. kernel(order, width, column, record, first) computes a chunk from
// row `first` on and answers with the row where it stopped; that of the first chunk looks at the
// order, but for distant rows, next to which a look of its own costs nothing.
template <class T, class Kernel>
NEVRAD_INLINE void multiply_chunks(const rows_in_order<T>& rows,
                                   std::int32_t r,
                                   std::int32_t stop,
                                   std::int32_t in_chunks,
                                   std::int32_t columns,
                                   bool pairs,
                                   bool distant,
                                   const Kernel& kernel) {
  const compressed_matrix<T>& shape = rows.shape();
  using looked_at = std::integral_constant<order, order::looked_at>;
  using known = std::integral_constant<order, order::known>;
  const bool look = !rows.known() && !distant &&
                    shape.end[stop - 1] <= shape.end[shape.rows - 1] - ascent_check::reach;
  compressed_matrix<T> a = look ? shape : rows.take(r, stop);
  const auto multiply = [&](auto w, std::int32_t at) {
    std::int32_t first = r;
    if (look && at == 0) {
      first = kernel(looked_at{}, w, at, a, first);
      if (first == stop) return;
      a = rows.take(r, stop);
    }
    kernel(known{}, w, at, a, first);
  };
  std::int32_t in_pairs = 0;
  if constexpr (has_chunk_pairs<T>) {
    constexpr int width = 2 * widest_lanes<T>;
    for (; pairs && in_chunks - in_pairs >= width; in_pairs += width) {
      multiply(panel_width<width>{}, in_pairs);
    }
  }
  for_each_chunk<T>(in_chunks - in_pairs,
                    [&](auto w, std::int32_t at) { multiply(w, in_pairs + at); });
  for (std::int32_t j = in_chunks; j < columns; ++j) multiply(panel_width<1>{}, j);
}

// Swept, rows lo to hi - 1, which must have some entry. Indices have base 0.
template <class T>
void multiply_rows_in_place(const rows_in_order<T>& source,
                            std::int32_t lo,
                            std::int32_t hi,
                            const mm_operands<T>& o) {
  const block_bounds bounds(source.shape().cols);
  const std::int32_t in_chunks = o.n / 4 * 4;
  const row_meetings<T> meetings(source.shape(), o, in_chunks);
  const bool scattered = meetings.distant() && rows_are_scattered(source.shape(), bounds);
  part_ends<T> ends(bounds);
  const bool pairs = takes_chunk_pairs(source.shape(), o);
  const auto multiply = [&](const rows_in_order<T>& rows, std::int32_t r, std::int32_t stop) {
    const auto kernel = [&](auto how, auto w, std::int32_t at, const compressed_matrix<T>& a,
                            std::int32_t first) {
      const row_entries<T> entries(a, first, stop - first);
      T* const c = line_at(o.c, first, o.ldc) + at;
      if constexpr (w() == 1) {
        const strided_rows<1, T> of_b{o.b + at, o.ldb};
        const auto x = [=](std::int32_t index) { return to_element(of_b(index)); };
        return first + update_column<how()>(entries, bounds, x, c, o.ldc, o.alpha, o.beta);
      } else {
        constexpr int width = std::min(w(), widest_lanes<T>);
        constexpr bool is_pair = w() != width;
        constexpr bool may_be_distant = !is_pair && how() == order::known;
        return meetings.template with_rows<width, may_be_distant, is_pair>(
            o.b, o.ldb, at, [&](auto of_b) {
              if constexpr (are_distant<decltype(of_b)>) {
                if (scattered && ends.find(entries)) {
                  update_scattered_rows<w()>(entries, ends.at_positions(), of_b, c, o.ldc, o.alpha,
                                             o.beta);
                  return stop;
                }
              }
              return first + update_rows<width, how(), w() / width>(entries, bounds, of_b, c, o.ldc,
                                                                    o.alpha, o.beta);
            });
      }
    };
    multiply_chunks(rows, r, stop, in_chunks, o.n, pairs, meetings.distant(), kernel);
  };
  for_rows_at_once(source, lo, hi, o, meetings, pairs, multiply);
}

// Direct: W columns, and how an element of C comes about.
template <int W, class T, class Rows>
struct direct_chunk {
  const T* values;
  const std::int32_t* indices;
  Rows b;
  lane<T> alpha;
  lane<T> beta;

  NEVRAD_INLINE lanes<T, W> start(const T* c) const {
    return is_complex<T> ? zero_lanes<T, W>() : multiply_fused(load<W>(c), broadcast<W>(beta));
  }
  NEVRAD_INLINE void look_ahead(std::int64_t p) const { ask_for_later(b, p); }
  template <int N>
  NEVRAD_INLINE lanes<T, N> prepare(lanes<T, N> v) const {
    if constexpr (is_complex<T>) {
      return v;
    } else {
      return multiply(v, broadcast<N>(alpha));
    }
  }
  NEVRAD_INLINE lanes<T, W> add(lanes<T, W> acc, lanes<T, W> v, std::int64_t index) const {
    return multiply_add(acc, v, b(index));
  }
  NEVRAD_INLINE void finish(T* c, lanes<T, W> acc) const {
    if constexpr (is_complex<T>) {
      const auto t = multiply_add(zero_lanes<T, W>(), load<W>(c), broadcast<W>(beta));
      acc = multiply_add(t, acc, broadcast<W>(alpha));
    }
    store(c, acc);
  }
};

// Rows from `row` on, `c` at the chunk of the first one, or the first of two chunks side by side.
// Answers with the row where it stops.
template <order Order, int Chunks, int W, class T, class Rows>
std::int32_t direct_rows(const compressed_matrix<T>& a,
                         std::int32_t row,
                         std::int32_t hi,
                         const direct_chunk<W, T, Rows>& chunk,
                         T* c,
                         std::int64_t ldc) {
  const direct_chunk<W, T, Rows> own = chunk;  // in registers, whatever is stored
  const std::int32_t* const end = a.end;
  std::int64_t p = a.begin[row];
  for (; row < hi; ++row, c += ldc) {
    const std::int64_t stop = end[row];
    if constexpr (Order == order::looked_at) {
      ascent_check ascent;
      ascent.look_at(own.indices, p, stop);
      if (!ascent.ascends()) break;
    }
    fetch_rows_behind(own.b, own.indices, p, stop, c, ldc);
    fetch_entries_behind(own.b, own.values, own.indices, p, stop);
    if constexpr (Chunks == 2) {
      direct_chunk<W, T, Rows> beside = own;
      beside.b = columns_on(own.b, W);
      fetch_rows_behind(beside.b, own.indices, p, stop, c + W, ldc);
      lanes<T, W> left = own.start(c);
      lanes<T, W> right = own.start(c + W);
      add_entries_side_by_side(left, right, own, beside, p, stop);
      own.finish(c, left);
      own.finish(c + W, right);
    } else {
      own.finish(c, add_entries(own.start(c), own, p, stop));
    }
    p = stop;
  }
  return row;
}

// The same for long rows.
template <order Order, int W, class T, class Rows>
std::int32_t direct_long_rows(const compressed_matrix<T>& a,
                              std::int32_t row,
                              std::int32_t hi,
                              const direct_chunk<W, T, Rows>& chunk,
                              T* c,
                              std::int64_t ldc) {
  const direct_chunk<W, T, Rows> own = chunk;
  const std::int32_t* const end = a.end;
  std::int64_t p = a.begin[row];
  for (; row + 1 < hi; row += 2, c += 2 * ldc) {
    const std::int64_t middle = end[row];
    const std::int64_t stop = end[row + 1];
    if constexpr (Order == order::looked_at) {
      ascent_check ascent;
      ascent.look_at(own.indices, p, middle);
      ascent.look_at(own.indices, middle, stop);
      if (!ascent.ascends()) return row;
    }
    fetch_rows_behind(own.b, own.indices, p, middle, c, ldc);
    fetch_rows_behind(own.b, own.indices, middle, stop, c + ldc, ldc);
    fetch_entries_behind(own.b, own.values, own.indices, p, stop);
    lanes<T, W> upper = own.start(c);
    lanes<T, W> lower = own.start(c + ldc);
    add_entries_in_step(upper, lower, own, p, middle, stop);
    own.finish(c, upper);
    own.finish(c + ldc, lower);
    p = stop;
  }
  return row < hi ? direct_rows<Order, 1>(a, row, hi, chunk, c, ldc) : row;
}

// One column of rows of C, `c` at it. Rows as in direct_rows.
template <order Order, class T, class Rows>
std::int32_t direct_column(const compressed_matrix<T>& a,
                           std::int32_t row,
                           std::int32_t hi,
                           const Rows& rows,
                           T* c,
                           std::int64_t ldc,
                           T alpha,
                           T beta) {
  // In registers, whatever is stored.
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  const std::int32_t* const end = a.end;
  const Rows of_b = rows;
  std::int64_t p = a.begin[row];
  for (; row < hi; ++row, c += ldc) {
    const std::int64_t stop = end[row];
    if constexpr (Order == order::looked_at) {
      ascent_check ascent;
      ascent.look_at(indices, p, stop);
      if (!ascent.ascends()) break;
    }
    T sum = multiply_fused(beta, *c);
    for (; p < stop; ++p) {
      ask_for_later(of_b, p);
      const T v = multiply_fused(alpha, values[p]);
      const T x = to_element(of_b(indices[p]));
      if constexpr (is_complex<T>) {
        sum = add(sum, multiply_fused(v, x));
      } else {
        sum = fma(v, x, sum);
      }
    }
    *c = sum;
  }
  return row;
}

// Rows lo up to but excluding hi. Indices have base 0.
template <class T>
void mm_rows_direct(const rows_in_order<T>& source,
                    std::int32_t lo,
                    std::int32_t hi,
                    const mm_operands<T>& o) {
  const compressed_matrix<T>& shape = source.shape();
  const bool are_long = row_entries<T>(shape, 0, shape.rows).are_long();
  const bool pairs = takes_chunk_pairs(shape, o);
  // Real columns behind the last whole chunk round as those within, so narrower chunks take them.
  constexpr int widest = mm_chunk<T>;
  const std::int32_t in_chunks = is_complex<T> ? o.n / widest * widest : o.n / 4 * 4;
  const row_meetings<T> meetings(shape, o, in_chunks);
  const auto multiply = [&](const rows_in_order<T>& rows, std::int32_t r, std::int32_t stop) {
    const auto kernel = [&](auto how, auto w, std::int32_t at, const compressed_matrix<T>& a,
                            std::int32_t first) {
      T* const c = line_at(o.c, first, o.ldc) + at;
      if constexpr (w() == 1) {
        constexpr bool may_be_distant = is_complex<T> && how() == order::known;
        return meetings.template with_rows<1, may_be_distant, false>(
            o.b, o.ldb, at, [&](auto of_b) {
              return direct_column<how()>(a, first, stop, of_b, c, o.ldc, o.alpha, o.beta);
            });
      } else {
        constexpr int width = std::min(w(), widest_lanes<T>);
        constexpr bool is_pair = w() != width;
        constexpr bool may_be_distant = !is_pair && how() == order::known;
        return meetings.template with_rows<width, may_be_distant, is_pair>(
            o.b, o.ldb, at, [&](auto of_b) {
              const direct_chunk<width, T, decltype(of_b)> chunk{a.values, a.indices, of_b,
                                                                 to_lane(o.alpha), to_lane(o.beta)};
              if constexpr (w() <= widest) {
                if (are_long) return direct_long_rows<how()>(a, first, stop, chunk, c, o.ldc);
              }
              return direct_rows<how(), w() / width>(a, first, stop, chunk, c, o.ldc);
            });
      }
    };
    multiply_chunks(rows, r, stop, in_chunks, o.n, pairs, meetings.distant(), kernel);
  };
  for_rows_at_once(source, lo, hi, o, meetings, pairs, multiply);
}

}  // namespace nevrad
