// C := alpha * op(A) * B + beta * C in the rounding of the sweeps, straight from lines that hold
// images.
//
// C * beta, rounded, then alpha times the sum of each part of a row in turn (see row_parts.h). The
// sum of a part is open while the lines pass that add to it, so the rows within reach of a line
// have their sums in a ring: of all columns in a row-major product, of one panel in a column-major
// one. There the rows of C lie beside the sums, read when they enter and written when they leave.
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
  return size * (layout == dense_layout::row_major ? n : 2 * std::min(mm_chunk<T>, n));
}

// Where a ring lies: its elements, and twice `size` words.
template <class T>
struct ring_room {
  T* elements;
  std::int32_t* words;
  std::int64_t size;
};

// Rows of C in use; row r has the slot of index r + base. W columns beginning with `c`, or, with a
// W of 0, all columns of a row-major C.
template <int W, class T>
class row_ring {
 public:
  row_ring(const ring_room<T>& room,
           std::int32_t rows,
           std::int32_t base,
           T* c,
           const mm_operands<T>& o,
           std::int32_t parts)
      : width_(by_columns ? W : o.n),
        sums_(room.elements),
        kept_(room.elements + room.size * width_),
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

  // Visits the columns in chunks, as visit(panel_width<w>{}, first).
  template <class Visit>
  NEVRAD_INLINE void for_each_columns(const Visit& visit) const {
    if constexpr (by_columns) {
      visit(panel_width<W>{}, 0);
    } else {
      std::int32_t j = for_each_chunk<T>(width_, visit);
      for (; j < width_; ++j) visit(panel_width<1>{}, j);
    }
  }

  NEVRAD_INLINE T* sum(std::int64_t index) const { return sums_ + (index & mask_) * width(); }

  // Makes the given part the open one of a row.
  NEVRAD_INLINE void open(std::int32_t index, std::int32_t part) const {
    std::int32_t& open = part_[index & mask_];
    if (open == part) return;
    if (W > 1 && open == no_part) {
      store(sum(index), zero_lanes<T, (W > 0 ? W : 1)>());
      open = part;
      return;
    }
    const row_ring own = *this;  // the call sees the copy, and this one stays in registers
    own.open_next(index, part);
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
  static constexpr bool by_columns = W > 0;
  static constexpr std::int32_t no_part = -1;

  NEVRAD_INLINE std::int64_t width() const { return by_columns ? W : width_; }

  [[gnu::noinline]] void open_next(std::int32_t index, std::int32_t part) const {
    // Single columns have something to add for parts that they pass over.
    const bool first = part_[index & mask_] == no_part;
    if (!first || (part != 0 && W < 2)) close(index, part);
    T* const sums = sum(index);
    for_each_columns([&](auto w, std::int32_t at) { store(sums + at, zero_lanes<T, w()>()); });
    part_[index & mask_] = part;
  }

  // Adds the open part, if any, ahead of part `next`. One of the last columns gets a sum of zero
  // for the parts that hold nothing of a row, once for a run of them.
  NEVRAD_INLINE void close(std::int32_t index, std::int32_t next) const {
    T* const row = by_columns ? kept_ + (index & mask_) * W : c_ + (index - base_) * ldc_;
    const T* const sums = sum(index);
    const std::int32_t open = part_[index & mask_];
    const bool scaled = by_columns || closed_[index & mask_] != 0;
    if constexpr (!by_columns) closed_[index & mask_] = 1;
    for_each_columns([&](auto w, std::int32_t at) {
      constexpr int width = w();
      lanes<T, width> value = load<width>(row + at);
      if (!scaled) value = multiply_fused(value, broadcast<width>(to_lane(beta_)));
      if constexpr (width == 1) {
        T y = to_element(value);
        if (open != no_part) y = add_scaled(y, alpha_, sums[at]);
        if (open + 1 != next) y = add_scaled(y, alpha_, zero<T>());
        value = to_lane(y);
      } else if (open != no_part) {
        const lanes<T, width> scale = broadcast<width>(to_lane(alpha_));
        value = multiply_add(value, load<width>(sums + at), scale);
      }
      store(row + at, value);
    });
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
    for (std::int32_t i = left_; i < left_ + count; ++i) own.close(i + base_, parts_);
    if constexpr (by_columns) {
      in_runs(left_, count, [&](std::int32_t row, std::int64_t at, std::int32_t run) {
        store_panel_columns<W>(kept_ + at * W, c_ + row, ldc_, run);
      });
    }
    left_ += count;
  }

  std::int32_t width_;
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

// Rows of B by index: a row-major one, or a panel of a column-major one.
template <class T>
struct rows_of_b {
  const T* b;
  std::int64_t ld;
  template <int W>
  NEVRAD_INLINE strided_rows<W, T> columns(std::int32_t at) const {
    return {b + at, ld};
  }
};
template <class Rows>
struct panel_of_b {
  Rows rows;
  template <int W>
  NEVRAD_INLINE Rows columns(std::int32_t /*at*/) const {
    return rows;
  }
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

// Lines one by one. All members are copies, so that stores leave them in registers.
template <taken Which, bool Own, int W, class T, class B>
struct ring_walk {
  line_reader<Which, T> a;
  expansion_form form;
  block_bounds bounds;
  row_ring<W, T> ring;
  B b;

  // The diagonal's entries and the one of line i, added to its own row.
  template <int V>
  NEVRAD_INLINE lanes<T, V> add_diagonal(lanes<T, V> sum,
                                         const line_parts& part,
                                         lanes<T, V> b_line) const {
    for (std::int64_t p = part.diag_first; p < part.diag_last; ++p) {
      sum = add_to_sum(sum, b_line, used_value(a.values[p], form.on_diagonal));
    }
    return a.ones ? add_to_sum(sum, b_line, one<T>()) : sum;
  }

  // Entries p to q - 1 off the diagonal, within one part of the line's own row, with the diagonal
  // where it stands or without.
  NEVRAD_INLINE void add_segment(std::int32_t index,
                                 const line_parts& part,
                                 std::int64_t p,
                                 std::int64_t q,
                                 bool own_row,
                                 bool diagonal) const {
    ring.for_each_columns([&](auto w, std::int32_t at) __attribute__((always_inline)) {
      constexpr int V = w();
      const auto rows = b.template columns<V>(at);
      const lanes<T, V> b_line = rows(index);
      T* const own_sum = ring.sum(index) + at;
      lanes<T, V> own = zero_lanes<T, V>();
      if (own_row) own = load<V>(own_sum);
      if (Which == taken::upper && diagonal) own = add_diagonal(own, part, b_line);
      for (std::int64_t e = p; e < q; ++e) {
        const std::int32_t other = a.indices[e];
        const T value = a.values[e];
        if constexpr (Own) own = add_to_sum(own, rows(other), used_value(value, form.own));
        T* const sum = ring.sum(other) + at;
        store(sum, add_to_sum(load<V>(sum), b_line, used_value(value, form.image)));
      }
      if (Which == taken::lower && diagonal) own = add_diagonal(own, part, b_line);
      if (own_row) store(own_sum, own);
    });
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
    for (std::int64_t p = part.first; p < part.last;) {
      const std::int32_t column = a.indices[p] - a.base;
      const std::int32_t stop = bounds.stop_of(column) + a.base;
      std::int64_t q = part.last;
      if (a.indices[q - 1] >= stop) {
        for (q = p + 1; a.indices[q] < stop;) ++q;
      }
      const std::int32_t own_part = bounds.block_of(column);
      // The diagonal's part is the first one of an upper row, the last one of a lower row.
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
    if (!diagonal) return;
    ring.open(index, image_part);
    add_segment(index, part, part.last, part.last, true, true);
  }
};

template <class Walk>
[[gnu::noinline]] void walk_lines(const Walk& walk, std::int32_t r, std::int32_t stop) {
  const Walk own = walk;  // in registers, whatever is stored
  for (; r < stop; ++r) own.add_line(r);
}

// The columns of a ring, from column j on. The store is room for the rows of B within reach of a
// panel, where they are packed.
template <taken Which, bool Own, int W, class T>
void multiply_lines_columns(const held_lines<T>& held,
                            const line_survey& found,
                            const block_bounds& bounds,
                            const ring_room<T>& room,
                            std::int32_t j,
                            const mm_operands<T>& o,
                            T* store) {
  const compressed_matrix<T>& a = held.lines;
  const std::int32_t rows = held.result_rows();
  const T* const b = line_at(o.b, j, o.ldb);
  row_ring<W, T> ring(room, rows, a.base, line_at(o.c, j, o.ldc), o, bounds.count());
  const line_survey of_b = Own ? found : line_survey{true, 0, 0, 0, 0};
  panel_window<(W > 0 ? W : 1), T> window(b, o.ldb, a.rows, a.base, store,
                                          static_cast<std::int32_t>(ring_size<T>(of_b, a.rows, 0)));
  const line_reader<Which, T> reader(held);
  const auto within = [](std::int64_t i, std::int32_t end) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(i, 0, end));
  };
  for (std::int32_t r = 0; r < a.rows; r += lines_at_once<T>) {
    const std::int32_t stop = std::min(r + lines_at_once<T>, a.rows);
    ring.move_to(within(std::int64_t{r} - found.below, rows),
                 within(std::int64_t{stop} + found.above, rows));
    const auto walk = [&]<class B>(const B& b_rows) {
      walk_lines(ring_walk<Which, Own, W, T, B>{reader, held.form, bounds, ring, b_rows}, r, stop);
    };
    if constexpr (W == 0) {
      walk(rows_of_b<T>{b, o.ldb});
    } else if constexpr (W == 1) {
      walk(panel_of_b<strided_rows<1, T>>{{b - a.base, 1}});
    } else {
      window.hold({within(std::int64_t{r} - of_b.below, a.rows),
                   within(std::int64_t{stop} + of_b.above, a.rows)});
      walk(panel_of_b<ring_rows<W, T>>{window.rows()});
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
    const auto multiply = [&](auto w, std::int32_t at) {
      constexpr taken of = which();
      if (of != taken::all && held.has_own()) {
        multiply_lines_columns<of, true, w()>(held, found, bounds, room, at, o, store);
      } else {
        multiply_lines_columns<of, false, w()>(held, found, bounds, room, at, o, store);
      }
    };
    if (layout == dense_layout::row_major) {
      multiply(panel_width<0>{}, 0);
      return;
    }
    std::int32_t j = for_each_panel<T>(o.n, multiply);
    for (; j < o.n; ++j) multiply(panel_width<1>{}, j);
  });
}

}  // namespace nevrad
