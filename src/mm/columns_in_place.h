// C := alpha * A * B + beta * C with column-major B and C, entries where they lie.
//
// A panel of columns at a time, and as many rows as a few cache lines of a column hold: their part
// of C is turned into rows, updated (see row_parts.h for the order of sums), and turned back. B is
// packed as the rows reach it. Columns behind the narrowest panel, at most 3, go one at a time.
#pragma once

#include "matrix/sorted_rows.h"
#include "mm/moving_columns.h"
#include "mm/operands.h"
#include "mm/panel_window.h"
#include "mm/panels.h"
#include "mm/row_parts.h"
#include "mm/scattered_rows.h"

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
        window_size_(std::int64_t{window_} * std::min(2 * mm_chunk<T>, o.n / 4 * 4)),
        unused_(takes_rows_as_lanes(a, o)) {
    const bool room = window_size_ * parts <= std::int64_t{rows_} * o.n;
    shared_ = !unused_ && parts > 1 && (window_ == rows_ || !room);
  }

  // Whether B is read where it lies.
  bool unused() const { return unused_; }

  bool shared() const { return shared_; }
  // Whether each row of B has a place of its own.
  bool whole() const { return shared_ || window_ == rows_; }
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
  packed_rows<W, T> packed(std::int32_t j, std::int32_t base) const {
    return {panel_at(store_, shared_ ? j : 0, rows_) - std::int64_t{base} * W};
  }

 private:
  T* store_;
  std::int32_t rows_;
  std::int32_t window_;
  std::int64_t window_size_;  // elements of the widest panel's rows in a window
  bool unused_;
  bool shared_ = false;
};

// Rows of A for several passes over them. The first pass looks at their order range by range, when
// their indices are about to be used; once a range is not in order, all rows are sorted.
template <class T>
class rows_of_part {
 public:
  rows_of_part(const rows_in_order<T>& rows, std::int32_t lo, std::int32_t hi)
      : rows_(rows), source_(rows.shape()), lo_(lo), hi_(hi) {}

  std::int32_t lo() const { return lo_; }
  std::int32_t hi() const { return hi_; }
  const compressed_matrix<T>& shape() const { return rows_.shape(); }
  // All rows as they came: a sorted copy has those of other parts while others write them.
  const compressed_matrix<T>& source() const { return source_; }
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
  compressed_matrix<T> source_;
  std::int32_t lo_;
  std::int32_t hi_;
};

// Rows whose part of C is in rows at the same time: a few lines of a column.
template <class T>
inline constexpr std::int32_t tile_rows = 4 * column_line<T>;

// Moves W columns of `rows` rows of C, from `c` on, to the rows of a tile and back.
template <int W, class T>
NEVRAD_INLINE void load_tile_of_c(T* tile, const T* c, std::int64_t ldc, std::int32_t rows) {
  std::int32_t r = 0;
  for (; r + column_line<T> <= rows; r += column_line<T>) {
    fetch_columns_ahead<W>(c + r, ldc);
    load_panel_lines<W>(tile + r * W, c + r, ldc, as_it_is{});
  }
  load_panel_columns<W>(tile + r * W, c + r, ldc, rows - r, as_it_is{});
}
template <int W, class T>
NEVRAD_INLINE void store_tile_of_c(const T* tile, T* c, std::int64_t ldc, std::int32_t rows) {
  std::int32_t r = 0;
  for (; r + column_line<T> <= rows; r += column_line<T>) {
    store_panel_lines<false, W>(tile + r * W, c + r, ldc);
  }
  store_panel_columns<W>(tile + r * W, c + r, ldc, rows - r);
}

// Columns j to j + W - 1.
template <int W, class T>
void multiply_panel_in_place(rows_of_part<T>& part,
                             const block_bounds& bounds,
                             std::int32_t j,
                             const mm_operands<T>& o,
                             const column_panels<T>& panels) {
  alignas(cache_line) T tile[tile_rows<T> * W];
  const std::int32_t hi = part.hi();
  const std::int32_t base = part.shape().base;
  const T* const b = line_at(o.b, j, o.ldb);
  auto window = panels.template window<W>(b, o.ldb, base);
  const packed_rows<W, T> packed = panels.template packed<W>(j, base);
  const bool distant = panels.whole() && !stay_in_cache<T>(part.shape().cols, W) &&
                       meets_distant_rows(part.source());
  const bool scattered = distant && rows_are_scattered(part.source(), bounds);
  part_ends<T> ends(bounds);
  std::int32_t stop = part.lo();
  for (std::int32_t r = stop; r < hi; r = stop) {
    stop = r + std::min(tile_rows<T>, hi - r);
    T* const c = line_at(o.c, j, o.ldc) + r;
    load_tile_of_c<W>(tile, c, o.ldc, stop - r);
    // Rows from `first` on, up to the first that is found out of order.
    const auto update = [&](auto how, const compressed_matrix<T>& a, std::int32_t first) {
      const row_entries<T> entries(a, first, stop - first);
      T* const c_rows = tile + (first - r) * W;
      const auto update_by = [&](const auto& rows) {
        return first + update_rows<W, how()>(entries, bounds, rows, c_rows, W, o.alpha, o.beta);
      };
      const column_span used = panels.shared() ? column_span{} : columns_used(a, first, stop);
      if (!panels.shared() && !window.hold(used)) {
        return update_by(gathered_rows<W, T>{b - base, o.ldb});
      }
      if constexpr (!fixed_hints && how() == order::known) {
        const distant_rows<packed_rows<W, T>> later{packed, part.source().indices - base,
                                                    std::int64_t{csr_entries(part.source())} - 1 +
                                                        base};
        if (scattered && ends.find(entries)) {
          update_scattered_rows<W>(entries, ends.at_positions(), later, c_rows, W, o.alpha, o.beta);
          return stop;
        }
        if (distant) return update_by(later);
      }
      if (panels.shared()) return update_by(packed);
      return window.in_line(used) ? update_by(window.rows_in_line(used)) : update_by(window.rows());
    };
    using looked_at = std::integral_constant<order, order::looked_at>;
    using known = std::integral_constant<order, order::known>;
    std::int32_t first = r;
    if (!distant && part.look(stop)) first = update(looked_at{}, part.shape(), first);
    if (first < stop) update(known{}, part.take(first, stop), first);
    store_tile_of_c<W>(tile, c, o.ldc, stop - r);
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
  if constexpr (!is_complex<T>) {
    if (panels.unused()) return moving_columns<T>(rows, o).multiply(lo, hi);
  }
  const block_bounds bounds(rows.shape().cols);
  rows_of_part<T> part(rows, lo, hi);
  std::int32_t j = for_each_chunk<T>(o.n, [&](auto w, std::int32_t at) {
    multiply_panel_in_place<w()>(part, bounds, at, o, panels);
    part.set_known();
  });
  for (; j < o.n; ++j) {
    multiply_column_in_place(part, bounds, j, o);
    part.set_known();
  }
}

}  // namespace nevrad
