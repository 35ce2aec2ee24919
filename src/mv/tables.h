// Kernels of the matrix-vector products, by descriptor and operation.
#pragma once

#include "frame/descriptor.h"
#include "mv/general.h"

namespace nevrad {

template <class T>
using mv_row = descra_row<mv_kernel<T>>;

// clang-format off
template <class T>
inline constexpr mv_row<T> csrmv_table[] = {
    // code   base  structure                    kernels: none, transpose, conjugate transpose
    {"G00F",  1,    matrix_structure::general,   by_operation<T, mv_kernel<T>>(csr_mv_driver<T>, nullptr, nullptr)},
    {"G00C",  0,    matrix_structure::general,   by_operation<T, mv_kernel<T>>(csr_mv_driver<T>, nullptr, nullptr)},
};
// clang-format on

// Rows that entries without a descriptor address by place.
inline constexpr int general_row_one_based = 0;
inline constexpr int general_row_zero_based = 1;

// Writes the base, structure and kernels of the row that the text selects; 3 when none does.
template <class T>
status find_csrmv_row(const char* matdescra,
                      std::int32_t* one_based,
                      matrix_structure* structure,
                      const mv_kernel<T>** kernels) {
  const mv_row<T>* const row = find_row(csrmv_table<T>, matdescra);
  if (row == nullptr) return invalid_value;
  *one_based = row->one_based;
  *structure = row->structure;
  *kernels = row->kernels.at;
  return success;
}

}  // namespace nevrad
