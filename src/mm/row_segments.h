// Row segments: the parts into which column blocks cut the rows, found where they lie.
//
// An element of C sums the blocks of its row in ascending order and has nothing to do with other
// rows. So walking row by row, segment by segment, gives the bits that walking block by block
// gives, without a copy of the entries and without looking at the many pairs of a row and a block
// that hold nothing. Blocks are better when their rows are long: a block keeps its part of a panel
// in cache while all rows pass.
#pragma once

#include "arith/products.h"
#include "mm/column_blocks.h"

namespace nevrad {

// Mean entries of a row in a block from which the entries are copied into blocks.
inline constexpr std::int32_t blocks_from_mean_row = 8;

template <class T>
bool segments_pay(const owned_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  const std::int64_t entries = a.end[hi - 1] - a.begin[lo];
  const std::int64_t pairs =
      static_cast<std::int64_t>(hi - lo) * block_count(a.cols, mm_block_cols);
  return entries < blocks_from_mean_row * pairs;
}

// Where blocks of mm_block_cols columns end: full ones first, then the last two or one. The width
// is a constant here, since a division by a variable would cost as much as an entry's product.
class block_bounds {
 public:
  explicit block_bounds(std::int32_t cols) : cols_(cols) {
    std::int32_t done = 0;
    while (next_block_width(cols, done, mm_block_cols) == mm_block_cols) {
      done += mm_block_cols;
      ++full_;
      if (done == cols) break;
    }
    full_end_ = done;
    middle_ = done == cols ? cols : done + next_block_width(cols, done, mm_block_cols);
  }

  std::int32_t count() const { return full_ + (full_end_ < cols_) + (middle_ < cols_); }
  std::int32_t block_of(std::int32_t column) const {
    return column < full_end_ ? column / mm_block_cols : full_ + (column >= middle_ ? 1 : 0);
  }
  // One past the last column of the block that holds the column.
  std::int32_t stop_of(std::int32_t column) const {
    if (column < full_end_) return (column / mm_block_cols + 1) * mm_block_cols;
    return column < middle_ ? middle_ : cols_;
  }

 private:
  std::int32_t cols_;
  std::int32_t full_ = 0;
  std::int32_t full_end_ = 0;
  std::int32_t middle_ = 0;
};

// Rows lo to hi - 1 of a matrix with ascending rows. Asks for the same memory as a build of blocks,
// in the same order, so that it fails where that fails; most of it stays untouched, which costs
// nothing. The segments of row r end at stops[last[r - 1]] to stops[last[r] - 1].
template <class T>
class row_segments {
 public:
  // Answers 2 when memory is short. Rows without any entry leave the object empty.
  status build(const owned_matrix<T>& a, std::int32_t lo, std::int32_t hi);

  bool empty() const { return memory_.get() == nullptr; }

  // Calls body(row, first entry, entries) for each segment, row by row. Rows count from lo.
  template <class Body>
  NEVRAD_INLINE void for_each_part(const Body& body) const {
    std::int32_t s = 0;
    for (std::int32_t r = 0; r < rows_; ++r) {
      std::int32_t first = begin_[r];
      for (; s < last_[r]; ++s) {
        body(r, values_ + first, indices_ + first, stops_[s] - first);
        first = stops_[s];
      }
    }
  }

  // The same, and once with no entries for each run of blocks between, before and behind that hold
  // nothing of the row: adding a zero twice changes no more than adding it once.
  template <class Body>
  NEVRAD_INLINE void for_each_part_and_gap(const Body& body) const {
    std::int32_t s = 0;
    for (std::int32_t r = 0; r < rows_; ++r) {
      std::int32_t first = begin_[r];
      std::int32_t next_block = 0;
      for (; s < last_[r]; ++s) {
        const std::int32_t block = bounds_.block_of(indices_[first]);
        if (block != next_block) body(r, values_, indices_, 0);
        body(r, values_ + first, indices_ + first, stops_[s] - first);
        first = stops_[s];
        next_block = block + 1;
      }
      if (next_block != bounds_.count()) body(r, values_, indices_, 0);
    }
  }

 private:
  scoped_matrix<T> memory_;
  scratch<std::int32_t> last_;
  block_bounds bounds_{1};
  const std::int32_t* stops_ = nullptr;
  const std::int32_t* begin_ = nullptr;
  const T* values_ = nullptr;
  const std::int32_t* indices_ = nullptr;
  std::int32_t rows_ = 0;
};

// Column blocks, or a whole matrix as one, seen the same way.
template <class T>
class block_list {
 public:
  block_list(const column_block<T>* blocks, std::int32_t count) : blocks_(blocks), count_(count) {}

  template <class Body>
  NEVRAD_INLINE void for_each_part(const Body& body) const {
    for (std::int32_t b = 0; b < count_; ++b) {
      const column_block<T> block = blocks_[b];
      for (std::int32_t r = 0; r < block.rows; ++r) {
        const std::int32_t first = block.begin[r];
        const std::int32_t length = block.begin[r + 1] - first;
        if (length > 0) body(r, block.values + first, block.indices + first, length);
      }
    }
  }

  template <class Body>
  NEVRAD_INLINE void for_each_part_and_gap(const Body& body) const {
    for (std::int32_t b = 0; b < count_; ++b) {
      const column_block<T> block = blocks_[b];
      for (std::int32_t r = 0; r < block.rows; ++r) {
        const std::int32_t first = block.begin[r];
        body(r, block.values + first, block.indices + first, block.end[r] - first);
      }
    }
  }

 private:
  const column_block<T>* blocks_;
  std::int32_t count_;
};

}  // namespace nevrad
