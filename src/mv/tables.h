// Kernels of the matrix-vector products, by descriptor and operation.
#pragma once

#include "frame/descriptor.h"
#include "mv/columns.h"
#include "mv/diagonal.h"
#include "mv/general.h"
#include "mv/scatter.h"
#include "mv/symmetric.h"
#include "mv/triangular.h"

#include <iterator>

namespace nevrad {

// Compressed columns have two sets of kernels: slots 0 to 2 for long columns, 3 to 5 for short
// ones.
template <class T>
using csrmv_row = descra_row<mv_kernel<T>, 3>;
template <class T>
using cscmv_row = descra_row<mv_kernel<T>, 6>;
template <class T>
using csrmv_slots = kernel_slots<mv_kernel<T>, 3>;
template <class T>
using cscmv_slots = kernel_slots<mv_kernel<T>, 6>;

template <class T>
constexpr sym_mode mode_in(sym_mode upper_mode, triangle side) {
  return on_side(is_complex<T> ? upper_mode : sym_mode::symmetric_upper, side);
}

template <class T>
constexpr mv_kernel<T> csr_conj_transposed() {
  if constexpr (is_complex<T>) {
    return csr_mv_conj_transposed<T>;
  } else {
    return csr_mv_transposed<T>;
  }
}
template <class T>
constexpr mv_kernel<T> csc_conj_transposed() {
  if constexpr (is_complex<T>) {
    return csc_mv_conj_transposed<T>;
  } else {
    return csc_mv_transposed<T>;
  }
}
template <class T, triangle Side, diagonal Ones>
constexpr mv_kernel<T> csr_triangle_conj_transposed() {
  if constexpr (is_complex<T>) {
    return tri_mv_rows_conj_transposed<Side, Ones, T>;
  } else {
    return tri_mv_rows_transposed<Side, Ones, T>;
  }
}

// Slots of the rows of csrmv_table.

template <class T>
inline constexpr csrmv_slots<T> general_by_rows =
    by_operation<T, mv_kernel<T>>(csr_mv_driver<T>, csr_mv_transposed<T>, csr_conj_transposed<T>());

template <class T, triangle Side, diagonal Ones>
inline constexpr csrmv_slots<T> symmetric_by_rows = by_symmetry<T, mv_kernel<T>>(
    sym_mv_rows<mode_in<T>(sym_mode::symmetric_upper, Side), Ones, T>,
    sym_mv_rows<mode_in<T>(sym_mode::symmetric_upper_conjugated, Side), Ones, T>);

template <class T, triangle Side, diagonal Ones>
inline constexpr csrmv_slots<T> hermitian_by_rows = by_hermitian_symmetry<T, mv_kernel<T>>(
    sym_mv_rows<mode_in<T>(sym_mode::hermitian_upper, Side), Ones, T>,
    sym_mv_rows<mode_in<T>(sym_mode::hermitian_upper_transposed, Side), Ones, T>);

template <class T, triangle Side, diagonal Ones>
inline constexpr csrmv_slots<T> triangular_by_rows =
    by_operation<T, mv_kernel<T>>(tri_mv_rows_driver<Side, Ones, T>,
                                  tri_mv_rows_transposed<Side, Ones, T>,
                                  csr_triangle_conj_transposed<T, Side, Ones>());

template <class T>
inline constexpr csrmv_slots<T> diagonal_by_rows =
    by_symmetry<T, mv_kernel<T>>(diag_mv_rows<conjugation::no, T>, diag_mv_rows<conjugated<T>, T>);

template <class T>
inline constexpr csrmv_slots<T> unit_diagonal_by_rows = same_for_all<mv_kernel<T>>(diag_mv_unit<T>);

// Slots of the rows of cscmv_table.

template <class T>
inline constexpr csrmv_slots<T> general_half =
    by_operation<T, mv_kernel<T>>(mv_scatter_driver<T>,
                                  csc_mv_transposed<T>,
                                  csc_conj_transposed<T>());
template <class T>
inline constexpr cscmv_slots<T> general_by_columns = in_halves(general_half<T>, general_half<T>);

template <class T, triangle Side, diagonal Ones>
inline constexpr cscmv_slots<T> symmetric_by_columns = in_halves(
    by_symmetry<T, mv_kernel<T>>(
        sym_mv_columns_driver<mode_in<T>(sym_mode::symmetric_upper, Side), Ones, T>,
        sym_mv_columns_driver<mode_in<T>(sym_mode::symmetric_upper_conjugated, Side), Ones, T>),
    by_symmetry<T, mv_kernel<T>>(
        sym_mv_short_columns<mode_in<T>(sym_mode::symmetric_upper, Side), Ones, T>,
        sym_mv_short_columns<mode_in<T>(sym_mode::symmetric_upper_conjugated, Side), Ones, T>));

template <class T, triangle Side, diagonal Ones>
inline constexpr cscmv_slots<T> hermitian_by_columns = in_halves(
    by_hermitian_symmetry<T, mv_kernel<T>>(
        sym_mv_columns_driver<mode_in<T>(sym_mode::hermitian_upper, Side), Ones, T>,
        sym_mv_columns_driver<mode_in<T>(sym_mode::hermitian_upper_transposed, Side), Ones, T>),
    by_hermitian_symmetry<T, mv_kernel<T>>(
        sym_mv_short_columns<mode_in<T>(sym_mode::hermitian_upper, Side), Ones, T>,
        sym_mv_short_columns<mode_in<T>(sym_mode::hermitian_upper_transposed, Side), Ones, T>));

template <class T, triangle Side, diagonal Ones>
inline constexpr cscmv_slots<T> triangular_by_columns =
    in_halves(by_operation<T, mv_kernel<T>>(tri_mv_columns_driver<Side, Ones, T>,
                                            tri_mv_dots_driver<Side, Ones, conjugation::no, T>,
                                            tri_mv_dots_driver<Side, Ones, conjugated<T>, T>),
              by_operation<T, mv_kernel<T>>(tri_mv_short_columns<Side, Ones, T>,
                                            tri_mv_short_dots<Side, Ones, conjugation::no, T>,
                                            tri_mv_short_dots<Side, Ones, conjugated<T>, T>));

template <class T>
inline constexpr csrmv_slots<T> diagonal_half =
    by_symmetry<T, mv_kernel<T>>(diag_mv_columns<conjugation::no, T>,
                                 diag_mv_columns<conjugated<T>, T>);
template <class T>
inline constexpr cscmv_slots<T> diagonal_by_columns = in_halves(diagonal_half<T>, diagonal_half<T>);

template <class T>
inline constexpr csrmv_slots<T> unit_diagonal_half =
    same_for_all<mv_kernel<T>>(diag_mv_columns_unit<T>);
template <class T>
inline constexpr cscmv_slots<T> unit_diagonal_by_columns =
    in_halves(unit_diagonal_half<T>, unit_diagonal_half<T>);

// clang-format off
template <class T>
inline constexpr csrmv_row<T> csrmv_table[] = {
    // code  base  structure                     kernels by operation
    {"G00F", 1, matrix_structure::general,    general_by_rows<T>},
    {"G00C", 0, matrix_structure::general,    general_by_rows<T>},
    {"SLNF", 1, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::lower, diagonal::stored>},
    {"SLNC", 0, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::lower, diagonal::stored>},
    {"SLUF", 1, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::lower, diagonal::unit>},
    {"SLUC", 0, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::lower, diagonal::unit>},
    {"SUNF", 1, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::upper, diagonal::stored>},
    {"SUNC", 0, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::upper, diagonal::stored>},
    {"SUUF", 1, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::upper, diagonal::unit>},
    {"SUUC", 0, matrix_structure::symmetric,  symmetric_by_rows<T, triangle::upper, diagonal::unit>},
    {"HLNF", 1, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::lower, diagonal::stored>},
    {"HLNC", 0, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::lower, diagonal::stored>},
    {"HLUF", 1, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::lower, diagonal::unit>},
    {"HLUC", 0, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::lower, diagonal::unit>},
    {"HUNF", 1, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::upper, diagonal::stored>},
    {"HUNC", 0, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::upper, diagonal::stored>},
    {"HUUF", 1, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::upper, diagonal::unit>},
    {"HUUC", 0, matrix_structure::hermitian,  hermitian_by_rows<T, triangle::upper, diagonal::unit>},
    {"TLNF", 1, matrix_structure::triangular, triangular_by_rows<T, triangle::lower, diagonal::stored>},
    {"TLNC", 0, matrix_structure::triangular, triangular_by_rows<T, triangle::lower, diagonal::stored>},
    {"TLUF", 1, matrix_structure::triangular, triangular_by_rows<T, triangle::lower, diagonal::unit>},
    {"TLUC", 0, matrix_structure::triangular, triangular_by_rows<T, triangle::lower, diagonal::unit>},
    {"TUNF", 1, matrix_structure::triangular, triangular_by_rows<T, triangle::upper, diagonal::stored>},
    {"TUNC", 0, matrix_structure::triangular, triangular_by_rows<T, triangle::upper, diagonal::stored>},
    {"TUUF", 1, matrix_structure::triangular, triangular_by_rows<T, triangle::upper, diagonal::unit>},
    {"TUUC", 0, matrix_structure::triangular, triangular_by_rows<T, triangle::upper, diagonal::unit>},
    {"D0NF", 1, matrix_structure::diagonal,   diagonal_by_rows<T>},
    {"D0NC", 0, matrix_structure::diagonal,   diagonal_by_rows<T>},
    {"D0UF", 1, matrix_structure::diagonal,   unit_diagonal_by_rows<T>},
    {"D0UC", 0, matrix_structure::diagonal,   unit_diagonal_by_rows<T>},
};

template <class T>
inline constexpr cscmv_row<T> cscmv_table[] = {
    // code  base  structure                     kernels by operation, long columns then short ones
    {"G00F", 1, matrix_structure::general,    general_by_columns<T>},
    {"G00C", 0, matrix_structure::general,    general_by_columns<T>},
    {"SLNF", 1, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::lower, diagonal::stored>},
    {"SLNC", 0, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::lower, diagonal::stored>},
    {"SLUF", 1, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::lower, diagonal::unit>},
    {"SLUC", 0, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::lower, diagonal::unit>},
    {"SUNF", 1, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::upper, diagonal::stored>},
    {"SUNC", 0, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::upper, diagonal::stored>},
    {"SUUF", 1, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::upper, diagonal::unit>},
    {"SUUC", 0, matrix_structure::symmetric,  symmetric_by_columns<T, triangle::upper, diagonal::unit>},
    {"TLNF", 1, matrix_structure::triangular, triangular_by_columns<T, triangle::lower, diagonal::stored>},
    {"TLNC", 0, matrix_structure::triangular, triangular_by_columns<T, triangle::lower, diagonal::stored>},
    {"TLUF", 1, matrix_structure::triangular, triangular_by_columns<T, triangle::lower, diagonal::unit>},
    {"TLUC", 0, matrix_structure::triangular, triangular_by_columns<T, triangle::lower, diagonal::unit>},
    {"TUNF", 1, matrix_structure::triangular, triangular_by_columns<T, triangle::upper, diagonal::stored>},
    {"TUNC", 0, matrix_structure::triangular, triangular_by_columns<T, triangle::upper, diagonal::stored>},
    {"TUUF", 1, matrix_structure::triangular, triangular_by_columns<T, triangle::upper, diagonal::unit>},
    {"TUUC", 0, matrix_structure::triangular, triangular_by_columns<T, triangle::upper, diagonal::unit>},
    {"D0NF", 1, matrix_structure::diagonal,   diagonal_by_columns<T>},
    {"D0NC", 0, matrix_structure::diagonal,   diagonal_by_columns<T>},
    {"D0UF", 1, matrix_structure::diagonal,   unit_diagonal_by_columns<T>},
    {"D0UC", 0, matrix_structure::diagonal,   unit_diagonal_by_columns<T>},
    {"HLNF", 1, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::lower, diagonal::stored>},
    {"HLNC", 0, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::lower, diagonal::stored>},
    {"HLUF", 1, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::lower, diagonal::unit>},
    {"HLUC", 0, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::lower, diagonal::unit>},
    {"HUNF", 1, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::upper, diagonal::stored>},
    {"HUNC", 0, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::upper, diagonal::stored>},
    {"HUUF", 1, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::upper, diagonal::unit>},
    {"HUUC", 0, matrix_structure::hermitian,  hermitian_by_columns<T, triangle::upper, diagonal::unit>},
};
// clang-format on

#define NEVRAD_TABLES_HOLD(letter, T)                                                \
  static_assert(std::size(csrmv_table<T>) == 30 && std::size(cscmv_table<T>) == 30); \
  static_assert(table_is_consistent(csrmv_table<T>, true));                          \
  static_assert(table_is_consistent(cscmv_table<T>, true));                          \
  static_assert(table_is_full(csrmv_table<T>) && table_is_full(cscmv_table<T>));
NEVRAD_FOR_EACH_TYPE(NEVRAD_TABLES_HOLD)
#undef NEVRAD_TABLES_HOLD

// Rows that entries without a descriptor address by place: the general ones, and the symmetric ones
// from the lower triangle on, four rows further for the upper one.
inline constexpr int general_row_one_based = 0;
inline constexpr int general_row_zero_based = 1;
inline constexpr int symmetric_row_one_based = 2;
inline constexpr int symmetric_row_zero_based = 3;
inline constexpr int rows_a_triangle = 4;

// Write the base, structure and kernels of the row that the text selects; 3 when none does.
template <class Row, int Rows, class Kernel>
status find_mv_row(const Row (&table)[Rows],
                   const char* matdescra,
                   std::int32_t* one_based,
                   matrix_structure* structure,
                   const Kernel** kernels) {
  const Row* const row = find_row(table, matdescra);
  if (row == nullptr) return invalid_value;
  *one_based = row->one_based;
  *structure = row->structure;
  *kernels = row->kernels.at;
  return success;
}
template <class T>
status find_csrmv_row(const char* matdescra,
                      std::int32_t* one_based,
                      matrix_structure* structure,
                      const mv_kernel<T>** kernels) {
  return find_mv_row(csrmv_table<T>, matdescra, one_based, structure, kernels);
}
template <class T>
status find_cscmv_row(const char* matdescra,
                      std::int32_t* one_based,
                      matrix_structure* structure,
                      const mv_kernel<T>** kernels) {
  return find_mv_row(cscmv_table<T>, matdescra, one_based, structure, kernels);
}

}  // namespace nevrad
