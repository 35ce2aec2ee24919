// Drivers of the general product: rows in order, nothing transposed. See mm/general.h.
//
// A is read where it lies, in its base, and row by row: each row of C, or each panel's part of it,
// is scaled by beta and gets the parts of its row of A while it is in registers. Only for long rows
// the phases are apart: C scaled, B packed, the entries copied into blocks of columns.
#pragma once

#include "arith/products.h"
#include "matrix/sorted_rows.h"
#include "mm/general.h"

namespace nevrad {

// Density, in entries per element, at which the row-major paths repack B at every size, and above
// which the path on one thread does when the matrix also has more than mm_large_nnz entries.
// Repacking is a name for a rounding here: alpha on the sum of each block. Where B lies well for
// it, the same sums are taken without moving B.
inline constexpr double mm_dense_cut = 0.009;
inline constexpr double mm_sparse_cut = 0.0019;
inline constexpr std::int32_t mm_large_nnz = 40000;

// The density by which a row-major path is chosen, in single precision as all of it.
template <class Count>
NEVRAD_INLINE double single_density(std::int32_t nnz, Count elements) {
  return static_cast<double>(static_cast<float>(nnz) / static_cast<float>(elements));
}

// Whether the row-major product of such a matrix reads B where it lies, with the rounding of the
// direct form.
NEVRAD_INLINE bool rows_go_direct(std::int32_t rows,
                                  std::int32_t cols,
                                  std::int32_t nnz,
                                  int budget) {
  if (budget > 1) return !(single_density(nnz, std::int64_t{rows} * cols) > mm_dense_cut);
  // The number of elements in 32 bits, wrapped around: for a large matrix it only picks a path.
  const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(rows) *
                                                 static_cast<std::uint32_t>(cols));
  const double density = single_density(nnz, wrapped);
  const bool repacked = (density > mm_sparse_cut && nnz > mm_large_nnz) || density >= mm_dense_cut;
  return !repacked;
}

// Multiplies `lines` dense lines of `length` elements, ldc apart, by beta, whatever beta is. Runs
// on the runtime's default team and not on the budget.
template <class T>
void dense_scale_lines(std::int32_t lines, std::int32_t length, T beta, T* c, std::int32_t ldc);

template <class T>
using mm_driver = status (*)(const rows_in_order<T>& a, const mm_operands<T>& dense);

// Column-major B and C. Each thread has its own rows.
template <class T>
status mm_cols_parallel(const rows_in_order<T>& a, const mm_operands<T>& o);
template <class T>
status mm_cols_serial(const rows_in_order<T>& a, const mm_operands<T>& o);

// Row-major B and C. A sparse matrix runs without any allocation.
template <class T>
status mm_rows_parallel(const rows_in_order<T>& a, const mm_operands<T>& o);
template <class T>
status mm_rows_serial(const rows_in_order<T>& a, const mm_operands<T>& o);

}  // namespace nevrad
