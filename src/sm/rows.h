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
        diagonals_(diagonals_of(blocks)),
        behind_diagonal_(blocks.diagonals_at_end && Side == triangle::lower ? 1 : 0),
        base_(blocks.rows->base),
        end_of_blocks_(blocks.order + base_) {}

  std::int32_t base() const { return base_; }

  // The bound of row i's own block on the side of the blocks solved before it: an index below it
  // (lower), or from it on (upper), is in one of those.
  NEVRAD_INLINE std::int32_t own_bound(std::int32_t i) const {
    if constexpr (Side == triangle::lower) {
      return (i & -sm_block_size) + base_;
    } else {
      return end_of_blocks_ - ((end_of_blocks_ - base_ - 1 - i) & -sm_block_size);
    }
  }

  // The right-hand side `row` of row i, solved; solution(index) is a solved row. `newest`, which
  // may be null, is the row solved just before it: taken from there, where row i uses it, it is at
  // hand sooner than from memory.
  template <diagonal Diagonal, int W, class Rows>
  NEVRAD_INLINE lanes<T, W> solve(std::int32_t i,
                                  std::int32_t own,
                                  lanes<T, W> row,
                                  const Rows& solution,
                                  const lanes<T, W>* newest = nullptr) const {
    constexpr bool lower = Side == triangle::lower;
    const std::int64_t d = diagonals_[i] - behind_diagonal_;
    if constexpr (lower) {
      std::int64_t p = begin_[i];
      ask_ahead(p, 1);
      while (indices_[p] < own) row = subtract(row, next_sum<W>(p, solution));
      if (p < d) row = subtract(row, own_sum<W>(p, d, i - 1 + base_, solution, newest));
    } else {
      const std::int64_t e = end_[i];
      ask_ahead(e, -1);
      std::int64_t far = e;  // the first entry in another block
      if (indices_[e - 1] >= own) row = subtract_far<W>(row, d, own, far, solution);
      if (d + 1 < far) row = subtract(row, own_sum<W>(d + 1, far, i + 1 + base_, solution, newest));
    }
    if constexpr (Diagonal == diagonal::stored) {
      row = multiply_solved<W>(row, reciprocal(values_[d]));
    }
    return row;
  }

 private:
  static const std::int32_t* diagonals_of(const sm_blocks<T>& blocks) {
    if (!blocks.diagonals_at_end) return blocks.pointers.get();
    return Side == triangle::lower ? blocks.rows->end : blocks.rows->begin;
  }

  // Hardware follows these two streams late, among those of the dense operands.
  NEVRAD_INLINE void ask_ahead(std::int64_t p, int direction) const {
    if constexpr (!fixed_hints) {
      prefetch<cache::level1>(values_ + p, direction * 1024);
      prefetch<cache::level1>(indices_ + p, direction * 512);
    }
  }

  // Whether rows stand in two parts of a ring, whose indices a bound tells apart: looking for it
  // among a row's entries costs less than asking of each of them.
  template <class Rows>
  static constexpr bool in_ring = requires(const Rows& rows) { rows.split(); };

  template <int W>
  NEVRAD_INLINE void add_entry(lanes<T, W>& sum, std::int64_t& p, lanes<T, W> solved) const {
    sum = multiply_add(sum, solved, broadcast<W>(load<1>(values_ + p)));
    ++p;
  }

  // The sum over the entries from p on that are in the block of the first one, which is not the
  // block of their row: the diagonal element stands behind them.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> next_sum(std::int64_t& p, const Rows& solution) const {
    const std::int32_t stop = ((indices_[p] - base_) | (sm_block_size - 1)) + 1 + base_;
    if constexpr (fixed_hints) {
      const std::int64_t first = p;
      do ++p;
      while (indices_[p] < stop);
      return sum_of<W>(first, p, solution);
    }
    // Most parts are short: looking for their end, and groups of four, would cost more than the
    // sums.
    lanes<T, W> sum = zero_lanes<T, W>();
    if constexpr (in_ring<Rows>) {
      const auto split = static_cast<std::int32_t>(solution.split());
      const std::int32_t stop_below = split < stop ? split : stop;
#pragma clang loop unroll(disable)
      while (indices_[p] < stop_below) add_entry<W>(sum, p, solution.below(indices_[p]));
#pragma clang loop unroll(disable)
      while (indices_[p] < stop) add_entry<W>(sum, p, solution.above(indices_[p]));
    } else {
#pragma clang loop unroll(disable)
      do add_entry<W>(sum, p, solution(indices_[p]));
      while (indices_[p] < stop);
    }
    return sum;
  }

  // The row less the sums over its entries in blocks other than its own, of which there is one at
  // least. Comes with `far` behind the row's entries and leaves it at the first of those.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> subtract_far(lanes<T, W> row,
                                         std::int64_t d,
                                         std::int32_t own,
                                         std::int64_t& far,
                                         const Rows& solution) const {
    std::int64_t e = far--;
    if (!fixed_hints && indices_[far - 1] < own) {
      std::int64_t p = far;
      lanes<T, W> sum = zero_lanes<T, W>();
      add_entry<W>(sum, p, solution(indices_[far]));
      return subtract(row, sum);
    }
    // Its own entries are fewer in most rows: the others are looked through where they are in
    // several blocks alone.
    far = d + 1;
    while (indices_[far] < own) ++far;
    if (in_one_block(indices_[far], indices_[e - 1])) {
      return subtract(row, plain_sum<W>(zero_lanes<T, W>(), far, e, solution));
    }
    while (e > far) row = subtract(row, previous_sum<W>(e, solution));
    return row;
  }

  // Whether two columns are in one block of an upper triangle.
  NEVRAD_INLINE bool in_one_block(std::int32_t a, std::int32_t b) const {
    return ((end_of_blocks_ - 1 - a) ^ (end_of_blocks_ - 1 - b)) < sm_block_size;
  }

  // The same from the other side: the block of the entry in front of e.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> previous_sum(std::int64_t& e, const Rows& solution) const {
    const std::int32_t to_end = end_of_blocks_ - 1 - indices_[e - 1];
    const std::int32_t low = end_of_blocks_ - (to_end | (sm_block_size - 1)) - 1;
    const std::int64_t stop = e;
    do --e;
    while (indices_[e - 1] >= low);
    return plain_sum<W>(zero_lanes<T, W>(), e, stop, solution);
  }

  // The sum over a row's entries in its own block. `near` is the index of the row before it.
  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> own_sum(std::int64_t p,
                                    std::int64_t stop,
                                    std::int32_t near,
                                    const Rows& solution,
                                    const lanes<T, W>* newest) const {
    lanes<T, W> sum = zero_lanes<T, W>();
    if (fixed_hints || newest == nullptr) return plain_sum<W>(sum, p, stop, solution);
    if constexpr (Side == triangle::lower) {
      if (indices_[stop - 1] != near) return plain_sum<W>(sum, p, stop, solution);
      std::int64_t last = stop - 1;
      sum = plain_sum<W>(sum, p, last, solution);
      add_entry<W>(sum, last, *newest);
      return sum;
    } else {
      if (indices_[p] == near) add_entry<W>(sum, p, *newest);
      return plain_sum<W>(sum, p, stop, solution);
    }
  }

  template <int W, class Rows>
  NEVRAD_INLINE lanes<T, W> plain_sum(lanes<T, W> sum,
                                      std::int64_t p,
                                      std::int64_t stop,
                                      const Rows& solution) const {
    if constexpr (fixed_hints) return sum_of<W>(p, stop, solution);
    if constexpr (in_ring<Rows>) {
#pragma clang loop unroll(disable)
      while (p < stop && indices_[p] < solution.split()) {
        add_entry<W>(sum, p, solution.below(indices_[p]));
      }
#pragma clang loop unroll(disable)
      while (p < stop) add_entry<W>(sum, p, solution.above(indices_[p]));
    } else {
#pragma clang loop unroll(disable)
      while (p < stop) add_entry<W>(sum, p, solution(indices_[p]));
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
  // Of each row the position of its diagonal element, or one behind it.
  const std::int32_t* diagonals_;
  std::int64_t behind_diagonal_;
  std::int32_t base_;
  std::int32_t end_of_blocks_;
};

}  // namespace nevrad
