// Sweeps: all columns of a product, a panel at a time, over one or more column blocks.
//
// Panels are the outer loop, then blocks, then rows, so a block's part of a panel stays in cache
// while all rows pass. `h` is the height of the panels, the matrix's number of columns. Columns
// behind the narrowest panel, at most 3, go through a line kernel one at a time. Answers 1 when
// blocks, the store, c or b is null.
#pragma once

#include "frame/checks.h"
#include "mm/column_blocks.h"

namespace nevrad {

// C += alpha * A * B, both column-major. The last columns are read from b, not from the store.
template <class T>
status sweep_cols(const column_block<T>* blocks,
                  std::int32_t count,
                  const T* b,
                  const T* store,
                  std::int32_t h,
                  std::int32_t n,
                  std::int32_t ldb,
                  T* c,
                  std::int32_t ldc,
                  T alpha);

// C += alpha * A * B, C row-major.
template <class T>
status sweep_rows(const column_block<T>* blocks,
                  std::int32_t count,
                  const T* store,
                  std::int32_t n,
                  std::int32_t h,
                  T* c,
                  std::int32_t ldc,
                  T alpha);

// C := alpha * A * B + beta * C, C row-major. Real types.
template <class T>
status sweep_rows_beta(const column_block<T>* blocks,
                       std::int32_t count,
                       const T* store,
                       std::int32_t n,
                       std::int32_t h,
                       T* c,
                       std::int32_t ldc,
                       T alpha,
                       T beta);

}  // namespace nevrad
