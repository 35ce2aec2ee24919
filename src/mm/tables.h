// Kernels of the matrix-matrix products, by descriptor and operation.
#pragma once

#include "frame/descriptor.h"
#include "mm/general.h"

namespace nevrad {

template <class T>
using mm_row = descra_row<mm_kernel<T>>;

// Slots of a general row. Real types have no kernel of their own for the conjugate transpose.
template <class T>
constexpr kernel_slots<mm_kernel<T>, 3> general_cols_slots() {
  if constexpr (is_complex<T>) {
    return {{mm_cols_sorted<T>, mm_cols_transposed<T>, mm_cols_conjugated<T>}};
  } else {
    return {{mm_cols_sorted<T>, mm_cols_transposed<T>, mm_cols_transposed<T>}};
  }
}
template <class T>
constexpr kernel_slots<mm_kernel<T>, 3> general_rows_slots() {
  if constexpr (is_complex<T>) {
    return {{mm_rows_sorted<T>, mm_rows_transposed<T>, mm_rows_conjugated<T>}};
  } else {
    return {{mm_rows_sorted<T>, mm_rows_transposed<T>, mm_rows_transposed<T>}};
  }
}

// A row whose kernels are not there yet: calls answer 6.
template <class T>
constexpr kernel_slots<mm_kernel<T>, 3> no_kernels() {
  return {{nullptr, nullptr, nullptr}};
}

// clang-format off
template <class T>
inline constexpr mm_row<T> csrmm_table[] = {
    // code   base  structure                      kernels: none, transpose, conjugate transpose
    {"G00F",  1,    matrix_structure::general,     general_cols_slots<T>()},
    {"G00C",  0,    matrix_structure::general,     general_rows_slots<T>()},
    {"SLNF",  1,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SLNC",  0,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SLUF",  1,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SLUC",  0,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SUNF",  1,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SUNC",  0,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SUUF",  1,    matrix_structure::symmetric,   no_kernels<T>()},
    {"SUUC",  0,    matrix_structure::symmetric,   no_kernels<T>()},
    {"HLNF",  1,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HLNC",  0,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HLUF",  1,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HLUC",  0,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HUNF",  1,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HUNC",  0,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HUUF",  1,    matrix_structure::hermitian,   no_kernels<T>()},
    {"HUUC",  0,    matrix_structure::hermitian,   no_kernels<T>()},
    {"TLNF",  1,    matrix_structure::triangular,  no_kernels<T>()},
    {"TLNC",  0,    matrix_structure::triangular,  no_kernels<T>()},
    {"TLUF",  1,    matrix_structure::triangular,  no_kernels<T>()},
    {"TLUC",  0,    matrix_structure::triangular,  no_kernels<T>()},
    {"TUNF",  1,    matrix_structure::triangular,  no_kernels<T>()},
    {"TUNC",  0,    matrix_structure::triangular,  no_kernels<T>()},
    {"TUUF",  1,    matrix_structure::triangular,  no_kernels<T>()},
    {"TUUC",  0,    matrix_structure::triangular,  no_kernels<T>()},
    {"D0NF",  1,    matrix_structure::diagonal,    no_kernels<T>()},
    {"D0NC",  0,    matrix_structure::diagonal,    no_kernels<T>()},
    {"D0UF",  1,    matrix_structure::diagonal,    no_kernels<T>()},
    {"D0UC",  0,    matrix_structure::diagonal,    no_kernels<T>()},
};
// clang-format on

static_assert(table_is_consistent(csrmm_table<float>, true));
static_assert(table_is_consistent(csrmm_table<complex32>, true));

}  // namespace nevrad
