// Substitution within a block, and subtraction of a solved slab from the rows that depend on it.
//
// A panel holds W right-hand sides side by side, row r being W contiguous elements; right-hand
// sides, partial sums and solution stand in the same place. Kernels take the panel row of a block's
// first slab row as `slab`.
//
// Rounding. Each lane of a row has one accumulator from zero; entries go in by ascending column,
// one fused multiply-add each (complex: the panel element first, rotations 0 and 90); the sum is
// subtracted once a kernel. The last product of a solve is rounded (complex: fused into zero). So a
// row's result depends on the block boundaries, and not on the panel, its width or the thread.
#pragma once

#include "arith/panel_row.h"
#include "sm/blocks.h"

namespace nevrad {

namespace panel_solve_table {

// Panels of one column of doubles fetch their values at half the distance in strips.
template <class T, int W>
inline constexpr panel_hints strip_hints = {
    .indices_near = default_panel_hints<T>.indices_near,
    .values_near = W == 1 ? 256 : default_panel_hints<T>.values_near,
    .indices_far = default_panel_hints<T>.indices_far,
    .values_far = default_panel_hints<T>.values_far,
};

}  // namespace panel_solve_table

template <class T>
NEVRAD_INLINE void fetch_row(const T* row) {
  if constexpr (fixed_hints) prefetch<cache::level1>(row, 0);
}

// target -= the block's entries p to e - 1 times the slab.
template <int W, class T>
NEVRAD_INLINE void subtract_row(const sm_block<T>& block,
                                const T* slab,
                                T* target,
                                std::int32_t p,
                                std::int32_t e) {
  fetch_row(target);
  const lanes<T, W> sum =
      multiply_panel_row<W, T, panel_solve_table::strip_hints<T, W>>(block.values + p,
                                                                     block.indices + p, e - p,
                                                                     slab);
  store(target, subtract(load<W>(target), sum));
}

// Rows `first` to `last` - 1 of the block, whose panel rows begin at `target`. Rows without entries
// keep their place and are not touched.
template <int W, class T>
void sm_strip(const sm_block<T>& block,
              const T* slab,
              T* target,
              std::int32_t first,
              std::int32_t last) {
  for (std::int32_t r = first; r < last; ++r, target += W) {
    const std::int32_t p = block.begin[r];
    const std::int32_t e = block.begin[r + 1];
    if (e - p > 0) subtract_row<W>(block, slab, target, p, e);
  }
}

// The same for a block with a list, in a panel of `panel_rows` rows that continues at its other
// end.
template <triangle Side, int W, class T>
void sm_strip_listed(const sm_block<T>& block, T* panel, std::int32_t panel_rows) {
  const T* const slab = panel + static_cast<std::int64_t>(block.place) * W;
  std::int32_t near_bound = block.begin[Side == triangle::lower ? block.cols : 0];
  for (std::int32_t k = 0; k < block.strip_rows; ++k) {
    const strip_row row = block.strip[k];
    std::int32_t at = block.place + row.row;
    if constexpr (Side == triangle::lower) {
      if (at >= panel_rows) at -= panel_rows;
      subtract_row<W>(block, slab, panel + static_cast<std::int64_t>(at) * W, near_bound,
                      row.bound);
    } else {
      if (at < 0) at += panel_rows;
      subtract_row<W>(block, slab, panel + static_cast<std::int64_t>(at) * W, row.bound,
                      near_bound);
    }
    near_bound = row.bound;
  }
}

// row * factor at the end of a solve.
template <int W, class T>
NEVRAD_INLINE lanes<T, W> multiply_solved(lanes<T, W> row, T factor) {
  const lanes<T, W> factors = broadcast<W>(to_lane(factor));
  if constexpr (is_complex<T>) {
    return multiply_add(zero_lanes<T, W>(), row, factors);
  } else {
    return multiply_fused(row, factors);
  }
}

// Substitution over the slab's rows: row = (row - sum) * reciprocal, the reciprocal being the first
// entry of a row in an upper triangle and the last in a lower one; with a unit diagonal that entry
// is passed over without a look at it. A row without entries in the block does not move `cursor`:
// the rows behind it then work on the panel row before their own. That is how it has to be.
template <triangle Side, diagonal Diagonal, int W, class T>
void sm_solve(const sm_block<T>& block, T* slab) {
  constexpr bool lower = Side == triangle::lower;
  T* cursor = slab + (lower ? 0 : static_cast<std::int64_t>(block.cols) * W);
  for (std::int32_t step = 0; step < block.cols; ++step) {
    const std::int32_t r = lower ? step : block.cols - 1 - step;
    const std::int32_t p = block.begin[r];
    const std::int32_t e = block.begin[r + 1];
    if (e - p <= 0) continue;
    fetch_row(cursor);
    const std::int32_t first = lower ? p : p + 1;
    const lanes<T, W> sum =
        multiply_panel_row<W>(block.values + first, block.indices + first, e - p - 1, slab);
    if constexpr (!lower) cursor -= W;
    lanes<T, W> row = subtract(load<W>(cursor), sum);
    if constexpr (Diagonal == diagonal::stored) {
      row = multiply_solved<W>(row, block.values[lower ? e - 1 : p]);
    }
    store(cursor, row);
    if constexpr (lower) cursor += W;
  }
}

}  // namespace nevrad
