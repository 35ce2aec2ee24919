// C = op(A) B with A and B in compressed rows and C dense and column-major.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// A kernel of the table, on owned records. C has the rows of op(A) and the columns of B.
template <class T>
using dense_product_kernel =
    status (*)(const owned_matrix<T>& A, const owned_matrix<T>& B, T* c, std::int32_t ldc);

// Columns first to last - 1 of C for factors X and Y in compressed columns, base 0: overwritten
// with X Y, or with conj(X) Y.
template <class T>
using column_kernel = int (*)(const compressed_matrix<T>& X,
                              const compressed_matrix<T>& Y,
                              T* c,
                              std::int32_t ldc,
                              std::int32_t first,
                              std::int32_t last);

template <class T>
int csrmultd_columns(const compressed_matrix<T>& X,
                     const compressed_matrix<T>& Y,
                     T* c,
                     std::int32_t ldc,
                     std::int32_t first,
                     std::int32_t last);
template <class T>
int csrmultd_columns_conj(const compressed_matrix<T>& X,
                          const compressed_matrix<T>& Y,
                          T* c,
                          std::int32_t ldc,
                          std::int32_t first,
                          std::int32_t last);

// Cuts the columns by their multiply-adds, one part a thread. Elements of C between its rows and
// ldc stay. When scratch cannot be had, answers 2 and leaves the columns zero.
template <class T>
status csrmultd_driver(const compressed_matrix<T>* X,
                       const compressed_matrix<T>* Y,
                       T* c,
                       std::int32_t ldc,
                       column_kernel<T> kernel);

// op(A) = A: both factors are converted. Otherwise the rows of A are the columns of its transpose,
// and the conjugate is taken by the column kernel.
template <class T>
status csrmultd_plain(const owned_matrix<T>& A, const owned_matrix<T>& B, T* c, std::int32_t ldc);
template <class T>
status csrmultd_transposed(const owned_matrix<T>& A,
                           const owned_matrix<T>& B,
                           T* c,
                           std::int32_t ldc);
template <class T>
status csrmultd_conjugated(const owned_matrix<T>& A,
                           const owned_matrix<T>& B,
                           T* c,
                           std::int32_t ldc);

}  // namespace nevrad
