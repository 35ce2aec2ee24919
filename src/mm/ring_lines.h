// C := alpha * op(A) * B + beta * C in the rounding of the sweeps, straight from lines that hold
// images.
//
// Some lines are walked at a time (ring_walk.h), between two moves of the rows of C in use
// (row_ring.h), for a panel or chunk of columns. Column-major, the rows of B within reach are
// packed into a window that moves along; the rows of C lie beside their sums, written when they
// leave and read when they enter, or later where most rows have a single part.
#pragma once

#include "mm/held_lines.h"
#include "mm/line_runs.h"
#include "mm/operands.h"
#include "mm/panel_window.h"
#include "mm/panels.h"
#include "mm/ring_walk.h"
#include "mm/row_ring.h"

namespace nevrad {

// Whether more than one row in `rows` may have its entries and images in several blocks.
inline bool often_in_several_blocks(const line_survey& found, std::int32_t rows) {
  return rows * (std::int64_t{found.below} + found.above) > mm_block_cols;
}

// Whether most lines of a lower triangle may be in runs within a block.
inline bool mostly_runs(const line_survey& found) {
  return found.plain && found.short_lines && found.far == 0 && !often_in_several_blocks(found, 2);
}

// A product of the lines with W columns, from column j on, some lines at a time. The store is room
// for the rows of B within reach of a panel, where they are packed.
template <taken Which, bool Own, int W, rows_of_c Rows, class T>
class ring_product {
 public:
  ring_product(const held_lines<T>& held,
               const line_survey& found,
               const block_bounds& bounds,
               const ring_room<T>& room,
               std::int32_t j,
               const mm_operands<T>& o,
               T* store)
      : reader_(held, found.plain),
        form_(held.form),
        found_(found),
        of_b_(Own ? found : line_survey{true, 0, 0, 0, 0}),
        bounds_(bounds),
        rows_(held.result_rows()),
        lines_(held.lines.rows),
        in_runs_(mostly_runs(found)),
        b_(by_columns ? line_at(o.b, j, o.ldb) : o.b + j),
        ldb_(o.ldb),
        ring_(room,
              rows_,
              held.lines.base,
              by_columns ? line_at(o.c, j, o.ldc) : o.c + j,
              o,
              bounds.count()),
        window_(b_,
                o.ldb,
                lines_,
                held.lines.base,
                store,
                static_cast<std::int32_t>(ring_size<T>(of_b_, lines_, 0))) {}

  // Lines r up to but excluding `stop`, lines_at_once at most; the calls cover all lines in turn.
  void add_lines(std::int32_t r, std::int32_t stop) {
    ring_.move_to(within(std::int64_t{r} - found_.below, rows_),
                  within(std::int64_t{stop} + found_.above, rows_));
    if constexpr (!by_columns) {
      walk(strided_rows<W, T>{b_ - reader_.base * ldb_, ldb_}, r, stop);
    } else if constexpr (W == 1) {
      walk(strided_rows<1, T>{b_ - reader_.base, 1}, r, stop);
    } else {
      window_.hold({within(std::int64_t{r} - of_b_.below, lines_),
                    within(std::int64_t{stop} + of_b_.above, lines_)});
      walk(window_.rows(), r, stop);
    }
  }
  void finish() { ring_.finish(); }

 private:
  static constexpr bool by_columns = Rows != rows_of_c::in_place;

  static std::int32_t within(std::int64_t i, std::int32_t end) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(i, 0, end));
  }
  template <class B>
  void walk(const B& b, std::int32_t r, std::int32_t stop) const {
    const ring_walk<Which, Own, W, Rows, T, B> lines{reader_,   form_, bounds_,
                                                     ring_,     b,     found_.diagonal_in_all_lines,
                                                     found_.far};
    if constexpr (Which == taken::lower && Own && W > 1 && !is_complex<T>) {
      if (in_runs_) return walk_runs(lines, r, stop);
    }
    walk_lines<Which, Own>(lines, r, stop);
  }

  line_reader<Which, T> reader_;
  expansion_form form_;
  line_survey found_;
  line_survey of_b_;
  block_bounds bounds_;
  std::int32_t rows_;
  std::int32_t lines_;
  bool in_runs_;
  const T* b_;
  std::int64_t ldb_;
  row_ring<W, Rows, T> ring_;
  panel_window<W, T> window_;
};

// Columns of C, in rings. The lines ascend.
template <taken Which, bool Own, class T>
struct ring_products {
  const held_lines<T>& held;
  const line_survey& found;
  const mm_operands<T>& o;
  ring_room<T> room;
  T* store;
  block_bounds bounds{held.lines.rows};

  template <int W, rows_of_c Rows>
  void multiply(std::int32_t j) const {
    ring_product<Which, Own, W, Rows, T> product(held, found, bounds, room, j, o, store);
    const std::int32_t lines = held.lines.rows;
    std::int32_t stop = 0;
    for (std::int32_t r = 0; r < lines; r = stop) {
      stop = r + std::min(lines_at_once<T>, lines - r);
      product.add_lines(r, stop);
    }
    product.finish();
  }

  // Row-major chunks from column j and j + W on, a few lines of each in turn, so that rows of B and
  // C are used while they are at hand. The room is for both.
  template <int W>
  void multiply_two(std::int32_t j) const {
    constexpr std::int32_t at_once = 8;
    using product = ring_product<Which, Own, W, rows_of_c::in_place, T>;
    const ring_room<T> behind{room.elements + room.size * W, room.words + 2 * room.size, room.size};
    product first(held, found, bounds, room, j, o, store);
    product second(held, found, bounds, behind, j + W, o, store);
    const std::int32_t lines = held.lines.rows;
    std::int32_t stop = 0;
    for (std::int32_t r = 0; r < lines; r = stop) {
      stop = r + std::min(at_once, lines - r);
      first.add_lines(r, stop);
      second.add_lines(r, stop);
    }
    first.finish();
    second.finish();
  }

  // All columns. Of row-major chunks, two go side by side where the room is for as many.
  template <rows_of_c Rows>
  void multiply_columns() const {
    constexpr int wide = widest_chunk<T>;
    std::int32_t j = 0;
    if (goes_by_wide_chunks<T>(room.size)) {
      for (; o.n - j >= wide; j += wide) multiply<wide, Rows>(j);
    }
    const std::int32_t rest = j;
    j += for_each_panel<T>(o.n - rest,
                           [&](auto w, std::int32_t at) { multiply<w(), Rows>(rest + at); });
    for (; j < o.n; ++j) multiply<1, rows_of_c::beside>(j);
  }
  void multiply_columns() const {
    // Late rows are worth it, and made, where runs make the rest quick.
    if constexpr (Which == taken::lower && Own && !is_complex<T>) {
      const bool late = mostly_runs(found) && !often_in_several_blocks(found, 8);
      if (late) return multiply_columns<rows_of_c::beside_late>();
    }
    multiply_columns<rows_of_c::beside>();
  }
  void multiply_rows(bool two) const {
    constexpr auto rows = rows_of_c::in_place;
    constexpr int wide = widest_chunk<T>;
    std::int32_t j = 0;
    for (; two && o.n - j >= 2 * wide; j += 2 * wide) multiply_two<wide>(j);
    for (; o.n - j >= wide; j += wide) multiply<wide, rows>(j);
    const std::int32_t rest = j;
    j += for_each_panel<T>(o.n - rest,
                           [&](auto w, std::int32_t at) { multiply<w(), rows>(rest + at); });
    for (; j < o.n; ++j) multiply<1, rows>(j);
  }
};

template <class T>
void multiply_lines_in_rings(const held_lines<T>& held,
                             dense_layout layout,
                             const line_survey& found,
                             const ring_room<T>& room,
                             bool two,
                             const mm_operands<T>& o,
                             T* store) {
  with_taken(held, [&](auto which) {
    constexpr taken of = which();
    const auto multiply = [&](const auto& products) {
      if (layout == dense_layout::row_major) {
        products.multiply_rows(two);
      } else {
        products.multiply_columns();
      }
    };
    if (of != taken::all && held.has_own()) {
      multiply(ring_products<of, true, T>{held, found, o, room, store});
    } else {
      multiply(ring_products<of, false, T>{held, found, o, room, store});
    }
  });
}

}  // namespace nevrad
