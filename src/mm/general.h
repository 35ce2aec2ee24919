// C := alpha * op(A) * B + beta * C for a general matrix by rows, and the engine under all others.
//
// A gate brings the matrix into the one form that the drivers know, rows in ascending order and
// nothing transposed: by sorting a copy, or by transposing (and conjugating) into one. A driver
// picks the path by budget, density and size. All paths compute the same product; they differ in
// the order in which blocks of columns, alpha and beta enter, and so in the last bits.
//
// Failures. 3 or 2 from a gate leave C untouched. When a driver lacks memory (2), C is scaled by
// beta already, but for the one-thread row-major path over up to 5120 columns, which leaves it
// untouched; when a thread lacks memory for its blocks, its rows of C stay scaled and no more.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// A kernel of the matrix-matrix tables. a is owned, so of base 0, and is not changed.
template <class T>
using mm_kernel = status (*)(const owned_matrix<T>& a,
                             const T* b,
                             std::int32_t n,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             T alpha,
                             T beta);

// Gates for column-major (cols) and row-major (rows) B and C: A as it is, its transpose, and its
// conjugate transpose (`c`, `z`).
template <class T>
status mm_cols_sorted(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta);
template <class T>
status mm_cols_transposed(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta);
template <class T>
status mm_cols_conjugated(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta);
template <class T>
status mm_rows_sorted(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta);
template <class T>
status mm_rows_transposed(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta);
template <class T>
status mm_rows_conjugated(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta);

}  // namespace nevrad
