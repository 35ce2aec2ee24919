// Kernels of the matrix-matrix products, by descriptor and operation.
//
// A structured slot is a frame, an expansion, a triangle, a diagonal and a gate. One generator a
// storage makes the three slots of a row out of the four letters of its code.
#pragma once

#include "frame/descriptor.h"
#include "mm/diagonal.h"
#include "mm/general.h"
#include "mm/structured.h"

#include <iterator>

namespace nevrad {

template <class T>
using mm_row = descra_row<mm_kernel<T>>;
template <class T>
using mm_slots = kernel_slots<mm_kernel<T>, 3>;

// The letters of a code as constants.
template <char Side>
inline constexpr triangle side_of = Side == 'U' ? triangle::upper : triangle::lower;
template <char Ones>
inline constexpr diagonal ones_of = Ones == 'U' ? diagonal::unit : diagonal::stored;

// Gates of the layout that the last letter names.
template <class T, char Layout>
inline constexpr mm_kernel<T> sorted_gate = Layout == 'F' ? mm_cols_sorted<T> : mm_rows_sorted<T>;
template <class T, char Layout>
inline constexpr mm_kernel<T> transposing_gate =
    Layout == 'F' ? mm_cols_transposed<T> : mm_rows_transposed<T>;
template <class T, char Layout>
inline constexpr mm_kernel<T> conjugating_gate =
    Layout == 'F' ? mm_cols_conjugated<T> : mm_rows_conjugated<T>;

// A structured slot, short.
template <class T, mm_frame<T> Frame, expansion<T> Expand, triangle Side, char Ones, char Layout>
inline constexpr mm_kernel<T> slot =
    mm_structured_slot<T, Frame, Side, ones_of<Ones>, Expand, sorted_gate<T, Layout>>;

// Compressed rows. Only the letters of the code that a structure has are looked at.
template <class T, char Structure, char Side, char Ones, char Layout>
constexpr mm_slots<T> csrmm_slots() {
  constexpr triangle side = side_of<Side>;
  if constexpr (Structure == 'G') {
    if constexpr (is_complex<T>) {
      return {{sorted_gate<T, Layout>, transposing_gate<T, Layout>, conjugating_gate<T, Layout>}};
    } else {
      return {{sorted_gate<T, Layout>, transposing_gate<T, Layout>, transposing_gate<T, Layout>}};
    }
  } else if constexpr (Structure == 'D' && Ones == 'N') {
    constexpr bool cols = Layout == 'F';
    constexpr mm_kernel<T> serial = cols ? diag_mm_cols_serial<T> : diag_mm_rows_serial<T>;
    return {
        {serial, serial,
         cols ? diag_mm_cols_parallel<conjugated<T>, T> : diag_mm_rows_parallel<conjugated<T>, T>}};
  } else if constexpr (Structure == 'D') {
    constexpr bool cols = Layout == 'F';
    constexpr mm_kernel<T> serial = cols ? unit_mm_cols_serial<T> : unit_mm_rows_serial<T>;
    return {{serial, serial, cols ? unit_mm_cols_parallel<T> : unit_mm_rows_parallel<T>}};
  } else if constexpr (Structure == 'T') {
    constexpr auto plain = slot<T, mm_structured<T>, extract_triangle<T>, side, Ones, Layout>;
    constexpr auto transposed =
        slot<T, mm_structured<T>, extract_triangle_transposed<T>, side, Ones, Layout>;
    if constexpr (is_complex<T>) {
      return {{plain, transposed,
               slot<T, mm_structured<T>, extract_triangle_conjugate_transposed<T>, side, Ones,
                    Layout>}};
    } else {
      return {{plain, transposed, transposed}};
    }
  } else if constexpr (Structure == 'H' && is_complex<T>) {
    constexpr auto plain = slot<T, mm_structured<T>, expand_hermitian<T>, side, Ones, Layout>;
    return {{plain, slot<T, mm_structured<T>, expand_hermitian_conjugate<T>, side, Ones, Layout>,
             plain}};
  } else {
    constexpr auto plain = slot<T, mm_structured<T>, expand_symmetric<T>, side, Ones, Layout>;
    if constexpr (is_complex<T>) {
      return {{plain, plain,
               slot<T, mm_structured<T>, expand_symmetric_conjugate<T>, side, Ones, Layout>}};
    } else {
      return {{plain, plain, plain}};
    }
  }
}

// Compressed columns. Seen as rows of the transpose, the triangles have changed places, the
// triangular slots 0 and 1 too, and Hermitian slots their conjugation.
template <class T, char Structure, char Side, char Ones, char Layout>
constexpr mm_slots<T> cscmm_slots() {
  constexpr triangle side = opposite(side_of<Side>);
  if constexpr (Structure == 'G') {
    constexpr mm_kernel<T> plain = mm_csc_converted<T, sorted_gate<T, Layout>>;
    constexpr mm_kernel<T> transposed = mm_csc_view<T, sorted_gate<T, Layout>>;
    if constexpr (is_complex<T>) {
      return {{plain, transposed, mm_csc_converted<T, conjugating_gate<T, Layout>>}};
    } else {
      return {{plain, transposed, transposed}};
    }
  } else if constexpr (Structure == 'D' && Ones == 'N') {
    constexpr bool cols = Layout == 'F';
    constexpr mm_kernel<T> plain = cols ? diag_mm_cols_parallel<conjugation::no, T>
                                        : diag_mm_rows_parallel<conjugation::no, T>;
    return {
        {plain, plain,
         cols ? diag_mm_cols_parallel<conjugated<T>, T> : diag_mm_rows_parallel<conjugated<T>, T>}};
  } else if constexpr (Structure == 'D') {
    constexpr mm_kernel<T> plain =
        Layout == 'F' ? unit_mm_cols_parallel<T> : unit_mm_rows_parallel<T>;
    return {{plain, plain, plain}};
  } else if constexpr (Structure == 'T') {
    constexpr auto plain =
        slot<T, mm_structured_view<T>, extract_triangle_transposed<T>, side, Ones, Layout>;
    constexpr auto transposed =
        slot<T, mm_structured_view<T>, extract_triangle<T>, side, Ones, Layout>;
    if constexpr (is_complex<T>) {
      // Converted to rows, the triangle is its own.
      return {{plain, transposed,
               slot<T, mm_structured_converted<T>, extract_triangle_conjugate_transposed<T>,
                    side_of<Side>, Ones, Layout>}};
    } else {
      return {{plain, transposed, transposed}};
    }
  } else if constexpr (Structure == 'H' && is_complex<T>) {
    constexpr auto plain =
        slot<T, mm_structured_view<T>, expand_hermitian_conjugate<T>, side, Ones, Layout>;
    return {
        {plain, slot<T, mm_structured_view<T>, expand_hermitian<T>, side, Ones, Layout>, plain}};
  } else {
    constexpr auto plain = slot<T, mm_structured_view<T>, expand_symmetric<T>, side, Ones, Layout>;
    if constexpr (is_complex<T>) {
      return {{plain, plain,
               slot<T, mm_structured_view<T>, expand_symmetric_conjugate<T>, side, Ones, Layout>}};
    } else {
      return {{plain, plain, plain}};
    }
  }
}

// clang-format off
template <class T>
inline constexpr mm_row<T> csrmm_table[] = {
    // code   base  structure                      kernels: none, transpose, conjugate transpose
    {"G00F",  1,    matrix_structure::general,       csrmm_slots<T, 'G', '0', '0', 'F'>()},
    {"G00C",  0,    matrix_structure::general,       csrmm_slots<T, 'G', '0', '0', 'C'>()},
    {"SLNF",  1,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'L', 'N', 'F'>()},
    {"SLNC",  0,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'L', 'N', 'C'>()},
    {"SLUF",  1,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'L', 'U', 'F'>()},
    {"SLUC",  0,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'L', 'U', 'C'>()},
    {"SUNF",  1,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'U', 'N', 'F'>()},
    {"SUNC",  0,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'U', 'N', 'C'>()},
    {"SUUF",  1,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'U', 'U', 'F'>()},
    {"SUUC",  0,    matrix_structure::symmetric,     csrmm_slots<T, 'S', 'U', 'U', 'C'>()},
    {"HLNF",  1,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'L', 'N', 'F'>()},
    {"HLNC",  0,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'L', 'N', 'C'>()},
    {"HLUF",  1,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'L', 'U', 'F'>()},
    {"HLUC",  0,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'L', 'U', 'C'>()},
    {"HUNF",  1,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'U', 'N', 'F'>()},
    {"HUNC",  0,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'U', 'N', 'C'>()},
    {"HUUF",  1,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'U', 'U', 'F'>()},
    {"HUUC",  0,    matrix_structure::hermitian,     csrmm_slots<T, 'H', 'U', 'U', 'C'>()},
    {"TLNF",  1,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'L', 'N', 'F'>()},
    {"TLNC",  0,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'L', 'N', 'C'>()},
    {"TLUF",  1,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'L', 'U', 'F'>()},
    {"TLUC",  0,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'L', 'U', 'C'>()},
    {"TUNF",  1,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'U', 'N', 'F'>()},
    {"TUNC",  0,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'U', 'N', 'C'>()},
    {"TUUF",  1,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'U', 'U', 'F'>()},
    {"TUUC",  0,    matrix_structure::triangular,    csrmm_slots<T, 'T', 'U', 'U', 'C'>()},
    {"D0NF",  1,    matrix_structure::diagonal,      csrmm_slots<T, 'D', '0', 'N', 'F'>()},
    {"D0NC",  0,    matrix_structure::diagonal,      csrmm_slots<T, 'D', '0', 'N', 'C'>()},
    {"D0UF",  1,    matrix_structure::diagonal,      csrmm_slots<T, 'D', '0', 'U', 'F'>()},
    {"D0UC",  0,    matrix_structure::diagonal,      csrmm_slots<T, 'D', '0', 'U', 'C'>()},
};

template <class T>
inline constexpr mm_row<T> cscmm_table[] = {
    // code   base  structure                      kernels: none, transpose, conjugate transpose
    {"G00F",  1,    matrix_structure::general,       cscmm_slots<T, 'G', '0', '0', 'F'>()},
    {"G00C",  0,    matrix_structure::general,       cscmm_slots<T, 'G', '0', '0', 'C'>()},
    {"SUNF",  1,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'U', 'N', 'F'>()},
    {"SUNC",  0,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'U', 'N', 'C'>()},
    {"SLNF",  1,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'L', 'N', 'F'>()},
    {"SLNC",  0,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'L', 'N', 'C'>()},
    {"SUUF",  1,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'U', 'U', 'F'>()},
    {"SUUC",  0,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'U', 'U', 'C'>()},
    {"SLUF",  1,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'L', 'U', 'F'>()},
    {"SLUC",  0,    matrix_structure::symmetric,     cscmm_slots<T, 'S', 'L', 'U', 'C'>()},
    {"TLNF",  1,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'L', 'N', 'F'>()},
    {"TLNC",  0,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'L', 'N', 'C'>()},
    {"TLUF",  1,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'L', 'U', 'F'>()},
    {"TLUC",  0,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'L', 'U', 'C'>()},
    {"TUNF",  1,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'U', 'N', 'F'>()},
    {"TUNC",  0,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'U', 'N', 'C'>()},
    {"TUUF",  1,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'U', 'U', 'F'>()},
    {"TUUC",  0,    matrix_structure::triangular,    cscmm_slots<T, 'T', 'U', 'U', 'C'>()},
    {"HLNF",  1,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'L', 'N', 'F'>()},
    {"HLNC",  0,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'L', 'N', 'C'>()},
    {"HLUF",  1,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'L', 'U', 'F'>()},
    {"HLUC",  0,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'L', 'U', 'C'>()},
    {"HUNF",  1,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'U', 'N', 'F'>()},
    {"HUNC",  0,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'U', 'N', 'C'>()},
    {"HUUF",  1,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'U', 'U', 'F'>()},
    {"HUUC",  0,    matrix_structure::hermitian,     cscmm_slots<T, 'H', 'U', 'U', 'C'>()},
    {"D0NF",  1,    matrix_structure::diagonal,      cscmm_slots<T, 'D', '0', 'N', 'F'>()},
    {"D0NC",  0,    matrix_structure::diagonal,      cscmm_slots<T, 'D', '0', 'N', 'C'>()},
    {"D0UF",  1,    matrix_structure::diagonal,      cscmm_slots<T, 'D', '0', 'U', 'F'>()},
    {"D0UC",  0,    matrix_structure::diagonal,      cscmm_slots<T, 'D', '0', 'U', 'C'>()},
};
// clang-format on

template <class T>
constexpr bool mm_tables_hold() {
  return std::size(csrmm_table<T>) == 30 && std::size(cscmm_table<T>) == 30 &&
         table_is_consistent(csrmm_table<T>, true) && table_is_consistent(cscmm_table<T>, true) &&
         table_is_full(csrmm_table<T>) && table_is_full(cscmm_table<T>);
}
static_assert(mm_tables_hold<float>() && mm_tables_hold<double>());
static_assert(mm_tables_hold<complex32>() && mm_tables_hold<complex64>());

}  // namespace nevrad
