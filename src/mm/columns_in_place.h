// C := alpha * A * B + beta * C with column-major B and C, entries where they lie.
//
// A panel of columns at a time, and as many rows as a cache line of a column holds: their part of C
// is turned into rows, updated (see row_parts.h for the order of sums), and turned back. B is
// packed as the rows reach it. Columns behind the narrowest panel, at most 3, go one at a time.
#pragma once

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

// Columns j to j + W - 1 of rows lo to hi - 1.
template <int W, class T>
void multiply_panel_in_place(const compressed_matrix<T>& a,
                             const block_bounds& bounds,
                             std::int32_t lo,
                             std::int32_t hi,
                             std::int32_t j,
                             const mm_operands<T>& o,
                             const column_panels<T>& panels) {
  alignas(cache_line) T part_of_c[column_line<T> * W];
  const T* const b = line_at(o.b, j, o.ldb);
  auto window = panels.template window<W>(b, o.ldb, a.base);
  for (std::int32_t r = lo; r < hi; r += column_line<T>) {
    const std::int32_t count = std::min(column_line<T>, hi - r);
    T* const c = line_at(o.c, j, o.ldc) + r;
    fetch_columns_ahead<W>(c, o.ldc);
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

// Rows lo to hi - 1, which must have some entry.
template <class T>
void multiply_columns_in_place(const compressed_matrix<T>& a,
                               std::int32_t lo,
                               std::int32_t hi,
                               const mm_operands<T>& o,
                               const column_panels<T>& panels) {
  const block_bounds bounds(a.cols);
  std::int32_t j = for_each_panel<T>(o.n, [&](auto w, std::int32_t at) {
    multiply_panel_in_place<w()>(a, bounds, lo, hi, at, o, panels);
  });
  for (; j < o.n; ++j) {
    const T* const x = line_at(o.b, j, o.ldb) - a.base;
    T* const y = line_at(o.c, j, o.ldc);
    for (std::int32_t r = lo; r < hi; r += mm_rows_at_once) {
      update_column(
          row_entries<T>(a, r, std::min(mm_rows_at_once, hi - r)), bounds,
          [=](std::int32_t index) { return x[index]; }, y + r, 1, o.alpha, o.beta);
    }
  }
}

}  // namespace nevrad
