// y = alpha op(T) x + beta y, T the lower or upper triangle of a stored matrix, with a stored
// diagonal or one of ones. The arrays may hold the full matrix: the other side is skipped, and a
// stored diagonal too where ones are told. A diagonal entry that is missing adds nothing.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// Kernels of the tables. Side and Ones are those of the descriptor.

// Stored by rows, op = A: one dot product a row, entries tested one by one; chunks of rows run on
// the default team and own their rows of y. Answers 2 when the chunk bounds cannot be allocated.
template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by rows, op = A^T: the walk over columns of the transpose, whose triangle is the opposite
// one. Always answers 0: without memory y is left at beta y (plus alpha x for a diagonal of ones)
// and nobody is told. Callers are used to that, so it stays.
template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by rows, op = A^H: rows are scattered, with conjugated elements, into a vector a chunk.
// `c`, `z`. Answers 2, with y untouched, when the scratch cannot be had.
template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by columns with ascending indices, op = A: columns are handed out as threads get free and
// scattered into one cleared vector a thread. Answers 2, with y already scaled (and alpha x added
// for a diagonal of ones), when the scratch cannot be had.
template <triangle Side, diagonal Ones, class T>
status tri_mv_columns_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by columns with ascending indices, op = A^T or A^H: one dot product a column, written by
// the thread that took the column. Cannot fail.
template <triangle Side, diagonal Ones, conjugation C, class T>
status tri_mv_dots_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// The two for short columns: on one thread entries are tested one by one, on scaled y, without
// scratch, and indices may come in any order. Both always answer 0, as above.
template <triangle Side, diagonal Ones, class T>
status tri_mv_short_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);
template <triangle Side, diagonal Ones, conjugation C, class T>
status tri_mv_short_dots(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

}  // namespace nevrad
