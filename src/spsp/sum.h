// C = A + beta op(B), all three in compressed rows.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// A kernel of the table. A and B have any base; C takes its base and its origin of positions from
// ic[0]. nzmax is the capacity of c and jc. Answers 3 when C does not fit.
template <class T>
using sum_kernel = status (*)(int request,
                              const compressed_matrix<T>& A,
                              const compressed_matrix<T>& B,
                              T* c,
                              std::int32_t* jc,
                              std::int32_t* ic,
                              std::int32_t nzmax,
                              T beta);

// Chunks of rows on the default team: counts, a running sum, then the merge. On a budget of 1 it is
// csradd_serial, whose tests of the capacity differ.
template <class T>
status csradd_driver(int request,
                     const compressed_matrix<T>& A,
                     const compressed_matrix<T>& B,
                     T* c,
                     std::int32_t* jc,
                     std::int32_t* ic,
                     std::int32_t nzmax,
                     T beta);

// The driver on a transposed copy of B, conjugated where the form is.
template <conjugation C, class T>
status csradd_transposed(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax,
                         T beta);

// One thread: request 0 is one pass without counting and stops where the capacity ends, request 1
// does not look at the capacity.
template <class T>
status csradd_serial(int request,
                     const compressed_matrix<T>& A,
                     const compressed_matrix<T>& B,
                     T* c,
                     std::int32_t* jc,
                     std::int32_t* ic,
                     std::int32_t nzmax,
                     T beta);

}  // namespace nevrad
