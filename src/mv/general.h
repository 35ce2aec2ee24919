// y = alpha A x + beta y for a general matrix stored by rows.
#pragma once

#include "arith/products.h"
#include "matrix/record.h"

namespace nevrad {

// A kernel of the matrix-vector tables. x and y are indexed from 0 whatever the view's base.
template <class T>
using mv_kernel = status (*)(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Cuts the rows by stored entries, one part a thread, and picks one kernel for all of them by the
// mean row length. Allocates nothing. Each part writes its own rows of y.
template <class T>
status csr_mv_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// A row kernel: rows row_begin up to but excluding row_end. Writes those elements of y alone.

// One accumulator a row, entries in storage order. Walks entries by a running position: rows after
// the first begin where the row before ended, and only the field `base` is subtracted.
template <class T>
status csr_mv_short_rows(const T& alpha,
                         const compressed_view<T>& a,
                         const T* x,
                         const T& beta,
                         T* y,
                         std::int32_t row_begin,
                         std::int32_t row_end);

// Four accumulators a row, entry r of a group of four into accumulator r, the remainder into the
// first. Honours gaps between rows; subtracts begin[0] from positions and indices alike.
template <class T>
status csr_mv_long_rows(const T& alpha,
                        const compressed_view<T>& a,
                        const T* x,
                        const T& beta,
                        T* y,
                        std::int32_t row_begin,
                        std::int32_t row_end);

// The same with conjugated matrix elements; alpha and beta are taken as they are. `c`, `z`.
template <class T>
status csr_mv_long_rows_conj(const T& alpha,
                             const compressed_view<T>& a,
                             const T* x,
                             const T& beta,
                             T* y,
                             std::int32_t row_begin,
                             std::int32_t row_end);

}  // namespace nevrad
