// Frames of the products with a symmetric, Hermitian or triangular matrix: an expansion makes a
// general matrix of the stored triangle, and a gate of the general product multiplies with it as it
// is. Transposition and conjugation are the expansion's business. The product goes straight from
// the triangle instead where that gives the same bits and is worth it (line_products.h).
//
// A frame answers with the status of the expansion, C untouched, or with that of the gate. Frames
// for compressed columns read the arrays as the rows of the transpose, in which the triangles have
// changed places, or convert them first.
#pragma once

#include "matrix/expand.h"
#include "matrix/transpose.h"
#include "mm/general.h"
#include "mm/line_products.h"

namespace nevrad {

// What a slot knows of its matrix, how it makes it general, and what multiplies.
template <class T>
struct structure {
  triangle side;
  diagonal ones;
  expansion<T> expand;
  mm_kernel<T> gate;
};

template <class T>
using mm_frame = status (*)(const compressed_matrix<T>* a,
                            const mm_operands<T>& dense,
                            const structure<T>& how);

// Compressed rows. Answers 1 for a null.
template <class T>
status mm_structured(const compressed_matrix<T>* a,
                     const mm_operands<T>& dense,
                     const structure<T>& how);

// Compressed columns, read as rows of the transpose. Answers 3 for a null.
template <class T>
status mm_structured_view(const compressed_matrix<T>* a,
                          const mm_operands<T>& dense,
                          const structure<T>& how);

// Compressed columns, converted to rows. Answers 3 for a null, and for a matrix without entries.
template <class T>
status mm_structured_converted(const compressed_matrix<T>* a,
                               const mm_operands<T>& dense,
                               const structure<T>& how);

// A slot of a structured row: one frame with its constants.
template <class T,
          mm_frame<T> Frame,
          triangle Side,
          diagonal Ones,
          expansion<T> Expand,
          mm_kernel<T> Gate>
status mm_structured_slot(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return Frame(&a, dense, {Side, Ones, Expand, Gate});
}

// A general slot of compressed columns: the rows of the transpose as they are.
template <class T, mm_kernel<T> Gate>
status mm_csc_view(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  compressed_matrix<T> view;
  csc_view_as_csr(&a, &view);
  return Gate(view, dense);
}

// A general slot of compressed columns: converted to rows. Answers 3 for a matrix without entries.
template <class T, mm_kernel<T> Gate>
status mm_csc_converted(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  status result = success;
  constexpr bool plain = Gate == mm_cols_sorted<T> || Gate == mm_rows_sorted<T>;
  constexpr dense_layout layout =
      Gate == mm_cols_sorted<T> ? dense_layout::column_major : dense_layout::row_major;
  if constexpr (plain) {
    compressed_matrix<T> view;
    csc_view_as_csr(&a, &view);
    if (multiply_transposed(view, conjugation::no, layout, dense, &result)) return result;
  }
  scoped_matrix<T> converted;
  result = csc_to_csr(&a, converted.out());
  return result != success ? result : Gate(*converted, dense);
}

}  // namespace nevrad
