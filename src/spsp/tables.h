// Kernels of the sums and products of compressed matrices, by operation alone: there is no
// descriptor.
#pragma once

#include "frame/descriptor.h"
#include "spsp/dense_product.h"
#include "spsp/product.h"
#include "spsp/request.h"
#include "spsp/sum.h"

namespace nevrad {

template <class T>
constexpr dense_product_kernel<T> csrmultd_conjugated_slot() {
  if constexpr (is_complex<T>) {
    return csrmultd_conjugated<T>;
  } else {
    return csrmultd_transposed<T>;
  }
}

// clang-format off
//                                          none                   transpose                                    conjugate transpose
template <class T>
inline constexpr auto csradd_table =
    by_operation<T, sum_kernel<T>>(         csradd_driver<T>,      csradd_transposed<conjugation::no, T>,       csradd_transposed<conjugated<T>, T>);
template <class T>
inline constexpr auto csrmultcsr_table =
    by_operation<T, product_kernel<T>>(     csrmultcsr_driver<T>,  csrmultcsr_transposed<conjugation::no, T>,   csrmultcsr_transposed<conjugated<T>, T>);
template <class T>
inline constexpr auto csrmultd_table =
    by_operation<T, dense_product_kernel<T>>(csrmultd_plain<T>,    csrmultd_transposed<T>,                      csrmultd_conjugated_slot<T>());
// clang-format on

}  // namespace nevrad
