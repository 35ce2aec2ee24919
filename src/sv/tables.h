// Kernels of the solves with one right-hand side, by descriptor and operation.
//
// General, symmetric and Hermitian codes have no row. The structure of a row is read by nobody and
// is general throughout.
#pragma once

#include "frame/descriptor.h"
#include "sv/kernels.h"

namespace nevrad {

template <class T>
using sv_row = descra_row<sv_kernel<T>>;

template <class T, triangle Side, diagonal D>
constexpr kernel_slots<sv_kernel<T>, 3> csr_solves() {
  return by_operation<T, sv_kernel<T>>(csr_tri_solve<Side, D, T>,
                                       csr_tri_solve_transposed<Side, D, conjugation::no, T>,
                                       csr_tri_solve_transposed<Side, D, conjugated<T>, T>);
}

template <class T, triangle Side, diagonal D>
constexpr kernel_slots<sv_kernel<T>, 3> csc_solves() {
  return by_operation<T, sv_kernel<T>>(csc_tri_solve<Side, D, T>,
                                       csc_tri_solve_transposed<Side, D, conjugation::no, T>,
                                       csc_tri_solve_transposed<Side, D, conjugated<T>, T>);
}

template <class T, diagonal D>
constexpr kernel_slots<sv_kernel<T>, 3> diagonal_solves() {
  if constexpr (D == diagonal::stored) {
    return by_symmetry<T, sv_kernel<T>>(diag_solve<conjugation::no, T>,
                                        diag_solve<conjugated<T>, T>);
  } else {
    return same_for_all<sv_kernel<T>>(diag_solve_unit<T>);
  }
}

// clang-format off
template <class T>
inline constexpr sv_row<T> csrsv_table[] = {
    // code   base  structure                  kernels: none, transpose, conjugate transpose
    {"TLNF",  1,    matrix_structure::general, csr_solves<T, triangle::lower, diagonal::stored>()},
    {"TLNC",  0,    matrix_structure::general, csr_solves<T, triangle::lower, diagonal::stored>()},
    {"TLUF",  1,    matrix_structure::general, csr_solves<T, triangle::lower, diagonal::unit>()},
    {"TLUC",  0,    matrix_structure::general, csr_solves<T, triangle::lower, diagonal::unit>()},
    {"TUNF",  1,    matrix_structure::general, csr_solves<T, triangle::upper, diagonal::stored>()},
    {"TUNC",  0,    matrix_structure::general, csr_solves<T, triangle::upper, diagonal::stored>()},
    {"TUUF",  1,    matrix_structure::general, csr_solves<T, triangle::upper, diagonal::unit>()},
    {"TUUC",  0,    matrix_structure::general, csr_solves<T, triangle::upper, diagonal::unit>()},
    {"D0NF",  1,    matrix_structure::general, diagonal_solves<T, diagonal::stored>()},
    {"D0NC",  0,    matrix_structure::general, diagonal_solves<T, diagonal::stored>()},
    {"D0UF",  1,    matrix_structure::general, diagonal_solves<T, diagonal::unit>()},
    {"D0UC",  0,    matrix_structure::general, diagonal_solves<T, diagonal::unit>()},
};

template <class T>
inline constexpr sv_row<T> cscsv_table[] = {
    // code   base  structure                  kernels: none, transpose, conjugate transpose
    {"TLNF",  1,    matrix_structure::general, csc_solves<T, triangle::lower, diagonal::stored>()},
    {"TLNC",  0,    matrix_structure::general, csc_solves<T, triangle::lower, diagonal::stored>()},
    {"TLUF",  1,    matrix_structure::general, csc_solves<T, triangle::lower, diagonal::unit>()},
    {"TLUC",  0,    matrix_structure::general, csc_solves<T, triangle::lower, diagonal::unit>()},
    {"TUNF",  1,    matrix_structure::general, csc_solves<T, triangle::upper, diagonal::stored>()},
    {"TUNC",  0,    matrix_structure::general, csc_solves<T, triangle::upper, diagonal::stored>()},
    {"TUUF",  1,    matrix_structure::general, csc_solves<T, triangle::upper, diagonal::unit>()},
    {"TUUC",  0,    matrix_structure::general, csc_solves<T, triangle::upper, diagonal::unit>()},
    {"D0NF",  1,    matrix_structure::general, diagonal_solves<T, diagonal::stored>()},
    {"D0NC",  0,    matrix_structure::general, diagonal_solves<T, diagonal::stored>()},
    {"D0UF",  1,    matrix_structure::general, diagonal_solves<T, diagonal::unit>()},
    {"D0UC",  0,    matrix_structure::general, diagonal_solves<T, diagonal::unit>()},
};
// clang-format on

// The row of a solve that is told its triangle, diagonal and base in place of a descriptor.
constexpr unsigned triangle_row(unsigned upper, unsigned unit, unsigned zero_based) {
  return 4 * upper + 2 * unit + zero_based;
}

template <class T>
constexpr bool triangle_rows_stand_in_place() {
  for (unsigned place = 0; place < 8; ++place) {
    const char* const code = csrsv_table<T>[place].code;
    if (code[0] != 'T') return false;
    if (place != triangle_row(code[1] == 'U', code[2] == 'U', code[3] == 'C')) return false;
  }
  return true;
}

template <class T>
constexpr bool solve_tables_hold() {
  return sizeof(csrsv_table<T>) == 12 * sizeof(sv_row<T>) &&
         sizeof(cscsv_table<T>) == sizeof(csrsv_table<T>) &&
         table_is_consistent(csrsv_table<T>, false) && table_is_consistent(cscsv_table<T>, false) &&
         table_is_full(csrsv_table<T>) && table_is_full(cscsv_table<T>) &&
         triangle_rows_stand_in_place<T>();
}
#define NEVRAD_HOLD_TABLES(letter, T) static_assert(solve_tables_hold<T>());
NEVRAD_FOR_EACH_TYPE(NEVRAD_HOLD_TABLES)
#undef NEVRAD_HOLD_TABLES

// Writes the base and kernels of the row that the text selects; 3 when none does.
template <class T, int Rows>
status find_solve_row(const sv_row<T> (&table)[Rows],
                      const char* matdescra,
                      std::int32_t* one_based,
                      const sv_kernel<T>** kernels) {
  const sv_row<T>* const row = find_row(table, matdescra);
  if (row == nullptr) return invalid_value;
  *one_based = row->one_based;
  *kernels = row->kernels.at;
  return success;
}
template <class T>
status find_csrsv_row(const char* matdescra,
                      std::int32_t* one_based,
                      const sv_kernel<T>** kernels) {
  return find_solve_row(csrsv_table<T>, matdescra, one_based, kernels);
}

}  // namespace nevrad
