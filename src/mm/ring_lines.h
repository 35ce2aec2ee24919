// C := alpha * op(A) * B + beta * C in the rounding of the sweeps, straight from lines that hold
// images.
//
// C * beta, rounded, then alpha times the sum of each part of a row in turn (see row_parts.h). The
// sum of a part is open while the lines pass that add to it, so the rows within reach of a line
// have their sums in a ring, for a panel or chunk of columns at a time: few enough to stay in
// cache. In a column-major product the rows of C lie beside the sums, written when they leave and
// read when they enter, or later where most rows have a single part.
#pragma once

#include "mm/held_lines.h"
#include "mm/line_runs.h"
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

// Whether the sums and rows of C of as many columns stay in cache, in a column-major product.
template <class T>
constexpr bool goes_by_wide_chunks(std::int64_t size) {
  constexpr std::int64_t at_hand = std::int64_t{1} << 20;
  constexpr auto row = std::int64_t{2 * widest_chunk<T>} * static_cast<std::int64_t>(sizeof(T));
  return widest_chunk<T> > mm_chunk<T> && size * row <= at_hand;
}

template <class T>
constexpr std::int64_t ring_elements(dense_layout layout, std::int64_t size, std::int32_t n) {
  if (layout == dense_layout::row_major) return size * std::min(2 * mm_chunk<T>, n);
  const std::int32_t chunk = goes_by_wide_chunks<T>(size) ? widest_chunk<T> : mm_chunk<T>;
  return size * 2 * std::min(chunk, n);
}

// Where a ring lies: its elements, and twice `size` words.
template <class T>
struct ring_room {
  T* elements;
  std::int32_t* words;
  std::int64_t size;
};

// Where the rows of C are while their sums are in a ring: row-major, in place; column-major, beside
// the sums, from their entry on or, `late`, from the first part that is closed ahead of the last.
enum class rows_of_c { in_place, beside, beside_late };

// Rows of C in use; row r has the slot of index r + base. W columns beginning with `c`.
template <int W, rows_of_c Rows, class T>
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
  // How many sums lie one behind another from that of a row on.
  NEVRAD_INLINE std::int64_t sums_in_line(std::int64_t index) const {
    return size_ - (index & mask_);
  }

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

  // Adds value * b to the given part of a row, which becomes the open one.
  NEVRAD_INLINE void add_image(std::int32_t index,
                               std::int32_t part,
                               lanes<T, W> b,
                               T value) const {
    T* const at = sum(index);
    lanes<T, W> sums = load<W>(at);
    std::int32_t& open = part_[index & mask_];
    if (open != part) {
      if (open != no_part) add_part(index, sums);
      sums = zero_lanes<T, W>();
      open = part;
    }
    store(at, multiply_add(sums, b, broadcast<W>(to_lane(value))));
  }

  // Adds the sum of a part that is not the open one.
  NEVRAD_INLINE void add_part(std::int32_t index, lanes<T, W> sum) const {
    const lanes<T, W> scale = broadcast<W>(to_lane(alpha_));
    if constexpr (by_columns) {
      if constexpr (late) keep(index);
      T* const row = kept_ + (index & mask_) * W;
      store(row, multiply_add(load<W>(row), sum, scale));
    } else {
      T* const row = c_ + (index - base_) * ldc_;
      fetch_rows_ahead<W>(row, ldc_, 16);
      lanes<T, W> value = load<W>(row);
      std::int32_t& closed = closed_[index & mask_];
      if (closed == 0) value = multiply_fused(value, broadcast<W>(to_lane(beta_)));
      closed = 1;
      store(row, multiply_add(value, sum, scale));
    }
  }

  NEVRAD_INLINE void fetch_row(std::int64_t index) const {
    constexpr auto bytes = static_cast<std::int64_t>(sizeof(T));
    for (std::int64_t j = 0; j < W; j += column_line<T>) {
      prefetch<cache::level1>(c_, ((index - base_) * ldc_ + j) * bytes);
    }
  }

  // Row-major: adds the sum of the last part of a row that has left. Those at the far distance
  // have: they lie a block behind the nearer ones, with which rows leave but for some lines.
  NEVRAD_INLINE void add_last_part(std::int32_t index, lanes<T, W> sum) const {
    static_assert(lines_at_once<T> + column_line<T> <= mm_block_cols);
    T* const row = c_ + (index - base_) * ldc_;
    store(row, multiply_add(load<W>(row), sum, broadcast<W>(to_lane(alpha_))));
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
  static constexpr bool by_columns = Rows != rows_of_c::in_place;
  static constexpr bool late = Rows == rows_of_c::beside_late;
  static constexpr std::int32_t no_part = -1;

  // Column-major: reads a row of C that is to be kept, when it has not been.
  NEVRAD_INLINE void keep(std::int64_t index) const {
    std::int32_t& kept = closed_[index & mask_];
    if (kept == 0) read_row(kept_ + (index & mask_) * W, c_ + (index - base_), ldc_, beta_);
    kept = 1;
  }
  // Apart, so that it takes no registers of its callers, which hardly ever call it.
  [[gnu::noinline]] static void read_row(T* row, const T* c, std::int64_t ldc, T beta) {
    for (int j = 0; j < W; ++j) {
      store(row + j, multiply_fused(load<1>(c + j * ldc), to_lane(beta)));
    }
  }

  [[gnu::noinline]] void close_early(std::int32_t index, std::int32_t next) const {
    close(index, next);
  }

  // Adds the open part, if any, ahead of part `next`. One of the last columns gets a sum of zero
  // for the parts that hold nothing of a row, once for a run of them.
  NEVRAD_INLINE void close(std::int32_t index, std::int32_t next) const {
    if constexpr (late) keep(index);
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
      if constexpr (!by_columns || late) {
        for (std::int32_t i = 0; i < run; ++i) closed_[at + i] = 0;
      } else {
        const elements_times<T> scaled{beta_};
        std::int32_t i = 0;
        for (; W > 1 && i + column_line<T> <= run; i += column_line<T>) {
          fetch_columns_ahead<W>(c_ + row + i, ldc_);
          load_panel_lines<W>(kept_ + (at + i) * W, c_ + row + i, ldc_, scaled);
        }
        load_panel_columns<W>(kept_ + (at + i) * W, c_ + row + i, ldc_, run - i, scaled);
      }
    });
    entered_ += count;
  }
  void leave(std::int32_t count) {
    const row_ring own = *this;  // in registers, whatever is stored
    if constexpr (by_columns) {
      in_runs(left_, count, [&](std::int32_t row, std::int64_t at, std::int32_t run) {
        own.store_rows(row, at, run);
      });
    } else {
      for (std::int32_t i = left_; i < left_ + count; ++i) {
        fetch_rows_ahead<W>(own.c_ + i * own.ldc_, own.ldc_, 16);
        own.close(i + base_, parts_);
      }
    }
    left_ += count;
  }
  // Column-major: closes `count` rows and stores them, the first from slot `at`.
  NEVRAD_INLINE void store_rows(std::int32_t row, std::int64_t at, std::int32_t count) const {
    constexpr std::int32_t line = column_line<T>;
    for (std::int32_t i = 0; i < count; i += line) {
      T* const c = c_ + row + i;
      if constexpr (W > 1) {
        if constexpr (late) fetch_columns_ahead<W>(c, ldc_);
        if (i + line <= count && none_of(at + i, part_, no_part)) {
          if (!late || none_of(at + i, closed_, 1)) {
            store_closed_line(at + i, c);
            continue;
          }
        }
      }
      const std::int32_t some = std::min(line, count - i);
      for (std::int32_t k = i; k < i + some; ++k) close(row + k + base_, parts_);
      store_panel_columns<W>(kept_ + (at + i) * W, c, ldc_, some);
    }
  }
  // Whether the words of as many rows as fill a line of a column differ from `word`.
  static NEVRAD_INLINE bool none_of(std::int64_t at, const std::int32_t* words, std::int32_t word) {
    const auto some = load<column_line<T>>(words + at).v;
    return __builtin_reduce_or(some == word) == 0;
  }
  // Closes such rows, all of which have an open part, on their way to C, which `late` is read here.
  NEVRAD_INLINE void store_closed_line(std::int64_t at, T* c) const {
    constexpr int tiles = column_line<T> / tile_size;
    const lanes<T, tile_size> scale = broadcast<tile_size>(to_lane(alpha_));
    const lanes<T, tile_size> scale_c = broadcast<tile_size>(to_lane(beta_));
    for (int j = 0; j < W; j += tile_size) {
      T* const columns = c + j * ldc_;
      tile<T> t[tiles];
      for (int k = 0; k < tiles; ++k) {
        const std::int64_t from = (at + k * tile_size) * W + j;
        if constexpr (late) {
          t[k] = transpose(load_tile(columns + k * tile_size, ldc_));
        } else {
          t[k] = load_tile(kept_ + from, W);
        }
        const tile<T> sums = load_tile(sums_ + from, W);
        for (int r = 0; r < tile_size; ++r) {
          if constexpr (late) t[k].line[r] = multiply_fused(t[k].line[r], scale_c);
          t[k].line[r] = multiply_add(t[k].line[r], sums.line[r], scale);
        }
        t[k] = transpose(t[k]);
      }
      for (int r = 0; r < tile_size; ++r) {
        for (int k = 0; k < tiles; ++k) {
          store(columns + r * ldc_ + k * tile_size, t[k].line[r]);
        }
      }
    }
  }

  T* sums_;
  T* kept_;
  std::int32_t* part_;    // that is open
  std::int32_t* closed_;  // whether a row has been scaled by beta
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

// A line of a run begins with sums of zero (see line_runs.h).
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

// Lines one by one; b(index) is a row of B. All members are copies, so that stores leave them in
// registers.
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

  // The diagonal's entries and the one of line i, added to its own row.
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

  // Of `lines` lines of one shape from line i on, as many as are a run within their block and whose
  // sums and rows of B lie one behind another.
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
