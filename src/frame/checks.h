// The tests that entries run on their arguments, so that kernels need none. A test answers with the
// status to report, 0 when the argument holds; the pointer tests answer 1 for null.
#pragma once

#include "frame/status.h"

namespace nevrad {

// Bounds every dimension and every product of a dimension and a leading dimension.
inline constexpr std::int32_t max_dimension = 2147483645;

// Kinds of matrix, as the first letter of a descriptor tells them.
enum class matrix_structure : std::int32_t { general, symmetric, hermitian, triangular, diagonal };

constexpr status check_dim1(int a) {
  return a >= 1 && a <= max_dimension ? success : invalid_value;
}
constexpr status check_dim2(int a, int b) { return check_dim1(a) | check_dim1(b); }
constexpr status check_dim3(int a, int b, int c) { return check_dim2(a, b) | check_dim1(c); }
constexpr status check_dim4(int a, int b, int c, int d) {
  return check_dim3(a, b, c) | check_dim1(d);
}

constexpr status check_op(unsigned transa) { return transa < 3 ? success : invalid_value; }
constexpr status check_flag(unsigned value) { return value < 2 ? success : invalid_value; }

// Only a general matrix may be rectangular.
constexpr status check_square(matrix_structure structure, int m, int k) {
  return structure != matrix_structure::general && m != k ? invalid_value : success;
}

// Dense operands of a product with an m by k matrix, n columns each: b enters with leading
// dimension ldb, c results with ldc. One-based descriptors mean column-major operands, whose
// leading dimension covers their rows, zero-based ones row-major, where it covers the n columns.
status check_dense_dims(int m, int n, int k, int ldb, int ldc, unsigned transa, int one_based);

// The same rule with rows counted in blocks of lb.
status check_dense_block_dims(int m,
                              int n,
                              int k,
                              int lb,
                              int ldb,
                              int ldc,
                              unsigned transa,
                              int one_based);

// Answers 5 when ldc * k exceeds max_dimension.
constexpr status multiply_guard(int ldc, int k) {
  return ldc != 0 && k != 0 && max_dimension / ldc < k ? overflow : success;
}

constexpr status check_two_pointers(const void* a, const void* b) {
  return a == nullptr || b == nullptr ? null_pointer : success;
}
constexpr status check_three_pointers(const void* a, const void* b, const void* c) {
  return check_two_pointers(a, b) | check_two_pointers(b, c);
}
constexpr status check_four_pointers(const void* a, const void* b, const void* c, const void* d) {
  return check_two_pointers(a, b) | check_two_pointers(c, d);
}

// Arrays that a sparse-sparse operation needs for `request`: 1 counts and needs ic alone, all
// others need both records and all of c, jc and ic.
constexpr status check_output_arrays(int request,
                                     const void* a,
                                     const void* b,
                                     const void* c,
                                     const void* jc,
                                     const void* ic) {
  if (ic == nullptr) return null_pointer;
  if (request == 1) return success;
  return check_four_pointers(a, b, c, jc);
}

}  // namespace nevrad
