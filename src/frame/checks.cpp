#include "frame/checks.h"

namespace nevrad {

namespace {

// A leading dimension that covers `lines` elements, `count` times over, within max_dimension.
constexpr bool leading_dimension_holds(int ld, std::int64_t lines) { return ld >= lines; }
constexpr bool product_holds(int ld, int count) {
  return static_cast<unsigned>(ld) <=
         static_cast<unsigned>(max_dimension) / static_cast<unsigned>(count);
}
constexpr bool signed_product_holds(int ld, std::int64_t count) {
  return ld == 0 || count == 0 || ld <= max_dimension / count;
}

}  // namespace

status check_dense_dims(int m, int n, int k, int ldb, int ldc, unsigned transa, int one_based) {
  if (check_dim3(m, n, k) != success) return invalid_value;
  const int rows_c = transa != 0 ? k : m;
  const int rows_b = transa != 0 ? m : k;
  const bool column_major = one_based != 0;
  const bool holds = leading_dimension_holds(ldc, column_major ? rows_c : n) &&
                     leading_dimension_holds(ldb, column_major ? rows_b : n) &&
                     product_holds(ldc, column_major ? n : rows_c) &&
                     product_holds(ldb, column_major ? n : rows_b);
  return holds ? success : invalid_value;
}

status check_dense_block_dims(int m,
                              int n,
                              int k,
                              int lb,
                              int ldb,
                              int ldc,
                              unsigned transa,
                              int one_based) {
  if (check_dim4(m, n, k, lb) != success) return invalid_value;
  const std::int64_t rows_c = static_cast<std::int64_t>(lb) * (transa != 0 ? k : m);
  const std::int64_t rows_b = static_cast<std::int64_t>(lb) * (transa != 0 ? m : k);
  const bool column_major = one_based != 0;
  const bool holds = leading_dimension_holds(ldc, column_major ? rows_c : n) &&
                     leading_dimension_holds(ldb, column_major ? rows_b : n) &&
                     signed_product_holds(ldc, column_major ? n : rows_c) &&
                     signed_product_holds(ldb, column_major ? n : rows_b);
  return holds ? success : invalid_value;
}

}  // namespace nevrad
