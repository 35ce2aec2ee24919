// C = op(A) B, all three in compressed rows.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// A kernel of the table. C takes the base of B. nzmax is the capacity of c and jc. Answers 3 when C
// does not fit, 2 when scratch cannot be had.
template <class T>
using product_kernel = status (*)(int request,
                                  const compressed_matrix<T>& A,
                                  const compressed_matrix<T>& B,
                                  T* c,
                                  std::int32_t* jc,
                                  std::int32_t* ic,
                                  std::int32_t nzmax);

// Chunks of rows on the default team, each with its own stretches of scratch: counts, a running
// sum, then the values. Rows of C ascend. On a budget of 1 it is csrmultcsr_serial.
template <class T>
status csrmultcsr_driver(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax);

// The driver on a transposed copy of A, conjugated where the form is.
template <conjugation C, class T>
status csrmultcsr_transposed(int request,
                             const compressed_matrix<T>& A,
                             const compressed_matrix<T>& B,
                             T* c,
                             std::int32_t* jc,
                             std::int32_t* ic,
                             std::int32_t nzmax);

// One thread. Request 0 is one pass without counting; from a capacity of first_touch_from on it
// leaves the columns of a row in the order in which they were first met.
template <class T>
status csrmultcsr_serial(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax);

inline constexpr std::int32_t first_touch_from = 102400;

}  // namespace nevrad
