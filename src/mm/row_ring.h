// The rows of C in use while lines that hold images pass: a ring of open sums, with the rows beside
// them or in place.
//
// A row of C is C * beta, rounded, then alpha times the sum of each of its parts in turn (see
// row_parts.h). Lines add to rows in front of them and behind them, so the sum of a part is open
// while the lines pass that add to it. The rows within reach of a line, a panel or chunk of columns
// wide, are few enough to stay in cache. A row enters ahead of the first line that reaches it. It
// has its parts opened in ascending order: opening one adds the sum of the one before to the row.
// It leaves behind the last line, and its last sum is added.
#pragma once

#include "arith/panel_moves.h"
#include "arith/tile.h"
#include "mm/held_lines.h"
#include "mm/line_kernels.h"
#include "mm/line_runs.h"
#include "mm/operands.h"
#include "mm/panel_window.h"

#include <algorithm>

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

// Whether a column-major product goes by chunks of widest_chunk columns: where their sums and rows
// of C stay in cache.
template <class T>
constexpr bool goes_by_wide_chunks(std::int64_t size) {
  constexpr std::int64_t at_hand = std::int64_t{1} << 20;
  constexpr auto row = std::int64_t{2 * widest_chunk<T>} * static_cast<std::int64_t>(sizeof(T));
  return widest_chunk<T> > mm_chunk<T> && size * row <= at_hand;
}

// Elements of a ring: of its sums, and column-major of the rows of C beside them.
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

// W columns of C, beginning with `c`. Row r has the slot of index r + base.
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
        scaled_(room.words + room.size),
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
      std::int32_t& scaled = scaled_[index & mask_];
      if (scaled == 0) value = multiply_fused(value, broadcast<W>(to_lane(beta_)));
      scaled = 1;
      store(row, multiply_add(value, sum, scale));
    }
  }

  NEVRAD_INLINE void fetch_row(std::int64_t index) const {
    constexpr auto bytes = static_cast<std::int64_t>(sizeof(T));
    for (std::int64_t j = 0; j < W; j += column_line<T>) {
      prefetch<cache::level1>(c_, ((index - base_) * ldc_ + j) * bytes);
    }
  }

  // Row-major: adds the sum of the last part of a row that has left. Rows at the far distance have:
  // they lie a block behind the nearer ones, and rows leave but some lines behind these.
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

  // Late rows: reads one of C, times beta, into its place beside the sums, when it has not been.
  NEVRAD_INLINE void keep(std::int64_t index) const {
    std::int32_t& scaled = scaled_[index & mask_];
    if (scaled == 0) read_row(kept_ + (index & mask_) * W, c_ + (index - base_), ldc_, beta_);
    scaled = 1;
  }
  // Apart, so that it takes no registers of its callers, which seldom call it.
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
    const bool scaled = by_columns || scaled_[index & mask_] != 0;
    if constexpr (!by_columns) scaled_[index & mask_] = 1;
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

  // Calls move(first row, first slot, count) for runs of rows with neighbouring slots.
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
        for (std::int32_t i = 0; i < run; ++i) scaled_[at + i] = 0;
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
          if (!late || none_of(at + i, scaled_, 1)) {
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
  // Whether the words of all rows in a line of a column differ from `word`.
  static NEVRAD_INLINE bool none_of(std::int64_t at, const std::int32_t* words, std::int32_t word) {
    const auto some = load<column_line<T>>(words + at).v;
    return __builtin_reduce_or(some == word) == 0;
  }
  // Closes as many rows, all of which have an open part, on their way to C. Reads late rows here.
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
  T* kept_;               // rows of C beside the sums, scaled by beta
  std::int32_t* part_;    // that is open
  std::int32_t* scaled_;  // whether a row has been scaled by beta; of rows kept late, and so kept
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

}  // namespace nevrad
