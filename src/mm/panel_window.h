// The part of a panel of column-major B that a sweep over rows is using, packed as it is reached.
//
// Where neighbouring rows of A have their entries within a band, that part is a small ring, stays
// in cache, and B is read once and written nowhere else. A ring that is as long as the panel is the
// whole panel.
#pragma once

#include "arith/panel_moves.h"
#include "arith/panel_row.h"
#include "mm/row_parts.h"

#include <algorithm>

namespace nevrad {

// Rows in a cache line of a column.
template <class T>
inline constexpr std::int32_t column_line = static_cast<std::int32_t>(cache_line / sizeof(T));

// As many columns run side by side as hardware can hardly follow: asks for what comes 8 lines on.
template <int W, class T>
NEVRAD_INLINE void fetch_columns_ahead(const T* at, std::int64_t ld) {
  if constexpr (!fixed_hints) {
    for (int c = 0; c < W; ++c) prefetch<cache::level1>(at + c * ld, 8 * cache_line);
  }
}

// The same for W columns of a row-major matrix whose rows are wider: asks for them `rows` rows on.
template <int W, class T>
NEVRAD_INLINE void fetch_rows_ahead(const T* at, std::int64_t ld, std::int32_t rows) {
  if constexpr (!fixed_hints) {
    if (ld == W) return;
    for (int j = 0; j < W; j += column_line<T>) {
      prefetch<cache::level1>(at, (rows * ld + j) * static_cast<std::int64_t>(sizeof(T)));
    }
  }
}

// Columns from the first to one past the last that a row range uses.
struct column_span {
  std::int32_t low;
  std::int32_t high;
};

// All entries are looked at, in their order: they are about to be used, and finding the first and
// the last one of each row takes longer.
template <class T>
column_span columns_used(const compressed_matrix<T>& a, std::int32_t r, std::int32_t last) {
  constexpr std::int64_t at_once = 8;
  using index_lanes = lanes<std::int32_t, at_once>;
  const std::int64_t count = last > r ? a.end[last - 1] - a.begin[r] : 0;
  if (count <= 0) return {a.cols, 0};
  const std::int32_t* const indices = a.indices + (a.begin[r] - a.base);
  std::int32_t low = indices[0];
  std::int32_t high = indices[0];
  if (count < at_once) {
    for (std::int64_t p = 1; p < count; ++p) {
      low = std::min(low, indices[p]);
      high = std::max(high, indices[p]);
    }
  } else {
    // The last lanes may overlap those before.
    index_lanes lows = load<at_once>(indices + (count - at_once));
    index_lanes highs = lows;
    for (std::int64_t p = 0; p + at_once <= count; p += at_once) {
      const index_lanes some = load<at_once>(indices + p);
      lows.v = __builtin_elementwise_min(lows.v, some.v);
      highs.v = __builtin_elementwise_max(highs.v, some.v);
    }
    low = __builtin_reduce_min(lows.v);
    high = __builtin_reduce_max(highs.v);
  }
  return {low - a.base, high - a.base + 1};
}

// Rows of a ring for A: a power of two, or the number of its columns when that is not more. The
// guess is made from some rows; where it turns out wrong, only time is lost.
template <class T>
std::int32_t window_rows(const compressed_matrix<T>& a) {
  constexpr std::int32_t samples = 24;
  std::int32_t widest = 0;
  for (std::int32_t s = 0; s < samples; ++s) {
    const auto r = static_cast<std::int32_t>(std::int64_t{a.rows} * s / samples);
    const std::int32_t last = std::min(r + column_line<T>, a.rows) - 1;
    const column_span top = columns_used(a, r, r + 1);
    const column_span bottom = columns_used(a, last, last + 1);
    widest = std::max(widest, std::max(top.high, bottom.high) - std::min(top.low, bottom.low));
  }
  const std::int64_t wanted = widest + widest / 8 + 64;
  std::int64_t size = 256;
  while (size < wanted) size *= 2;
  return static_cast<std::int32_t>(std::min<std::int64_t>(size, a.cols));
}

// Row q of B is kept for index q + base, as the matrix has it.
template <int W, class T>
class panel_window {
 public:
  // Packs W columns of B, `first` at the first of them, of `rows` rows into room for `size` rows.
  panel_window(const T* first,
               std::int64_t ld,
               std::int32_t rows,
               std::int32_t base,
               T* room,
               std::int32_t size)
      : first_(first),
        ld_(ld),
        rows_(rows),
        base_(base),
        size_(size),
        patience_(2 * std::int64_t{rows}),
        mask_(size == rows ? -1 : size - 1),
        room_(size == rows ? room - std::int64_t{base} * W : room) {}

  // Whether the columns are all in the ring, which packs what is missing. False when they do not
  // fit, or when more has been packed again and again than it is worth.
  bool hold(column_span used) {
    if (used.low >= begin_ && used.high <= end_) return true;
    if (used.high - used.low > size_) return false;
    // A ring that is the whole panel starts at its first row and never has to go back.
    if (mask_ >= 0 && (used.low < begin_ || used.low > end_)) {
      if (patience_ < 0) return false;
      begin_ = used.low;
      end_ = used.low;
    }
    const std::int32_t ahead = std::min(used.high + column_line<T>, rows_);
    const std::int32_t stop = std::max(used.high, std::min(ahead, used.low + size_));
    patience_ -= stop - end_;
    pack(stop);
    begin_ = std::max(begin_, stop - size_);
    return true;
  }

  ring_rows<W, T> rows() const { return {room_, mask_}; }
  // Whether the rows that go with these columns lie in the ring one behind another, and as such.
  bool in_line(column_span used) const {
    return mask_ < 0 || used.high - used.low <= size_ - slot_of(used.low);
  }
  packed_rows<W, T> rows_in_line(column_span used) const {
    const std::int64_t shift = mask_ < 0 ? 0 : slot_of(used.low) - (std::int64_t{used.low} + base_);
    return {room_ + shift * W};
  }

 private:
  std::int64_t slot_of(std::int32_t row) const { return (std::int64_t{row} + base_) & mask_; }

  // Packs up to row `stop`, where the ring ends in two steps.
  void pack(std::int32_t stop) {
    while (end_ < stop) {
      const std::int64_t slot = slot_of(end_);
      std::int32_t count = stop - end_;
      if (mask_ >= 0)
        count = static_cast<std::int32_t>(std::min<std::int64_t>(count, size_ - slot));
      for (std::int32_t i = 0; i < count; i += column_line<T>) {
        fetch_columns_ahead<W>(first_ + end_ + i, ld_);
      }
      load_panel_columns<W>(room_ + slot * W, first_ + end_, ld_, count, as_it_is{});
      end_ += count;
    }
  }

  const T* first_;
  std::int64_t ld_;
  std::int32_t rows_;
  std::int32_t base_;
  std::int32_t size_;
  std::int64_t patience_;
  std::int64_t mask_;
  T* room_;
  std::int32_t begin_ = 0;  // rows begin_ to end_ - 1 are packed
  std::int32_t end_ = 0;
};

}  // namespace nevrad
