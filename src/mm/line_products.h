// Products straight from lines that hold images (see held_lines.h), without the transposed or
// expanded copy that the general product would multiply with.
//
// The memory of the copy is asked for all the same, so that a call fails where the copy would; what
// is needed of it serves as scratch, the rest stays untouched, which costs nothing.
#pragma once

#include "mm/held_lines.h"
#include "mm/operands.h"

namespace nevrad {

// Computes C := alpha * op(A) * B + beta * C and stores the status that the copy and a gate would
// have given, when there is a walk that gives the same bits and is worth it. False, and nothing
// done, when there is none. The record's rows are the lines; a triangle is square.
template <class T>
bool multiply_held_lines(const held_lines<T>& held,
                         dense_layout layout,
                         const mm_operands<T>& o,
                         status* result);

// All of op(A) by columns: the lines are rows of its transpose.
template <class T>
bool multiply_transposed(const compressed_matrix<T>& lines,
                         conjugation conjugated,
                         dense_layout layout,
                         const mm_operands<T>& o,
                         status* result);

}  // namespace nevrad
