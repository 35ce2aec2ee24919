// Kernels of the tables of solves with many right-hand sides: triangular matrices.
#pragma once

#include "matrix/transpose.h"
#include "sm/blocks.h"

namespace nevrad {

// op(A) Y = alpha X, n columns. A has base 0; whether it is compressed by rows or columns is the
// table's to know. y may be x when ldy is ldx.
template <class T>
using sm_kernel = status (*)(const compressed_matrix<T>& a,
                             const T* x,
                             std::int32_t n,
                             std::int32_t ldx,
                             T* y,
                             std::int32_t ldy,
                             T alpha);

// A triangle stored by rows: sorts the rows where they are not, cuts the triangle into blocks,
// deals the columns out by fours and solves each thread's by itself. Answers 2, or 3 for a matrix
// without entries or a field `sorted` other than 0 and 1. When memory runs short in some threads,
// the columns of the others are written.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_driver(const compressed_matrix<T>& a,
                 const T* x,
                 std::int32_t n,
                 std::int32_t ldx,
                 T* y,
                 std::int32_t ldy,
                 T alpha);

// The other slots bring the matrix into that form: by a transposition, or by taking columns for
// rows. The name tells the operation and the compression of A; Side is A's own triangle.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_csr_transposed(const compressed_matrix<T>& a,
                         const T* x,
                         std::int32_t n,
                         std::int32_t ldx,
                         T* y,
                         std::int32_t ldy,
                         T alpha) {
  scoped_matrix<T> transposed;
  const status made = csr_transpose_parallel(a, transposed.out());
  if (made != success) return made;
  return sm_driver<opposite(Side), Diagonal, Layout>(*transposed, x, n, ldx, y, ldy, alpha);
}

// `c`, `z`.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_csr_conjugated(const compressed_matrix<T>& a,
                         const T* x,
                         std::int32_t n,
                         std::int32_t ldx,
                         T* y,
                         std::int32_t ldy,
                         T alpha) {
  scoped_matrix<T> transposed;
  const status made = csr_conj_transpose_parallel(a, transposed.out());
  if (made != success) return made;
  return sm_driver<opposite(Side), Diagonal, Layout>(*transposed, x, n, ldx, y, ldy, alpha);
}

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_csc_plain(const compressed_matrix<T>& a,
                    const T* x,
                    std::int32_t n,
                    std::int32_t ldx,
                    T* y,
                    std::int32_t ldy,
                    T alpha) {
  scoped_matrix<T> by_rows;
  const status made = csc_to_csr_parallel(&a, by_rows.out());
  if (made != success) return made;
  return sm_driver<Side, Diagonal, Layout>(*by_rows, x, n, ldx, y, ldy, alpha);
}

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_csc_transposed(const compressed_matrix<T>& a,
                         const T* x,
                         std::int32_t n,
                         std::int32_t ldx,
                         T* y,
                         std::int32_t ldy,
                         T alpha) {
  compressed_matrix<T> by_rows;
  csc_view_as_csr(&a, &by_rows);
  return sm_driver<opposite(Side), Diagonal, Layout>(by_rows, x, n, ldx, y, ldy, alpha);
}

// `c`, `z`.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_csc_conjugated(const compressed_matrix<T>& a,
                         const T* x,
                         std::int32_t n,
                         std::int32_t ldx,
                         T* y,
                         std::int32_t ldy,
                         T alpha) {
  scoped_matrix<T> by_columns;
  const status conjugated = csc_conj_transpose_parallel(a, by_columns.out());
  if (conjugated != success) return conjugated;
  scoped_matrix<T> by_rows;
  const status made = csc_to_csr_parallel(by_columns.get(), by_rows.out());
  if (made != success) return made;
  return sm_driver<opposite(Side), Diagonal, Layout>(*by_rows, x, n, ldx, y, ldy, alpha);
}

}  // namespace nevrad
