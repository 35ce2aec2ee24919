// Solves with a diagonal matrix: Y = alpha inverse(D) X, or alpha X when the diagonal is unit.
//
// The kernels serve compressed rows and columns alike: the diagonal entry of line i is the same.
// The last diagonal entry of a line counts, other entries are not looked at, a line without one
// gives 0 * X. Products of complex elements are fused.
#pragma once

#include "matrix/record.h"

namespace nevrad {

// Kernels of the shape sm_kernel. The stored diagonal takes a vector of alpha / a(i, i) and answers
// 2 when it cannot be had, with y unwritten; so does every form whose list of parts cannot be had.
template <conjugation C, dense_layout Layout, class T>
status sm_diag(const compressed_matrix<T>& a,
               const T* x,
               std::int32_t n,
               std::int32_t ldx,
               T* y,
               std::int32_t ldy,
               T alpha);
template <dense_layout Layout, class T>
status sm_unit_diag(const compressed_matrix<T>& a,
                    const T* x,
                    std::int32_t n,
                    std::int32_t ldx,
                    T* y,
                    std::int32_t ldy,
                    T alpha);

}  // namespace nevrad
