// C := alpha * D * B + beta * C for a diagonal matrix, either compression, line of C by line.
//
// With a stored diagonal, alpha * D is collected into an array first: of several entries on one
// place the last counts, a line without one has 0, and all other entries are ignored. With ones on
// the diagonal the matrix is not read at all. Complex products have one fused and one rounded
// product a part. B and C may be the same array with the same leading dimension; each element of C
// depends on its own place alone.
//
// The serial kernels run on the caller's thread whatever the budget is. In the parallel ones the
// budget limits the chunks, multiples of 4 lines, and the runtime's default team shares them.
// Answers 2 when memory is short, C untouched.
#pragma once

#include "mm/general.h"

namespace nevrad {

template <class T>
status diag_mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status diag_mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status unit_mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status unit_mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense);

// With the stored elements or with their conjugates.
template <conjugation C, class T>
status diag_mm_cols_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <conjugation C, class T>
status diag_mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status unit_mm_cols_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status unit_mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense);

}  // namespace nevrad
