// y = alpha D x + beta y, D the diagonal of a stored matrix, or ones.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// Kernels of the tables. Each line is searched from its start for its diagonal entry, and the first
// hit counts; a line without one leaves y_i at beta y_i. `C` conjugates the stored diagonal.

// Stored by rows: y_i = fma(alpha, a x_i, beta y_i). On the caller's thread, whatever the budget.
template <conjugation C, class T>
status diag_mv_rows(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Ones, called for row storage: y_i = fma(x_i, alpha, y_i beta). Reads no array of the matrix; on
// the caller's thread, whatever the budget.
template <class T>
status diag_mv_unit(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by columns, through chunked_mv_driver: answers 2 when its scratch cannot be had, which on
// one thread it does not need.
template <conjugation C, class T>
status diag_mv_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);
template <class T>
status diag_mv_columns_unit(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

}  // namespace nevrad
