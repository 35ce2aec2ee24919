// Structure expansion: a general matrix out of the stored triangle of a square one, so that the
// products need kernels for general matrices alone.
//
// The source is a square CSR record of any base; it may hold both triangles and only the entries of
// the named one are taken, in any order within a row. With diagonal::unit a stored diagonal is
// ignored and each row gets a one; with diagonal::stored a missing diagonal entry stays missing.
//
// Every result is square, of base 0, with ascending rows (sorted 1), and the caller's. Two linear
// passes, no sort: a transposition that filters, then one that mirrors. All answer 2 when memory is
// short; a triangle without entries gives a result without entries.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// What becomes of a taken entry (i, c): at its own place, of its image at (c, i), and on the
// diagonal, where the two are one.
enum class entry_use { none, plain, conjugated };
struct expansion_form {
  entry_use own;
  entry_use image;
  entry_use on_diagonal;
};

template <class T>
using expansion = status (*)(const compressed_matrix<T>& source,
                             triangle side,
                             diagonal ones,
                             owned_matrix<T>** out);

// A plus its transpose off the diagonal.
template <class T>
status expand_symmetric(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out);

// The conjugate of that, diagonal included. `c`, `z`.
template <class T>
status expand_symmetric_conjugate(const compressed_matrix<T>& source,
                                  triangle side,
                                  diagonal ones,
                                  owned_matrix<T>** out);

// The taken entries as they are, their mirror images conjugated, the diagonal as stored. `c`, `z`.
template <class T>
status expand_hermitian(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out);

// The taken entries conjugated, their mirror images as they are, the diagonal as stored: the
// transpose of a Hermitian matrix. `c`, `z`.
template <class T>
status expand_hermitian_conjugate(const compressed_matrix<T>& source,
                                  triangle side,
                                  diagonal ones,
                                  owned_matrix<T>** out);

// The triangle by itself, its transpose, and its conjugate transpose (`c`, `z`).
template <class T>
status extract_triangle(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out);
template <class T>
status extract_triangle_transposed(const compressed_matrix<T>& source,
                                   triangle side,
                                   diagonal ones,
                                   owned_matrix<T>** out);
template <class T>
status extract_triangle_conjugate_transposed(const compressed_matrix<T>& source,
                                             triangle side,
                                             diagonal ones,
                                             owned_matrix<T>** out);

// Which of the seven an expansion is. It must be one of them.
template <class T>
expansion_form form_of(expansion<T> expand);

}  // namespace nevrad
