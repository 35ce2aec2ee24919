// The transposed general product for compressed columns, whose columns are the rows of the
// transpose.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// y = alpha A^T x + beta y. Columns are cut by stored entries, one part a thread, and always go
// through the long-row kernel, however short they are; nothing splits a column. Allocates nothing.
template <class T>
status csc_mv_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// y = alpha A^H x + beta y. `c`, `z`.
template <class T>
status csc_mv_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

}  // namespace nevrad
