// C := alpha * op(A) * B + beta * C in the rounding of the sweeps, straight from lines that hold
// images.
//
// C * beta, rounded, then alpha times the sum of each part of a row in turn (see row_parts.h). The
// sum of a part is open while the lines pass that add to it, so the rows within reach of a line
// have their sums in a ring, for a panel or chunk of columns at a time: few enough to stay in
// cache. In a column-major product the rows of C lie beside the sums, read when they enter and
// written when they leave.
#pragma once

#include "mm/held_lines.h"
#include "mm/operands.h"
#include "mm/panel_window.h"
#include "mm/panels.h"
#include "mm/row_parts.h"
#include "mm/rows_in_place.h"

namespace nevrad {

// Lines that are walked between two moves of a ring.
template <class T>
inline constexpr std::int32_t lines_at_once = 4 * column_line<T>;

// A power of two that holds the rows within reach of a line and what moves at once, or all rows.
template <class T>
std::int64_t ring_size(const line_survey& found, std::int32_t rows, std::int32_t base) {
  const std::int64_t wanted = std::int64_t{found.below} + found.above + 2 * lines_at_once<T>;
  std::int64_t size = 64;
  while (size < wanted) size *= 2;
  return std::min<std::int64_t>(size, std::int64_t{rows} + base);
}

template <class T>
constexpr std::int64_t ring_elements(dense_layout layout, std::int64_t size, std::int32_t n) {
  const std::int32_t chunk = 2 * mm_chunk<T>;
  return size *
         (layout == dense_layout::row_major ? std::min(chunk, n) : 2 * std::min(chunk / 2, n));
}

// Where a ring lies: its elements, and twice `size` words.
template <class T>
struct ring_room {
  T* elements;
  std::int32_t* words;
  std::int64_t size;
};

// As a chunk of wide rows is no stream to hardware: asks for the chunk some rows on.
template <int W, class T>
NEVRAD_INLINE void fetch_ahead(const T* at, std::int64_t ld) {
  if constexpr (!fixed_hints) {
    if (ld == W) return;
    for (int j = 0; j < W; j += column_line<T>) {
      prefetch<cache::level1>(at, (16 * ld + j) * static_cast<std::int64_t>(sizeof(T)));
    }
  }
}

// Rows of C in use; row r has the slot of index r + base. W columns beginning with `c`.
template <int W, dense_layout Layout, class T>
class row_ring {
 public:
  row_ring(const ring_room<T>& room,
           std::int32_t rows,
           std::int32_t base,
           T* c,
           const mm_operands<T>& o,
           std::int32_t parts)
      : sums_(room.elements),
        kept_(room.elements + room.size * W),
        part_(room.words),
        closed_(room.words + room.size),
        size_(room.size),
        mask_(room.size == std::int64_t{rows} + base ? -1 : room.size - 1),
        rows_(rows),
        base_(base),
        c_(c),
        ldc_(o.ldc),
        alpha_(o.alpha),
        beta_(o.beta),
        parts_(parts) {}

  NEVRAD_INLINE T* sum(std::int64_t index) const { return sums_ + (index & mask_) * W; }

  // Makes the given part the open one of a row.
  NEVRAD_INLINE void open(std::int32_t index, std::int32_t part) const {
    std::int32_t& open = part_[index & mask_];
    if (open == part) return;
    // Single columns have something to add for parts that they pass over.
    if constexpr (W == 1) {
      if (open != no_part || part != 0) {
        const row_ring own = *this;  // the call sees the copy, and this one stays in registers
        own.close_early(index, part);
      }
    } else if (open != no_part) {
      add_part(index, load<W>(sum(index)));
    }
    store(sum(index), zero_lanes<T, W>());
    open = part;
  }

  // Adds the sum of a part that is not the open one.
  NEVRAD_INLINE void add_part(std::int32_t index, lanes<T, W> sum) const {
    const lanes<T, W> scale = broadcast<W>(to_lane(alpha_));
    if constexpr (by_columns) {
      T* const row = kept_ + (index & mask_) * W;
      store(row, multiply_add(load<W>(row), sum, scale));
    } else {
      T* const row = c_ + (index - base_) * ldc_;
      fetch_ahead<W>(row, ldc_);
      lanes<T, W> value = load<W>(row);
      std::int32_t& closed = closed_[index & mask_];
      if (closed == 0) value = multiply_fused(value, broadcast<W>(to_lane(beta_)));
      closed = 1;
      store(row, multiply_add(value, sum, scale));
    }
  }

  // Makes the part the open one of a row that has none, with the sum to come.
  NEVRAD_INLINE void open_first(std::int32_t index, std::int32_t part) const {
    part_[index & mask_] = part;
  }

  // Lets rows in up to row `high`, and others out whose number is below `low`.
  void move_to(std::int32_t low, std::int32_t high) {
    constexpr std::int32_t line = column_line<T>;
    if (low - left_ >= line) leave((low - left_) / line * line);
    if (high > entered_) {
      enter(std::min((high - entered_ + line - 1) / line * line, rows_ - entered_));
    }
  }
  // The same for all that remain.
  void finish() {
    while (left_ < rows_) {
      while (entered_ < rows_ && (mask_ < 0 || entered_ - left_ + column_line<T> <= size_)) {
        enter(std::min(column_line<T>, rows_ - entered_));
      }
      leave(std::min(column_line<T>, entered_ - left_));
    }
  }

 private:
  static constexpr bool by_columns = Layout == dense_layout::column_major;
  static constexpr std::int32_t no_part = -1;

  [[gnu::noinline]] void close_early(std::int32_t index, std::int32_t next) const {
    close(index, next);
  }

  // Adds the open part, if any, ahead of part `next`. One of the last columns gets a sum of zero
  // for the parts that hold nothing of a row, once for a run of them.
  NEVRAD_INLINE void close(std::int32_t index, std::int32_t next) const {
    T* const row = by_columns ? kept_ + (index & mask_) * W : c_ + (index - base_) * ldc_;
    const T* const sums = sum(index);
    const std::int32_t open = part_[index & mask_];
    const bool scaled = by_columns || closed_[index & mask_] != 0;
    if constexpr (!by_columns) closed_[index & mask_] = 1;
    lanes<T, W> value = load<W>(row);
    if (!scaled) value = multiply_fused(value, broadcast<W>(to_lane(beta_)));
    if constexpr (W == 1) {
      T y = to_element(value);
      if (open != no_part) y = add_scaled(y, alpha_, *sums);
      if (open + 1 != next) y = add_scaled(y, alpha_, zero<T>());
      value = to_lane(y);
    } else if (open != no_part) {
      value = multiply_add(value, load<W>(sums), broadcast<W>(to_lane(alpha_)));
    }
    store(row, value);
  }

  // Calls move(first row, first slot, count) for runs of neighbouring slots.
  template <class Move>
  NEVRAD_INLINE void in_runs(std::int32_t row, std::int32_t count, const Move& move) const {
    while (count > 0) {
      const std::int64_t at = (std::int64_t{row} + base_) & mask_;
      const auto run = static_cast<std::int32_t>(std::min<std::int64_t>(count, size_ - at));
      move(row, at, run);
      row += run;
      count -= run;
    }
  }
  void enter(std::int32_t count) {
    in_runs(entered_, count, [&](std::int32_t row, std::int64_t at, std::int32_t run) {
      for (std::int32_t i = 0; i < run; ++i) part_[at + i] = no_part;
      if constexpr (by_columns) {
        for (std::int32_t i = 0; i < run; i += column_line<T>) {
          fetch_columns_ahead<W>(c_ + row + i, ldc_);
        }
        load_panel_columns<W>(kept_ + at * W, c_ + row, ldc_, run, elements_times<T>{beta_});
      } else {
        for (std::int32_t i = 0; i < run; ++i) closed_[at + i] = 0;
      }
    });
    entered_ += count;
  }
  void leave(std::int32_t count) {
    const row_ring own = *this;  // in registers, whatever is stored
    for (std::int32_t i = left_; i < left_ + count; ++i) {
      if constexpr (!by_columns) fetch_ahead<W>(own.c_ + i * own.ldc_, own.ldc_);
      own.close(i + base_, parts_);
    }
    if constexpr (by_columns) {
      in_runs(left_, count, [&](std::int32_t row, std::int64_t at, std::int32_t run) {
        store_panel_columns<W>(kept_ + at * W, c_ + row, ldc_, run);
      });
    }
    left_ += count;
  }

  T* sums_;
  T* kept_;
  std::int32_t* part_;    // that is open
  std::int32_t* closed_;  // whether a row-major row has been written: it is scaled by beta then
  std::int64_t size_;
  std::int64_t mask_;
  std::int32_t rows_;
  std::int32_t base_;
  T* c_;
  std::int64_t ldc_;
  T alpha_;
  T beta_;
  std::int32_t parts_;
  std::int32_t entered_ = 0;
  std::int32_t left_ = 0;
};

template <int W, class T>
NEVRAD_INLINE lanes<T, W> add_to_sum(lanes<T, W> sum, lanes<T, W> b, T value) {
  if constexpr (W == 1) {
    return to_lane(add_product(to_element(sum), value, to_element(b)));
  } else {
    return multiply_add(sum, b, broadcast<W>(to_lane(value)));
  }
}

template <class T>
NEVRAD_INLINE T used_value(T value, entry_use use) {
  if constexpr (is_complex<T>) {
    if (use == entry_use::conjugated) return conj(value);
  }
  return value;
}

// Lines one by one; b(index) is a row of B. All members are copies, so that stores leave them in
// registers.
template <taken Which, bool Own, int W, dense_layout Layout, class T, class B>
struct ring_walk {
  line_reader<Which, T> a;
  expansion_form form;
  block_bounds bounds;
  row_ring<W, Layout, T> ring;
  B b;
  bool diagonals;  // in all lines

  NEVRAD_INLINE void fetch_ahead_of(std::int32_t i) const {
    if constexpr (Layout == dense_layout::row_major) {
      fetch_ahead<W>(b.at + (i + a.base) * b.ld, b.ld);
    }
  }

  // The diagonal's entries and the one of line i, added to its own row.
  NEVRAD_INLINE lanes<T, W> add_diagonal(lanes<T, W> sum,
                                         const line_parts& part,
                                         lanes<T, W> b_line) const {
    for (std::int64_t p = part.diag_first; p < part.diag_last; ++p) {
      sum = add_to_sum(sum, b_line, used_value(a.values[p], form.on_diagonal));
    }
    return a.ones ? add_to_sum(sum, b_line, one<T>()) : sum;
  }

  // An entry off the diagonal, in the line's own row and in that of its image.
  NEVRAD_INLINE lanes<T, W> add_entry(lanes<T, W> own, lanes<T, W> b_line, std::int64_t p) const {
    const std::int32_t other = a.indices[p];
    const T value = a.values[p];
    if constexpr (Own) own = add_to_sum(own, b(other), used_value(value, form.own));
    T* const sum = ring.sum(other);
    store(sum, add_to_sum(load<W>(sum), b_line, used_value(value, form.image)));
    return own;
  }

  // Entries p to q - 1, of one part of the line's own row.
  NEVRAD_INLINE lanes<T, W> add_entries(lanes<T, W> own,
                                        lanes<T, W> b_line,
                                        std::int64_t p,
                                        std::int64_t q) const {
#pragma clang loop unroll(disable)
    for (; p < q; ++p) own = add_entry(own, b_line, p);
    return own;
  }

  // The same with the diagonal where it stands or without, and the own row's sum where it lies.
  NEVRAD_INLINE void add_segment(std::int32_t index,
                                 const line_parts& part,
                                 std::int64_t p,
                                 std::int64_t q,
                                 bool own_row,
                                 bool diagonal) const {
    const lanes<T, W> b_line = b(index);
    T* const own_sum = ring.sum(index);
    lanes<T, W> own = zero_lanes<T, W>();
    if (own_row) own = load<W>(own_sum);
    if (Which == taken::upper && diagonal) own = add_diagonal(own, part, b_line);
    own = add_entries(own, b_line, p, q);
    if (Which == taken::lower && diagonal) own = add_diagonal(own, part, b_line);
    if (own_row) store(own_sum, own);
  }

  // Entries p to q - 1 of a triangle, in the parts of the line's own row. The diagonal's part is
  // the first one of an upper row, the last one of a lower row; answers whether it is still to
  // come.
  NEVRAD_INLINE bool add_parts(std::int32_t index,
                               const line_parts& part,
                               std::int32_t image_part,
                               std::int64_t p,
                               std::int64_t last,
                               bool diagonal) const {
    while (p < last) {
      const std::int32_t column = a.indices[p] - a.base;
      const std::int32_t stop = bounds.stop_of(column) + a.base;
      std::int64_t q = last;
      if (a.indices[q - 1] >= stop) {
        for (q = p + 1; a.indices[q] < stop;) ++q;
      }
      const std::int32_t own_part = bounds.block_of(column);
      if (Which == taken::upper && diagonal && own_part != image_part) {
        add_segment(index, part, p, p, true, true);
        diagonal = false;
      }
      ring.open(index, own_part);
      const bool here = diagonal && own_part == image_part;
      add_segment(index, part, p, q, true, here);
      if (here) diagonal = false;
      p = q;
    }
    return diagonal;
  }

  NEVRAD_INLINE void add_line(std::int32_t i) const {
    const line_parts part = a.parts(i);
    const std::int32_t index = i + a.base;
    const std::int32_t image_part = bounds.block_of(i);
    for (std::int64_t p = part.first; p < part.last; ++p) ring.open(a.indices[p], image_part);
    bool diagonal = Which != taken::all && (a.ones || part.diag_first < part.diag_last);
    if constexpr (!Own) {
      if (diagonal) ring.open(index, image_part);
      add_segment(index, part, part.first, part.last, diagonal, diagonal);
      return;
    }
    if (Which == taken::upper && diagonal) ring.open(index, image_part);
    diagonal = add_parts(index, part, image_part, part.first, part.last, diagonal);
    if (!diagonal) return;
    ring.open(index, image_part);
    add_segment(index, part, part.last, part.last, true, true);
  }

  // A line of a lower triangle whose lines all hold their diagonal. So a row that its own line has
  // passed has the part of that diagonal open, into which images from the same block go.
  NEVRAD_INLINE void add_lower_line(std::int32_t i) const {
    const line_parts part = a.parts(i);
    const std::int32_t index = i + a.base;
    const std::int32_t image_part = bounds.block_of(i);
    const lanes<T, W> b_line = b(index);
    std::int64_t p = part.first;
    lanes<T, W> own = zero_lanes<T, W>();
    if constexpr (W == 1) {
      const auto ahead = [&] { return bounds.block_of(a.indices[p] - a.base) != image_part; };
      for (; p < part.last && ahead(); ++p) ring.open(a.indices[p], image_part);
      add_parts(index, part, image_part, part.first, p, false);
      ring.open(index, image_part);
      own = load<W>(ring.sum(index));
    } else {
      // Parts ahead of that of the diagonal get no images.
      while (p < part.last) {
        const std::int32_t column = a.indices[p] - a.base;
        if (bounds.block_of(column) == image_part) break;
        const std::int32_t stop = bounds.stop_of(column) + a.base;
        lanes<T, W> sum = zero_lanes<T, W>();
        for (; p < part.last && a.indices[p] < stop; ++p) {
          ring.open(a.indices[p], image_part);
          sum = add_entry(sum, b_line, p);
        }
        ring.add_part(index, sum);
      }
      ring.open_first(index, image_part);
    }
    own = add_entries(own, b_line, p, part.last);
    store(ring.sum(index), add_diagonal(own, part, b_line));
  }
};

template <taken Which, bool Own, class Walk>
[[gnu::noinline]] void walk_lines(const Walk& walk, std::int32_t r, std::int32_t stop) {
  const Walk own = walk;  // in registers, whatever is stored
  if (Which == taken::lower && Own && own.diagonals) {
    for (; r < stop; ++r) {
      own.fetch_ahead_of(r);
      own.add_lower_line(r);
    }
    return;
  }
  for (; r < stop; ++r) own.add_line(r);
}

// W columns, from column j on. The store is room for the rows of B within reach of a panel, where
// they are packed.
template <taken Which, bool Own, int W, dense_layout Layout, class T>
void multiply_lines_columns(const held_lines<T>& held,
                            const line_survey& found,
                            const block_bounds& bounds,
                            const ring_room<T>& room,
                            std::int32_t j,
                            const mm_operands<T>& o,
                            T* store) {
  constexpr bool by_columns = Layout == dense_layout::column_major;
  const compressed_matrix<T>& a = held.lines;
  const std::int32_t rows = held.result_rows();
  const T* const b = by_columns ? line_at(o.b, j, o.ldb) : o.b + j;
  T* const c = by_columns ? line_at(o.c, j, o.ldc) : o.c + j;
  row_ring<W, Layout, T> ring(room, rows, a.base, c, o, bounds.count());
  const line_survey of_b = Own ? found : line_survey{true, 0, 0, 0, 0, false};
  panel_window<W, T> window(b, o.ldb, a.rows, a.base, store,
                            static_cast<std::int32_t>(ring_size<T>(of_b, a.rows, 0)));
  const line_reader<Which, T> reader(held);
  const auto within = [](std::int64_t i, std::int32_t end) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(i, 0, end));
  };
  std::int32_t stop = 0;
  for (std::int32_t r = 0; r < a.rows; r = stop) {
    stop = r + std::min(lines_at_once<T>, a.rows - r);
    ring.move_to(within(std::int64_t{r} - found.below, rows),
                 within(std::int64_t{stop} + found.above, rows));
    const auto walk = [&]<class B>(const B& b_rows) {
      walk_lines<Which, Own>(ring_walk<Which, Own, W, Layout, T, B>{reader, held.form, bounds, ring,
                                                                    b_rows,
                                                                    found.diagonal_in_all_lines},
                             r, stop);
    };
    if constexpr (!by_columns) {
      walk(strided_rows<W, T>{b - a.base * std::int64_t{o.ldb}, o.ldb});
    } else if constexpr (W == 1) {
      walk(strided_rows<1, T>{b - a.base, 1});
    } else {
      window.hold({within(std::int64_t{r} - of_b.below, a.rows),
                   within(std::int64_t{stop} + of_b.above, a.rows)});
      walk(window.rows());
    }
  }
  ring.finish();
}

// All of C. The lines ascend.
template <class T>
void multiply_lines_in_ring(const held_lines<T>& held,
                            dense_layout layout,
                            const line_survey& found,
                            const ring_room<T>& room,
                            const mm_operands<T>& o,
                            T* store) {
  const block_bounds bounds(held.lines.rows);
  with_taken(held, [&](auto which) {
    const auto multiply = [&](auto w, auto rows, std::int32_t at) {
      constexpr taken of = which();
      if (of != taken::all && held.has_own()) {
        multiply_lines_columns<of, true, w(), rows()>(held, found, bounds, room, at, o, store);
      } else {
        multiply_lines_columns<of, false, w(), rows()>(held, found, bounds, room, at, o, store);
      }
    };
    using dense_layout::column_major, dense_layout::row_major;
    if (layout == row_major) {
      constexpr std::integral_constant<dense_layout, row_major> rows;
      const auto chunk = [&](auto w, std::int32_t at) { multiply(w, rows, at); };
      // On AArch64 the registers hold the sums of a line and of its mirrored entries in one width.
      std::int32_t j = 0;
      if constexpr (fixed_hints) {
        j = for_each_panel<T>(o.n, chunk);
      } else {
        j = for_each_chunk<T>(o.n, chunk);
      }
      for (; j < o.n; ++j) chunk(panel_width<1>{}, j);
    } else {
      constexpr std::integral_constant<dense_layout, column_major> columns;
      const auto panel = [&](auto w, std::int32_t at) { multiply(w, columns, at); };
      std::int32_t j = for_each_panel<T>(o.n, panel);
      for (; j < o.n; ++j) panel(panel_width<1>{}, j);
    }
  });
}

}  // namespace nevrad
