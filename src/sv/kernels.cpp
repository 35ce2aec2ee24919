#include "sv/kernels.h"

#include "arith/dense.h"
#include "matrix/transpose.h"
#include "sv/columns.h"
#include "sv/diagonal.h"
#include "sv/rows.h"

namespace nevrad {

namespace {

// A triangle whose lines are rows. The forward kernel scales x itself, the backward one works on
// the scaled copy.
template <triangle Side, diagonal D, conjugation C, class T>
status solve_rows(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  if constexpr (Side == triangle::lower) {
    tri_solve_rows_forward<D, C>(alpha, a, x, y, 0, a.rows);
  } else {
    dense_scale_copy(y, x, a.rows, alpha);
    tri_solve_rows_backward<D, C>(a, y, 0, a.rows);
  }
  return success;
}

// A triangle whose lines are columns.
template <triangle Side, diagonal D, conjugation C, class T>
status solve_columns(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  dense_scale_copy(y, x, a.cols, alpha);
  if constexpr (Side == triangle::lower) {
    tri_solve_columns_forward<D, C>(a, y, 0, a.cols);
  } else {
    tri_solve_columns_backward<D, C>(a, y, 0, a.cols);
  }
  return success;
}

}  // namespace

template <triangle Side, diagonal D, class T>
status csr_tri_solve(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  return solve_rows<Side, D, conjugation::no>(a, x, y, alpha);
}

template <triangle Side, diagonal D, class T>
status csc_tri_solve(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  return solve_columns<Side, D, conjugation::no>(a, x, y, alpha);
}

template <triangle Side, diagonal D, conjugation C, class T>
status csr_tri_solve_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  compressed_view<T> exchanged;
  csr_view_as_csc(&a, &exchanged);
  return solve_columns<opposite(Side), D, C>(exchanged, x, y, alpha);
}

template <triangle Side, diagonal D, conjugation C, class T>
status csc_tri_solve_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  compressed_view<T> exchanged;
  csc_view_as_csr(&a, &exchanged);
  return solve_rows<opposite(Side), D, C>(exchanged, x, y, alpha);
}

template <conjugation C, class T>
status diag_solve(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  diag_solve_lines<C>(a, x, y, alpha);
  return success;
}

template <class T>
status diag_solve_unit(const compressed_view<T>& a, const T* x, T* y, T alpha) {
  dense_scale_copy(y, x, a.rows, alpha);
  return success;
}

#define NEVRAD_INSTANTIATE_FORM(T, side, d)                                                     \
  template status csr_tri_solve<side, d>(const compressed_view<T>&, const T*, T*, T);           \
  template status csc_tri_solve<side, d>(const compressed_view<T>&, const T*, T*, T);           \
  template status csr_tri_solve_transposed<side, d, conjugation::no>(const compressed_view<T>&, \
                                                                     const T*, T*, T);          \
  template status csc_tri_solve_transposed<side, d, conjugation::no>(const compressed_view<T>&, \
                                                                     const T*, T*, T);
#define NEVRAD_INSTANTIATE(letter, T)                                                      \
  NEVRAD_INSTANTIATE_FORM(T, triangle::lower, diagonal::stored)                            \
  NEVRAD_INSTANTIATE_FORM(T, triangle::lower, diagonal::unit)                              \
  NEVRAD_INSTANTIATE_FORM(T, triangle::upper, diagonal::stored)                            \
  NEVRAD_INSTANTIATE_FORM(T, triangle::upper, diagonal::unit)                              \
  template status diag_solve<conjugation::no>(const compressed_view<T>&, const T*, T*, T); \
  template status diag_solve_unit(const compressed_view<T>&, const T*, T*, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_FORM

#define NEVRAD_INSTANTIATE_FORM(T, side, d)                                                      \
  template status csr_tri_solve_transposed<side, d, conjugation::yes>(const compressed_view<T>&, \
                                                                      const T*, T*, T);          \
  template status csc_tri_solve_transposed<side, d, conjugation::yes>(const compressed_view<T>&, \
                                                                      const T*, T*, T);
#define NEVRAD_INSTANTIATE(letter, T)                           \
  NEVRAD_INSTANTIATE_FORM(T, triangle::lower, diagonal::stored) \
  NEVRAD_INSTANTIATE_FORM(T, triangle::lower, diagonal::unit)   \
  NEVRAD_INSTANTIATE_FORM(T, triangle::upper, diagonal::stored) \
  NEVRAD_INSTANTIATE_FORM(T, triangle::upper, diagonal::unit)   \
  template status diag_solve<conjugation::yes>(const compressed_view<T>&, const T*, T*, T);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_FORM

}  // namespace nevrad
