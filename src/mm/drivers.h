// Drivers of the general product: ascending rows, nothing transposed. See mm/general.h.
//
// A is read where it lies, in its base, and row by row: each row of C, or each panel's part of it,
// is scaled by beta and gets the parts of its row of A while it is in registers. Only for long rows
// the phases are apart: C scaled, B packed, the entries copied into blocks of columns.
#pragma once

#include "mm/general.h"

namespace nevrad {

// Density, in entries per element, at which the row-major paths repack B at every size, and above
// which the path on one thread does when the matrix also has more than mm_large_nnz entries.
// Repacking is a name for a rounding here: alpha on the sum of each block. Where B lies well for
// it, the same sums are taken without moving B.
inline constexpr double mm_dense_cut = 0.009;
inline constexpr double mm_sparse_cut = 0.0019;
inline constexpr std::int32_t mm_large_nnz = 40000;

// Whether the row-major product of such a matrix reads B where it lies, with the rounding of the
// direct form.
bool rows_go_direct(std::int32_t rows, std::int32_t cols, std::int32_t nnz, int budget);

// Multiplies `lines` dense lines of `length` elements, ldc apart, by beta, whatever beta is. Runs
// on the runtime's default team and not on the budget.
template <class T>
void dense_scale_lines(std::int32_t lines, std::int32_t length, T beta, T* c, std::int32_t ldc);

// Column-major B and C. Each thread has its own rows.
template <class T>
status mm_cols_parallel(const compressed_matrix<T>& a, const mm_operands<T>& o);
template <class T>
status mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& o);

// Row-major B and C. A sparse matrix runs without any allocation.
template <class T>
status mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& o);
template <class T>
status mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& o);

}  // namespace nevrad
