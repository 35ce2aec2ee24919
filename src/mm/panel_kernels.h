// Panel kernels: sparse rows times one panel, by where the finished sums go.
//
// A kernel walks its blocks in order and the rows of a block in order; row r of the result is at
// c + r * ldc (row-major) or c + r (column-major), from the top again at each block. A row's sum is
// one chain in stored order and reaches C in one fused update a block, C = sum * alpha + C, so the
// last bits depend on the block boundaries and on nothing else. Rows without entries in a block
// are not touched by it: even an infinite alpha leaves them.
//
// Every kernel needs at least one block.
#pragma once

#include "arith/panel_row.h"
#include "mm/column_blocks.h"

namespace nevrad {

template <int W, class T>
NEVRAD_INLINE lanes<T, W> multiply_block_row(const column_block<T>& block,
                                             std::int32_t first,
                                             std::int32_t length,
                                             const T* panel) {
  return multiply_panel_row<W>(block.values + first, block.indices + first, length, panel);
}

// Row-major C.
template <int W, class T>
void panel_kernel_rows(const column_block<T>* blocks,
                       std::int32_t count,
                       const T* panel,
                       T* c,
                       std::int32_t ldc,
                       const T* alpha) {
  const lanes<T, W> scale = broadcast<W>(load<1>(alpha));
  for (std::int32_t b = 0; b < count; ++b) {
    const column_block<T> block = blocks[b];
    T* row = c;
    for (std::int32_t r = 0; r < block.rows; ++r, row += ldc) {
      const std::int32_t first = block.begin[r];
      const std::int32_t length = block.begin[r + 1] - first;
      if (length <= 0) continue;
      if constexpr (fixed_hints) prefetch<cache::level1>(row, 0);
      const lanes<T, W> sum = multiply_block_row<W>(block, first, length, panel);
      store(row, multiply_add(load<W>(row), sum, scale));
    }
  }
}

// Row-major C, C = sum * alpha + round(C * beta), for a single block; a row without entries becomes
// C * beta. Real types.
template <int W, class T>
void panel_kernel_rows_beta(const column_block<T>* blocks,
                            std::int32_t count,
                            const T* panel,
                            T* c,
                            std::int32_t ldc,
                            const T* alpha,
                            const T* beta) {
  const lanes<T, W> scale = broadcast<W>(load<1>(alpha));
  const lanes<T, W> scale_c = broadcast<W>(load<1>(beta));
  for (std::int32_t b = 0; b < count; ++b) {
    const column_block<T> block = blocks[b];
    T* row = c;
    for (std::int32_t r = 0; r < block.rows; ++r, row += ldc) {
      const std::int32_t first = block.begin[r];
      const std::int32_t length = block.begin[r + 1] - first;
      if (length <= 0) {
        store(row, multiply(load<W>(row), scale_c));
        continue;
      }
      if constexpr (fixed_hints) prefetch<cache::level1>(row, 0);
      const lanes<T, W> sum = multiply_block_row<W>(block, first, length, panel);
      store(row, multiply_add(multiply(load<W>(row), scale_c), sum, scale));
    }
  }
}

// Element q of the lanes updates the element q * ldc on.
template <class T, int W, int... Q>
NEVRAD_INLINE void update_column_elements(T* c,
                                          std::int64_t ldc,
                                          lanes<T, W> sum,
                                          lane<T> alpha,
                                          std::integer_sequence<int, Q...>) {
  (store(c + Q * ldc, multiply_add(load<1>(c + Q * ldc), lane_at<Q>(sum), alpha)), ...);
}

// Column-major C.
template <int W, class T>
void panel_kernel_cols(const column_block<T>* blocks,
                       std::int32_t count,
                       const T* panel,
                       T* c,
                       std::int32_t ldc,
                       const T* alpha) {
  const lane<T> scale = load<1>(alpha);
  for (std::int32_t b = 0; b < count; ++b) {
    const column_block<T> block = blocks[b];
    for (std::int32_t r = 0; r < block.rows; ++r) {
      const std::int32_t first = block.begin[r];
      const std::int32_t length = block.begin[r + 1] - first;
      if (length <= 0) continue;
      const lanes<T, W> sum = multiply_block_row<W>(block, first, length, panel);
      update_column_elements(c + r, ldc, sum, scale, std::make_integer_sequence<int, W>{});
    }
  }
}

}  // namespace nevrad
