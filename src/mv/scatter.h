// Products whose stored lines run across the result: y = alpha A^T x + beta y (or A^H) for a matrix
// stored by rows, y = alpha A x + beta y for one stored by columns.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// The view reads as compressed columns: `cols` stored lines, a result of `rows` elements.
//
// Each thread scatters its lines, cut by stored entries, into a cleared vector of its own; the
// vectors are then summed in ascending order and alpha and beta applied, so y is not touched before
// all products are done. On one thread the same happens on the caller's thread without regions,
// and with another rounding: y_i = fma(y_i, beta, sum * alpha) in place of
// fma(alpha, sum, beta * y_i). Takes one allocation of budget * rows elements; 2 when it fails.
template <class T>
status mv_scatter_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// The view is by rows; its transpose by columns goes to mv_scatter_driver.
template <class T>
status csr_mv_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// With conjugated elements. Has no form of its own for one thread: it rounds as on many. `c`, `z`.
template <class T>
status csr_mv_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// acc[index] += element * x[line] for lines line_begin up to but excluding line_end. Positions and
// indices count from begin[0]; x is indexed by the line's number from 0. In each group of four
// entries all targets are read before any is stored: a line holds each index once.
template <class T>
void mv_scatter_lines(const compressed_view<T>& a,
                      const T* x,
                      T* acc,
                      std::int32_t line_begin,
                      std::int32_t line_end);

// The same with conjugated elements. `c`, `z`.
template <class T>
void mv_scatter_lines_conj(const compressed_view<T>& a,
                           const T* x,
                           T* acc,
                           std::int32_t line_begin,
                           std::int32_t line_end);

// y_i = beta y_i + alpha (sum over t of buffers[t * count + i]), t ascending.
template <class T>
void mv_reduce_buffers(int threads, std::int32_t count, const T* buffers, T* y, T alpha, T beta);

}  // namespace nevrad
