// Transposition by counting: the one way in which lines are exchanged, converted and sorted.
//
// Every copy made here has base 0 and ascending lines (sorted 1), whatever the order and the base
// of the source; duplicates stay, in their order. The source may be a view or an owned matrix and
// is not changed. The caller owns the result. All is linear in entries and lines: no comparison
// sort.
//
// Called from serial code: the parallel forms open a region of their own, on a team of the budget.
// They give the same arrays as the serial ones.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// The transpose of a CSR matrix in CSR. Answers 2 when memory is short and 3 when the source has no
// entries.
template <class T>
status csr_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out);
template <class T>
status csr_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out);

// The transpose of a CSC matrix in CSC. Answers 2 when memory is short; a source without entries
// gives a result without entries.
template <class T>
status csc_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out);
template <class T>
status csc_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out);

// The same with the imaginary part of every element negated. `c`, `z`.
template <class T>
status csr_conj_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out);
template <class T>
status csr_conj_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out);
template <class T>
status csc_conj_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out);
template <class T>
status csc_conj_transpose_parallel(const compressed_matrix<T>& source, owned_matrix<T>** out);

// The same CSR matrix with ascending rows, by transposing twice: a stable bucket sort of two
// passes, by column and then by row. Statuses of csr_transpose.
template <class T>
status csr_sort_by_double_transpose(const compressed_matrix<T>& source, owned_matrix<T>** out);

// The same matrix in the other compression. Answer 1 for a null; csc_to_csr answers 3 for a source
// without entries, csr_to_csc copies it.
template <class T>
status csc_to_csr(const compressed_matrix<T>* source, owned_matrix<T>** out);
template <class T>
status csc_to_csr_parallel(const compressed_matrix<T>* source, owned_matrix<T>** out);
template <class T>
status csr_to_csc(const compressed_matrix<T>* source, owned_matrix<T>** out);
template <class T>
status csr_to_csc_parallel(const compressed_matrix<T>* source, owned_matrix<T>** out);

// The arrays of a CSC matrix are those of its transpose in CSR, and the other way round: a copy of
// the record with rows and cols exchanged and all else as it is. Does nothing for a null. So the
// transposed operation of one compression is the plain one of the other.
template <class T>
void csc_view_as_csr(const compressed_matrix<T>* source, compressed_matrix<T>* destination);
template <class T>
void csr_view_as_csc(const compressed_matrix<T>* source, compressed_matrix<T>* destination);

}  // namespace nevrad
