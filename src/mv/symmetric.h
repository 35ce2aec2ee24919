// y = alpha op(A) x + beta y for a symmetric or Hermitian matrix of which one triangle counts.
//
// A stored entry a at line i, index j, off the diagonal, stands for two elements and is used twice:
// gathered, into y_i with x_j, and mirrored, into y_j with x_i. The matrix is never expanded; what
// is stored on the other side of the diagonal is skipped.
#pragma once

#include "arith/element.h"
#include "matrix/record.h"

namespace nevrad {

// Which of the three uses of a stored element takes its conjugate.
struct mirror_terms {
  conjugation gather;
  conjugation mirror;
  conjugation diagonal;
};

// The walks over columns, by structure, stored triangle and operation. Real types: 4 and 5 only.
enum class sym_mode : std::int32_t {
  hermitian_upper,             // op = A or A^H
  hermitian_lower,             // op = A or A^H
  hermitian_upper_transposed,  // op = A^T
  hermitian_lower_transposed,  // op = A^T
  symmetric_upper,             // op = A or A^T
  symmetric_lower,             // op = A or A^T
  symmetric_upper_conjugated,  // op = A^H
  symmetric_lower_conjugated,  // op = A^H
};

// The diagonal of a Hermitian matrix is used as stored: its imaginary part is not dropped.
// clang-format off
inline constexpr mirror_terms sym_mode_terms[] = {
    // gather            mirror            diagonal
    {conjugation::yes, conjugation::no,  conjugation::no},   // hermitian_upper
    {conjugation::yes, conjugation::no,  conjugation::no},   // hermitian_lower
    {conjugation::no,  conjugation::yes, conjugation::yes},  // hermitian_upper_transposed
    {conjugation::no,  conjugation::yes, conjugation::yes},  // hermitian_lower_transposed
    {conjugation::no,  conjugation::no,  conjugation::no},   // symmetric_upper
    {conjugation::no,  conjugation::no,  conjugation::no},   // symmetric_lower
    {conjugation::yes, conjugation::yes, conjugation::yes},  // symmetric_upper_conjugated
    {conjugation::yes, conjugation::yes, conjugation::yes},  // symmetric_lower_conjugated
};
// clang-format on

constexpr mirror_terms terms_of(sym_mode mode) { return sym_mode_terms[static_cast<int>(mode)]; }
constexpr triangle side_of(sym_mode mode) {
  return static_cast<int>(mode) % 2 == 0 ? triangle::upper : triangle::lower;
}
constexpr bool is_hermitian(sym_mode mode) { return mode < sym_mode::symmetric_upper; }

// The mode of a walk for a side, given the mode of its upper form.
constexpr sym_mode on_side(sym_mode upper_mode, triangle side) {
  return static_cast<sym_mode>(static_cast<int>(upper_mode) + (side == triangle::lower ? 1 : 0));
}

// A form of the line walk: the kept side as the lines see it (a column-stored upper triangle is a
// lower one to the walk), and how each use of an element is taken.
struct mirror_form {
  triangle side;
  diagonal ones;
  mirror_terms terms;
  bool hermitian;
};

// A matrix stored by rows mirrors what one stored by columns gathers.
constexpr mirror_form row_form(sym_mode mode, diagonal ones) {
  const mirror_terms terms = terms_of(mode);
  return {side_of(mode), ones, {terms.mirror, terms.gather, terms.diagonal}, is_hermitian(mode)};
}
constexpr mirror_form column_form(sym_mode mode, diagonal ones) {
  return {opposite(side_of(mode)), ones, terms_of(mode), is_hermitian(mode)};
}

// Lines line_begin up to but excluding line_end, added to y, which may be a private vector and is
// expected prepared. Line i in ascending order:
//
//   acc = 0, or x_i with a diagonal of ones
//   for each kept entry in storage order: acc += a x_j; off the diagonal also y_j += a (alpha x_i)
//   y_i += acc alpha
//
// One accumulator; entries go one by one, so an index may repeat. Symmetric forms fuse each step
// (complex: two rotations, the element first), count from begin[0], and add 0 * alpha to y_i in the
// end, so an infinite or NaN alpha gives NaN. Hermitian forms add whole products, count from the
// base, and do not.
template <mirror_form Form, class T>
void sym_mv_lines(const T& alpha,
                  const compressed_view<T>& a,
                  const T* x,
                  T* y,
                  std::int32_t line_begin,
                  std::int32_t line_end);

// Kernels of the tables. A real type has the two plain symmetric modes only.

// Stored by rows. On one thread the line kernel runs on y directly, which is scaled before, or, of
// real types, where lines first meet it. Otherwise each
// of up to `budget` chunks of rows has a cleared vector of its own, and these are added to beta y
// in ascending order: the same bits whatever the team. Answers 2, with y untouched, when the
// scratch of budget * rows elements cannot be had.
template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_rows(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// Stored by columns, with ascending indices. Columns are handed out as threads get free, each
// thread has a cleared vector, and these are added to beta y (plus alpha x for a diagonal of ones)
// in ascending order of thread. Which thread takes a column decides the rounding, so the last bits
// may differ from run to run. Answers 2, with y already scaled, when the scratch cannot be had.
template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_columns_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

// The same for short columns: on one thread the line kernel on y itself, without scratch, and
// indices may come in any order.
template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_short_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta);

}  // namespace nevrad
