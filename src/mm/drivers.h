// Drivers of the general product: ascending rows, nothing transposed. See mm/general.h.
#pragma once

#include "mm/general.h"

namespace nevrad {

// Density, in entries per element, at which the row-major paths always repack B, and above which
// the path on one thread repacks when the matrix also has more than mm_large_nnz entries.
inline constexpr double mm_dense_cut = 0.009;
inline constexpr double mm_sparse_cut = 0.0019;
inline constexpr std::int32_t mm_large_nnz = 40000;

// Multiplies `lines` dense lines of `length` elements, ldc apart, by beta, whatever beta is. Runs
// on the runtime's default team and not on the budget.
template <class T>
void dense_scale_lines(std::int32_t lines, std::int32_t length, T beta, T* c, std::int32_t ldc);

// Column-major B and C. B is always repacked; each thread cuts its own rows into blocks.
template <class T>
status mm_cols_parallel(const owned_matrix<T>& a,
                        const T* b,
                        std::int32_t n,
                        std::int32_t ldb,
                        T* c,
                        std::int32_t ldc,
                        T alpha,
                        T beta);
template <class T>
status mm_cols_serial(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta);

// Row-major B and C. A sparse matrix runs on B where it lies, without any allocation.
template <class T>
status mm_rows_parallel(const owned_matrix<T>& a,
                        const T* b,
                        std::int32_t n,
                        std::int32_t ldb,
                        T* c,
                        std::int32_t ldc,
                        T alpha,
                        T beta);
template <class T>
status mm_rows_serial(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta);

}  // namespace nevrad
