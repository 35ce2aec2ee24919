// Panel kernels: sparse rows times one panel, by where the finished sums go.
//
// A kernel walks its rows block by block; row r of
// the result is at c + r * ldc (row-major) or c + r (column-major). A part's sum is one chain in
// stored order and reaches C in one fused update, C = sum * alpha + C, so the last bits depend on
// the block boundaries and on nothing else. Rows without entries in a block are not touched by it:
// even an infinite alpha leaves them.
#pragma once

#include "arith/panel_row.h"
#include "mm/block_list.h"

namespace nevrad {

// Row-major C.
template <int W, class T>
void panel_kernel_rows(const block_list<T>& source,
                       const T* panel,
                       T* c,
                       std::int32_t ldc,
                       const T* alpha) {
  const lanes<T, W> scale = broadcast<W>(load<1>(alpha));
  source.for_each_part(
      [=](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
        T* const row = c + static_cast<std::int64_t>(r) * ldc;
        if constexpr (fixed_hints) prefetch<cache::level1>(row, 0);
        const lanes<T, W> sum = multiply_panel_row<W>(values, columns, length, panel);
        store(row, multiply_add(load<W>(row), sum, scale));
      });
}

// Row-major C, C = sum * alpha + round(C * beta), for a whole matrix as a single block; a row
// without entries becomes C * beta. Real types.
template <int W, class T>
void panel_kernel_rows_beta(const block_list<T>& source,
                            const T* panel,
                            T* c,
                            std::int32_t ldc,
                            const T* alpha,
                            const T* beta) {
  const lanes<T, W> scale = broadcast<W>(load<1>(alpha));
  const lanes<T, W> scale_c = broadcast<W>(load<1>(beta));
  source.for_each_part_and_gap(
      [=](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
        T* const row = c + static_cast<std::int64_t>(r) * ldc;
        if (length <= 0) {
          store(row, multiply(load<W>(row), scale_c));
          return;
        }
        if constexpr (fixed_hints) prefetch<cache::level1>(row, 0);
        const lanes<T, W> sum = multiply_panel_row<W>(values, columns, length, panel);
        store(row, multiply_add(multiply(load<W>(row), scale_c), sum, scale));
      });
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
void panel_kernel_cols(const block_list<T>& source,
                       const T* panel,
                       T* c,
                       std::int32_t ldc,
                       const T* alpha) {
  const lane<T> scale = load<1>(alpha);
  source.for_each_part(
      [=](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
        const lanes<T, W> sum = multiply_panel_row<W>(values, columns, length, panel);
        update_column_elements(c + r, ldc, sum, scale, std::make_integer_sequence<int, W>{});
      });
}

}  // namespace nevrad
