// C := alpha * op(A) * B + beta * C for a general matrix by rows, and the engine under all others.
//
// A gate brings the matrix into the one form that the drivers know, rows in ascending order and
// nothing transposed: by sorting a copy, or by transposing (and conjugating) into one, unless the
// product can go straight from the rows of the transpose (line_products.h). A driver picks the path
// by budget, density and size. All paths compute the same product; they differ in the order in
// which blocks of columns, alpha and beta enter, and so in the last bits.
//
// Failures. 3 or 2 from a gate leave C untouched. When a driver lacks memory (2), C is scaled by
// beta already, but for the one-thread row-major path over up to 5120 columns, which leaves it
// untouched; when a thread lacks memory for its blocks, its rows of C stay scaled and no more.
#pragma once

#include "matrix/record.h"
#include "mm/operands.h"

namespace nevrad {

// A kernel of the matrix-matrix tables. A is not changed; its rows are packed, its base may be 1
// where its slot belongs to a descriptor of that base.
template <class T>
using mm_kernel = status (*)(const compressed_matrix<T>& a, const mm_operands<T>& dense);

// Gates for column-major (cols) and row-major (rows) B and C: A as it is, its transpose, and its
// conjugate transpose (`c`, `z`).
template <class T>
status mm_cols_sorted(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status mm_cols_transposed(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status mm_cols_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status mm_rows_sorted(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status mm_rows_transposed(const compressed_matrix<T>& a, const mm_operands<T>& dense);
template <class T>
status mm_rows_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense);

}  // namespace nevrad
