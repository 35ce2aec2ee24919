// Kernels of the solves with many right-hand sides, by descriptor and operation.
#pragma once

#include "frame/descriptor.h"
#include "sm/diagonal.h"
#include "sm/drivers.h"

namespace nevrad {

template <class T>
using sm_row = descra_row<sm_kernel<T>>;

// Slots of a triangular row of either table. The conjugated forms exist in complex types alone.
template <compression Kind, triangle Side, diagonal Diagonal, dense_layout Layout, class T>
constexpr kernel_slots<sm_kernel<T>, 3> triangular_slots() {
  if constexpr (Kind == compression::rows) {
    constexpr sm_kernel<T> plain = sm_driver<Side, Diagonal, Layout, T>;
    constexpr sm_kernel<T> transposed = sm_csr_transposed<Side, Diagonal, Layout, T>;
    if constexpr (is_complex<T>) {
      return {{plain, transposed, sm_csr_conjugated<Side, Diagonal, Layout, T>}};
    } else {
      return {{plain, transposed, transposed}};
    }
  } else {
    constexpr sm_kernel<T> plain = sm_csc_plain<Side, Diagonal, Layout, T>;
    constexpr sm_kernel<T> transposed = sm_csc_transposed<Side, Diagonal, Layout, T>;
    if constexpr (is_complex<T>) {
      return {{plain, transposed, sm_csc_conjugated<Side, Diagonal, Layout, T>}};
    } else {
      return {{plain, transposed, transposed}};
    }
  }
}

template <dense_layout Layout, class T>
constexpr kernel_slots<sm_kernel<T>, 3> diagonal_slots() {
  constexpr sm_kernel<T> plain = sm_diag<conjugation::no, Layout, T>;
  if constexpr (is_complex<T>) {
    return by_symmetry<T, sm_kernel<T>>(plain, sm_diag<conjugation::yes, Layout, T>);
  } else {
    return same_for_all(plain);
  }
}

template <dense_layout Layout, class T>
constexpr kernel_slots<sm_kernel<T>, 3> unit_diagonal_slots() {
  return same_for_all<sm_kernel<T>>(sm_unit_diag<Layout, T>);
}

// clang-format off
template <compression Kind, class T>
inline constexpr sm_row<T> sm_table[] = {
    // code   base  structure                      kernels: none, transpose, conjugate transpose
    {"TLNF",  1,    matrix_structure::triangular,  triangular_slots<Kind, triangle::lower, diagonal::stored, dense_layout::column_major, T>()},
    {"TLNC",  0,    matrix_structure::triangular,  triangular_slots<Kind, triangle::lower, diagonal::stored, dense_layout::row_major,    T>()},
    {"TLUF",  1,    matrix_structure::triangular,  triangular_slots<Kind, triangle::lower, diagonal::unit,   dense_layout::column_major, T>()},
    {"TLUC",  0,    matrix_structure::triangular,  triangular_slots<Kind, triangle::lower, diagonal::unit,   dense_layout::row_major,    T>()},
    {"TUNF",  1,    matrix_structure::triangular,  triangular_slots<Kind, triangle::upper, diagonal::stored, dense_layout::column_major, T>()},
    {"TUNC",  0,    matrix_structure::triangular,  triangular_slots<Kind, triangle::upper, diagonal::stored, dense_layout::row_major,    T>()},
    {"TUUF",  1,    matrix_structure::triangular,  triangular_slots<Kind, triangle::upper, diagonal::unit,   dense_layout::column_major, T>()},
    {"TUUC",  0,    matrix_structure::triangular,  triangular_slots<Kind, triangle::upper, diagonal::unit,   dense_layout::row_major,    T>()},
    {"D0NF",  1,    matrix_structure::diagonal,    diagonal_slots<dense_layout::column_major, T>()},
    {"D0NC",  0,    matrix_structure::diagonal,    diagonal_slots<dense_layout::row_major, T>()},
    {"D0UF",  1,    matrix_structure::diagonal,    unit_diagonal_slots<dense_layout::column_major, T>()},
    {"D0UC",  0,    matrix_structure::diagonal,    unit_diagonal_slots<dense_layout::row_major, T>()},
};
// clang-format on

static_assert(table_is_consistent(sm_table<compression::rows, double>, true));
static_assert(table_is_full(sm_table<compression::rows, double>));
static_assert(table_is_full(sm_table<compression::rows, complex64>));
static_assert(table_is_full(sm_table<compression::columns, double>));
static_assert(table_is_full(sm_table<compression::columns, complex64>));

}  // namespace nevrad
