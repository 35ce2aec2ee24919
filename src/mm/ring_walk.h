// Lines that hold images, added to the open sums of a ring (see row_ring.h).
//
// An entry of line i adds to two rows: to row i as it stands, and to that of its column as an
// image, in the part that the block of column i is. Three walks, from any lines to the plainest:
//   add_line         opens the part of each row that it adds to
//   add_lower_lines  a lower triangle with its diagonal in all lines: of a row that its own line
//                    has passed, the part for images from the same block is open
//   add_run_of       such lines of one shape, each one row and one column on (see line_runs.h)
// As the lines ascend, every row gets its entries in ascending order.
#pragma once

#include "arith/panel_row.h"
#include "mm/held_lines.h"
#include "mm/line_kernels.h"
#include "mm/line_runs.h"
#include "mm/row_parts.h"
#include "mm/row_ring.h"

#include <algorithm>
#include <limits>

namespace nevrad {

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

// How a run of lines (line_runs.h) computes here: a line's own sum begins with zero, as its last
// part, and values are used as they are.
template <class T, class B>
struct ring_form {
  B b;

  template <int W>
  NEVRAD_INLINE lanes<T, W> start(const T* /*sum*/) const {
    return zero_lanes<T, W>();
  }
  NEVRAD_INLINE lane<T> prepare(lane<T> value) const { return value; }
  template <int W>
  NEVRAD_INLINE void fetch(const T* b_line, const T* /*sum*/) const {
    if constexpr (std::is_same_v<B, strided_rows<W, T>>) {
      fetch_rows_ahead<W>(b_line, b.ld, 16);
    }
  }
};

// b(index) is a row of B. `Own`: an entry adds to its line's row as well, not only as an image. All
// members are copies, so that stores leave them in registers.
template <taken Which, bool Own, int W, rows_of_c Rows, class T, class B>
struct ring_walk {
  line_reader<Which, T> a;
  expansion_form form;
  block_bounds bounds;
  row_ring<W, Rows, T> ring;
  B b;
  bool diagonals;    // in all lines
  std::int32_t far;  // entries at that distance are their rows' first and last parts; 0 for none

  NEVRAD_INLINE void fetch_ahead_of(std::int32_t i) const {
    if constexpr (Rows == rows_of_c::in_place) {
      fetch_rows_ahead<W>(b.at + (i + a.base) * b.ld, b.ld, 16);
    }
  }

  // Adds the diagonal's entries to the sum of the line's own row, and the one that is not stored.
  NEVRAD_INLINE lanes<T, W> add_diagonal(lanes<T, W> sum,
                                         const line_parts& part,
                                         lanes<T, W> b_line) const {
#pragma clang loop unroll(disable)
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

  // Lines r to stop - 1, of one block, of a lower triangle whose lines all hold their diagonal. So
  // a row that its own line has passed has the part of that diagonal open, into which images from
  // the same block go.
  NEVRAD_INLINE void add_lower_lines(std::int32_t r, std::int32_t stop) const {
    const std::int32_t image_part = bounds.block_of(r);
    const std::int32_t start = bounds.start_of(r) + a.base;
    for (std::int32_t i = r; i < stop; ++i) {
      fetch_ahead_of(i);
      const line_parts part = a.parts(i);
      const std::int32_t index = i + a.base;
      const lanes<T, W> b_line = b(index);
      std::int64_t p = part.first;
      lanes<T, W> own = zero_lanes<T, W>();
      if constexpr (W == 1) {
        for (; p < part.last && a.indices[p] < start; ++p) ring.open(a.indices[p], image_part);
        add_parts(index, part, image_part, part.first, p, false);
        ring.open(index, image_part);
        own = load<W>(ring.sum(index));
      } else {
        if (far > 0 && p < part.last && a.indices[p] == index - far) {
          add_far_entry(index, b_line, p);
          ++p;
        }
        while (p < part.last && a.indices[p] < start) {
          p = add_early_part(index, b_line, image_part, p, part.last);
        }
        ring.open_first(index, image_part);
      }
      own = add_entries(own, b_line, p, part.last);
      store(ring.sum(index), add_diagonal(own, part, b_line));
    }
  }

  // Adds as many of `lines` lines of one shape, from line i on, as have their sums and rows of B
  // one behind another, and answers how many: none, where these are too few, or where line i has
  // entries outside its block.
  NEVRAD_INLINE std::int32_t add_run_of(std::int32_t i, std::int32_t lines) const {
    const std::int32_t first = a.begin[i];
    const std::int32_t length = a.end[i] - first;
    const std::int32_t* const indices = a.indices + first;
    if (lines < shortest_line_run || indices[0] < bounds.start_of(i) + a.base) return 0;
    std::int64_t together = lines;
    for (std::int32_t k = 0; k < length; ++k) {
      together = std::min(together, ring.sums_in_line(indices[k]));
      together = std::min(together, rows_in_line(b, indices[k]));
    }
    const auto count = static_cast<std::int32_t>(together);
    if (count < shortest_line_run) return 0;
    const std::int32_t image_part = bounds.block_of(i);
    const auto add = [&](auto entries) {
      for (std::int32_t k = 0; k < count; ++k) ring.open_first(i + a.base + k, image_part);
      add_lines_of_shape<entries(), W>(
          a.values + first, indices, length, count, row_step(b), W,
          [&](std::int64_t index) { return row_at(b, index); },
          [&](std::int64_t index) { return ring.sum(index); }, ring_form<T, B>{b});
    };
    return with_entries(length - 1, add) ? count : 0;
  }

  // Where the row of B with an index lies, how far the next one is, and how many lie so.
  static NEVRAD_INLINE const T* row_at(const strided_rows<W, T>& rows, std::int64_t index) {
    return rows.at + index * rows.ld;
  }
  static NEVRAD_INLINE const T* row_at(const ring_rows<W, T>& rows, std::int64_t index) {
    return rows.panel + (index & rows.mask) * W;
  }
  static NEVRAD_INLINE std::int64_t row_step(const strided_rows<W, T>& rows) { return rows.ld; }
  static NEVRAD_INLINE std::int64_t row_step(const ring_rows<W, T>& /*rows*/) { return W; }
  static NEVRAD_INLINE std::int64_t rows_in_line(const strided_rows<W, T>& /*rows*/,
                                                 std::int64_t /*index*/) {
    return std::numeric_limits<std::int64_t>::max();
  }
  static NEVRAD_INLINE std::int64_t rows_in_line(const ring_rows<W, T>& rows, std::int64_t index) {
    return rows.mask < 0 ? std::numeric_limits<std::int64_t>::max()
                         : rows.mask + 1 - (index & rows.mask);
  }

  // The entry at the far distance, a part of its own in both rows.
  NEVRAD_INLINE void add_far_entry(std::int32_t index, lanes<T, W> b_line, std::int64_t p) const {
    if constexpr (Rows == rows_of_c::in_place) {
      const std::int32_t other = a.indices[p];
      const T value = a.values[p];
      if constexpr (!fixed_hints) {
        constexpr std::int32_t own_ahead = 20;
        constexpr std::int32_t ahead = 16;
        constexpr auto bytes = static_cast<std::int64_t>(sizeof(T));
        for (std::int64_t j = 0; j < W; j += column_line<T>) {
          prefetch<cache::level1>(b.at, ((index + own_ahead) * b.ld + j) * bytes);
          prefetch<cache::level1>(b.at, ((other + ahead) * b.ld + j) * bytes);
        }
        ring.fetch_row(index + own_ahead);
        ring.fetch_row(other + ahead);
      }
      const lanes<T, W> none = zero_lanes<T, W>();
      ring.add_last_part(other, add_to_sum(none, b_line, used_value(value, form.image)));
      ring.add_part(index, add_to_sum(none, b(other), used_value(value, form.own)));
    }
  }

  // Asks for what the lines some way on meet when they have an early part as well: their rows of B
  // and C, and those of their first images. There are too many streams for hardware by then.
  NEVRAD_INLINE void fetch_distant_rows(std::int32_t index, std::int32_t first) const {
    if constexpr (!fixed_hints && Rows == rows_of_c::in_place) {
      constexpr std::int32_t own_ahead = 20;
      constexpr std::int32_t image_ahead = 12;
      if (b.ld != W) return;  // wide rows are asked for line by line
      constexpr auto bytes = static_cast<std::int64_t>(sizeof(T));
      for (std::int64_t j = 0; j < W; j += column_line<T>) {
        prefetch<cache::level1>(b.at, ((index + own_ahead) * b.ld + j) * bytes);
        prefetch<cache::level1>(b.at, ((first + image_ahead) * b.ld + j) * bytes);
        prefetch<cache::level1>(ring.sum(first), (image_ahead * W + j) * bytes);
      }
      ring.fetch_row(index + own_ahead);
      ring.fetch_row(first + image_ahead);
    }
  }

  // The entries from p on of a part ahead of that of the diagonal, which gets no images. Answers
  // with the position behind them.
  NEVRAD_INLINE std::int64_t add_early_part(std::int32_t index,
                                            lanes<T, W> b_line,
                                            std::int32_t image_part,
                                            std::int64_t p,
                                            std::int64_t last) const {
    const std::int32_t stop = bounds.stop_of(a.indices[p] - a.base) + a.base;
    fetch_distant_rows(index, a.indices[p]);
    lanes<T, W> sum = zero_lanes<T, W>();
    do {
      const std::int32_t other = a.indices[p];
      const T value = a.values[p];
      sum = add_to_sum(sum, b(other), used_value(value, form.own));
      ring.add_image(other, image_part, b_line, used_value(value, form.image));
      ++p;
    } while (p < last && a.indices[p] < stop);
    ring.add_part(index, sum);
    return p;
  }
};

// Adds lines r to stop - 1, a line at a time.
template <taken Which, bool Own, class Walk>
[[gnu::noinline]] void walk_lines(const Walk& walk, std::int32_t r, std::int32_t stop) {
  const Walk own = walk;  // in registers, whatever is stored
  if (Which == taken::lower && Own && own.diagonals) {
    while (r < stop) {
      const std::int32_t end = std::min(stop, own.bounds.stop_of(r));
      own.add_lower_lines(r, end);
      r = end;
    }
    return;
  }
  for (; r < stop; ++r) own.add_line(r);
}

// The same for plain lines of a lower triangle, many of them in runs of one shape. Real types.
template <class Walk>
[[gnu::noinline]] void walk_runs(const Walk& walk, std::int32_t r, std::int32_t stop) {
  const Walk own = walk;
  while (r < stop) {
    const std::int32_t end = std::min(stop, own.bounds.stop_of(r));
    const std::int32_t like_it = lines_of_shape(own.a, r, end);
    const std::int32_t lines = own.add_run_of(r, like_it);
    if (lines == 0) walk_lines<taken::lower, true>(walk, r, r + like_it);
    r += lines == 0 ? like_it : lines;
  }
}

}  // namespace nevrad
