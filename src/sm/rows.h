// Substitution over whole rows of a triangle that has stayed in its matrix.
//
// The blocks of a row are subtracted in the order of the substitution, the row's own last, each as
// one sum over ascending columns, as over blocks that were cut out; see sm/kernels.h for the
// rounding.
#pragma once

#include "sm/kernels.h"

namespace nevrad {

// Positions and indices are in the matrix's base, and `values` and `indices` shifted to match.
template <triangle Side, class T>
class triangle_rows {
 public:
  explicit triangle_rows(const sm_blocks<T>& blocks)
      : values_(blocks.rows->values - blocks.rows->base),
        indices_(blocks.rows->indices - blocks.rows->base),
        begin_(blocks.rows->begin),
        end_(blocks.rows->end),
        diagonals_(blocks.diagonals_at_end ? nullptr : blocks.pointers.get()),
        base_(blocks.rows->base),
        end_of_blocks_(blocks.order + base_) {}

  std::int32_t base() const { return base_; }

  // The right-hand side `row` of row i, solved; solution(index) is a solved row.
  template <diagonal Diagonal, int W, class Rows>
  NEVRAD_INLINE lanes<T, W> solve(std::int32_t i, lanes<T, W> row, const Rows& solution) const {
    constexpr bool lower = Side == triangle::lower;
    const std::int64_t at_end = lower ? end_[i] - 1 : begin_[i];
    const std::int64_t d = diagonals_ == nullptr ? at_end : diagonals_[i];
    if constexpr (lower) {
      std::int64_t p = begin_[i];
      while (p < d) row = subtract(row, next_sum<W>(p, d, solution));
    } else {
      std::int64_t e = end_[i];
      while (e > d + 1) row = subtract(row, previous_sum<W>(d + 1, e, solution));
    }
    if constexpr (Diagonal == diagonal::stored) {
      row = multiply_solved<W>(row, reciprocal(values_[d]));
    }
    return row;
  }

 private:
  // The sum over the entries from p on, in front of `end`, that are in the block of the first one.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> next_sum(std::int64_t& p,
                                     std::int64_t end,
                                     const Rows& solution) const {
    const std::int32_t stop = ((indices_[p] - base_) | (sm_block_size - 1)) + 1 + base_;
    const std::int64_t first = p;
    if constexpr (fixed_hints) {
      do ++p;
      while (p < end && indices_[p] < stop);
      return sum_of<W>(first, p, solution);
    }
    // Most parts are short: looking for their end, and groups of four, would cost more than the
    // sums.
    lanes<T, W> sum = zero_lanes<T, W>();
#pragma clang loop unroll(disable)
    do {
      sum = multiply_add(sum, solution(indices_[p]), broadcast<W>(load<1>(values_ + p)));
      ++p;
    } while (p < end && indices_[p] < stop);
    return sum;
  }

  // The same from the other side: the block of the entry in front of e, down to `first`.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> previous_sum(std::int64_t first,
                                         std::int64_t& e,
                                         const Rows& solution) const {
    const std::int32_t to_end = end_of_blocks_ - 1 - indices_[e - 1];
    const std::int32_t low = end_of_blocks_ - (to_end | (sm_block_size - 1)) - 1;
    const std::int64_t stop = e;
    do --e;
    while (e > first && indices_[e - 1] >= low);
    if constexpr (fixed_hints) return sum_of<W>(e, stop, solution);
    lanes<T, W> sum = zero_lanes<T, W>();
#pragma clang loop unroll(disable)
    for (std::int64_t p = e; p < stop; ++p) {
      sum = multiply_add(sum, solution(indices_[p]), broadcast<W>(load<1>(values_ + p)));
    }
    return sum;
  }

  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> sum_of(std::int64_t first,
                                   std::int64_t stop,
                                   const Rows& solution) const {
    return multiply_panel_row<W, T, panel_solve_table::strip_hints<T, W>>(
        values_ + first, indices_ + first, static_cast<std::int32_t>(stop - first), solution);
  }

  const T* values_;
  const std::int32_t* indices_;
  const std::int32_t* begin_;
  const std::int32_t* end_;
  const std::int32_t* diagonals_;  // null when every row ends, or begins, with its diagonal element
  std::int32_t base_;
  std::int32_t end_of_blocks_;
};

}  // namespace nevrad
