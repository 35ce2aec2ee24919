// Kernels of the tables of the solves with one right-hand side.
//
// All run on the caller's thread, allocate nothing and succeed: an unknown depends on those before
// it. y is the only working vector.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// Solves op(A) y = alpha x. x and y are indexed from 0 whatever the view's base; y may be x.
template <class T>
using sv_kernel = status (*)(const compressed_view<T>& a, const T* x, T* y, T alpha);

// A triangle stored by rows, or by columns: its own substitution.
template <triangle Side, diagonal D, class T>
status csr_tri_solve(const compressed_view<T>& a, const T* x, T* y, T alpha);
template <triangle Side, diagonal D, class T>
status csc_tri_solve(const compressed_view<T>& a, const T* x, T* y, T alpha);

// The transposed solve runs the substitution of the other compression on the exchanged record,
// whose triangle is the opposite one.
template <triangle Side, diagonal D, conjugation C, class T>
status csr_tri_solve_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha);
template <triangle Side, diagonal D, conjugation C, class T>
status csc_tri_solve_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha);

// A diagonal matrix, in either compression. A line without a diagonal entry leaves y[i] unwritten.
template <conjugation C, class T>
status diag_solve(const compressed_view<T>& a, const T* x, T* y, T alpha);

// Ones on the diagonal: y = alpha x, the matrix is not read.
template <class T>
status diag_solve_unit(const compressed_view<T>& a, const T* x, T* y, T alpha);

}  // namespace nevrad
