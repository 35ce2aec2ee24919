// C := alpha * A * B + beta * C with column-major B and C, entries where they lie.
//
// A panel of columns at a time, and as many rows as a cache line of a column holds: their part of C
// is turned into rows, updated (see row_parts.h for the order of sums), and turned back. B is
// packed as the rows reach it. Columns behind the narrowest panel, at most 3, go one at a time.
#pragma once

#include "matrix/sorted_rows.h"
#include "mm/operands.h"
#include "mm/panel_window.h"
#include "mm/panels.h"
#include "mm/row_parts.h"

namespace nevrad {

// How a part of the rows finds the panels of B: packed by everybody beforehand, or in a window of
// its own within the store.
template <class T>
class column_panels {
 public:
  column_panels(const compressed_matrix<T>& a, const mm_operands<T>& o, T* store, int parts)
      : store_(store),
        rows_(a.cols),
        window_(window_rows(a)),
        window_size_(std::int64_t{window_} * std::min(mm_chunk<T>, o.n / 4 * 4)) {
    const bool room = window_size_ * parts <= std::int64_t{rows_} * o.n;
    shared_ = parts > 1 && (window_ == rows_ || !room);
  }

  bool shared() const { return shared_; }
  column_panels of_part(int part) const {
    column_panels own = *this;
    if (!shared_) own.store_ += part * window_size_;
    return own;
  }

  template <int W>
  panel_window<W, T> window(const T* first, std::int64_t ld, std::int32_t base) const {
    return {first, ld, rows_, base, store_, window_};
  }
  template <int W>
  ring_rows<W, T> packed(std::int32_t j, std::int32_t base) const {
    return {panel_at(store_, j, rows_) - std::int64_t{base} * W, -1};
  }

 private:
  T* store_;
  std::int32_t rows_;
  std::int32_t window_;
  std::int64_t window_size_;  // elements of the widest panel's rows in a window
  bool shared_ = false;
};

// Asks for the entries of rows r up to but excluding `stop`.
template <class T>
void fetch_entries_ahead(const compressed_matrix<T>& a, std::int32_t r, std::int32_t stop) {
  constexpr std::int64_t indices = cache_line / sizeof(std::int32_t);
  constexpr std::int64_t values = cache_line / sizeof(T);
  constexpr std::int64_t most = 128;  // long rows run ahead well enough
  if (fixed_hints || r >= stop) return;
  const std::int64_t first = a.begin[r] - a.base;
  const std::int64_t last = a.end[stop - 1] - a.base;
  if (last - first > most) return;
  for (std::int64_t p = first; p < last; p += indices) prefetch<cache::level1>(a.indices + p, 0);
  for (std::int64_t p = first; p < last; p += values) prefetch<cache::level1>(a.values + p, 0);
}

// Rows of A for several passes over them. The first pass looks at their order range by range, when
// their indices are about to be used; once a range is not in order, all rows are sorted.
template <class T>
class rows_of_part {
 public:
  rows_of_part(const rows_in_order<T>& rows, std::int32_t lo, std::int32_t hi)
      : rows_(rows), lo_(lo), hi_(hi) {}

  std::int32_t lo() const { return lo_; }
  std::int32_t hi() const { return hi_; }
  const compressed_matrix<T>& shape() const { return rows_.shape(); }
  // Whether a kernel is to look at the order of rows up to but excluding `stop`, and can.
  bool look(std::int32_t stop) const {
    return !rows_.known() &&
           shape().end[stop - 1] <= shape().end[shape().rows - 1] - ascent_check::reach;
  }
  // Each pass calls this for ranges that cover the rows, in turn.
  const compressed_matrix<T>& take(std::int32_t r, std::int32_t stop) {
    if (!rows_.ascend(r, stop)) rows_ = rows_.take(lo_, hi_);
    return rows_.shape();
  }
  // After a pass.
  void set_known() { rows_ = rows_.shape(); }

 private:
  rows_in_order<T> rows_;
  std::int32_t lo_;
  std::int32_t hi_;
};

// Columns j to j + W - 1.
template <int W, class T>
void multiply_panel_in_place(rows_of_part<T>& part,
                             const block_bounds& bounds,
                             std::int32_t j,
                             const mm_operands<T>& o,
                             const column_panels<T>& panels) {
  alignas(cache_line) T part_of_c[column_line<T> * W];
  const std::int32_t lo = part.lo();
  const std::int32_t hi = part.hi();
  compressed_matrix<T> a = part.take(lo, lo);
  const T* const b = line_at(o.b, j, o.ldb);
  auto window = panels.template window<W>(b, o.ldb, a.base);
  for (std::int32_t r = lo; r < hi; r += column_line<T>) {
    constexpr std::int32_t looked_at = 64;
    if ((r - lo) % looked_at == 0) a = part.take(r, std::min(r + looked_at, hi));
    const std::int32_t count = std::min(column_line<T>, hi - r);
    T* const c = line_at(o.c, j, o.ldc) + r;
    fetch_columns_ahead<W>(c, o.ldc);
    fetch_entries_ahead(a, r + 2 * count, std::min(r + 3 * count, hi));
    load_panel_columns<W>(part_of_c, c, o.ldc, count, as_it_is{});
    const auto update = [&](const auto& rows) {
      update_rows<W>(row_entries<T>(a, r, count), bounds, rows, part_of_c, W, o.alpha, o.beta);
    };
    if (panels.shared()) {
      update(panels.template packed<W>(j, a.base));
    } else if (window.hold(columns_used(a, r, r + count))) {
      update(window.rows());
    } else {
      update(gathered_rows<W, T>{b - a.base, o.ldb});
    }
    store_panel_columns<W>(part_of_c, c, o.ldc, count);
  }
}

// Column j.
template <class T>
void multiply_column_in_place(rows_of_part<T>& part,
                              const block_bounds& bounds,
                              std::int32_t j,
                              const mm_operands<T>& o) {
  T* const y = line_at(o.c, j, o.ldc);
  // Within short rows there is little to hide a look behind.
  const bool are_long = row_entries<T>(part.shape(), part.lo(), part.hi() - part.lo()).are_long();
  std::int32_t stop = part.lo();
  for (std::int32_t r = stop; r < part.hi(); r = stop) {
    stop = r + std::min(mm_rows_at_once, part.hi() - r);
    const T* const b = line_at(o.b, j, o.ldb) - part.shape().base;
    const auto x = [=](std::int32_t index) { return b[index]; };
    std::int32_t first = r;
    if (are_long && part.look(stop)) {
      const row_entries<T> entries(part.shape(), r, stop - r);
      first += update_column<order::looked_at>(entries, bounds, x, y + r, 1, o.alpha, o.beta);
      if (first == stop) continue;
    }
    const row_entries<T> entries(part.take(first, stop), first, stop - first);
    update_column(entries, bounds, x, y + first, 1, o.alpha, o.beta);
  }
}

// Rows lo to hi - 1, which must have some entry.
template <class T>
void multiply_columns_in_place(const rows_in_order<T>& rows,
                               std::int32_t lo,
                               std::int32_t hi,
                               const mm_operands<T>& o,
                               const column_panels<T>& panels) {
  const block_bounds bounds(rows.shape().cols);
  rows_of_part<T> part(rows, lo, hi);
  std::int32_t j = for_each_panel<T>(o.n, [&](auto w, std::int32_t at) {
    multiply_panel_in_place<w()>(part, bounds, at, o, panels);
    part.set_known();
  });
  for (; j < o.n; ++j) {
    multiply_column_in_place(part, bounds, j, o);
    part.set_known();
  }
}

}  // namespace nevrad
