// Argument checks at the edges of their ranges.
#include "frame/checks.h"

#include <gtest/gtest.h>

namespace nevrad_test {
namespace {

using namespace nevrad;  // NOLINT(google-build-using-namespace): a test of small predicates

constexpr int most = max_dimension;

TEST(checks, dimensions_lie_in_1_to_the_largest) {
  EXPECT_EQ(most, 2147483645);
  for (const int good : {1, 2, most}) {
    EXPECT_EQ(check_dim1(good), success);
    EXPECT_EQ(check_dim4(good, good, good, good), success);
  }
  for (const int bad : {0, -1, most + 1, most + 2, -2147483647 - 1}) {
    EXPECT_EQ(check_dim1(bad), invalid_value) << bad;
    EXPECT_EQ(check_dim2(bad, 1), invalid_value) << bad;
    EXPECT_EQ(check_dim2(1, bad), invalid_value) << bad;
    for (int place = 0; place < 4; ++place) {
      int d[] = {1, 1, 1, 1};
      d[place] = bad;
      EXPECT_EQ(check_dim3(d[0], d[1], d[2]), place < 3 ? invalid_value : success);
      EXPECT_EQ(check_dim4(d[0], d[1], d[2], d[3]), invalid_value);
    }
  }
}

TEST(checks, codes_are_read_as_unsigned) {
  for (const unsigned op : {0U, 1U, 2U}) EXPECT_EQ(check_op(op), success);
  for (const unsigned op : {3U, static_cast<unsigned>(-1)}) EXPECT_EQ(check_op(op), invalid_value);
  EXPECT_EQ(check_flag(1), success);
  EXPECT_EQ(check_flag(2), invalid_value);
  EXPECT_EQ(check_flag(static_cast<unsigned>(-1)), invalid_value);
}

TEST(checks, only_a_general_matrix_may_be_rectangular) {
  EXPECT_EQ(check_square(matrix_structure::general, 3, 4), success);
  for (const auto structure : {matrix_structure::symmetric, matrix_structure::hermitian,
                               matrix_structure::triangular, matrix_structure::diagonal}) {
    EXPECT_EQ(check_square(structure, 3, 4), invalid_value);
    EXPECT_EQ(check_square(structure, 4, 4), success);
  }
}

// m, n, k, ldb, ldc, transa, one_based
TEST(checks, leading_dimensions_cover_the_fast_direction) {
  // Column-major, A of 10 by 20, 5 columns: b has 20 rows and c 10; transposed they trade places.
  EXPECT_EQ(check_dense_dims(10, 5, 20, 20, 10, 0, 1), success);
  EXPECT_EQ(check_dense_dims(10, 5, 20, 19, 10, 0, 1), invalid_value);
  EXPECT_EQ(check_dense_dims(10, 5, 20, 20, 9, 0, 1), invalid_value);
  for (const unsigned transposed : {1U, 2U}) {
    EXPECT_EQ(check_dense_dims(10, 5, 20, 10, 20, transposed, 1), success);
    EXPECT_EQ(check_dense_dims(10, 5, 20, 9, 20, transposed, 1), invalid_value);
    EXPECT_EQ(check_dense_dims(10, 5, 20, 10, 19, transposed, 1), invalid_value);
  }
  // Row-major: both cover the 5 columns.
  EXPECT_EQ(check_dense_dims(10, 5, 20, 5, 5, 0, 0), success);
  EXPECT_EQ(check_dense_dims(10, 5, 20, 4, 5, 0, 0), invalid_value);
  EXPECT_EQ(check_dense_dims(10, 5, 20, 5, 4, 0, 0), invalid_value);
  for (const int bad : {0, -1, -2147483647}) {
    EXPECT_EQ(check_dense_dims(10, 5, 20, bad, 10, 0, 1), invalid_value);
    EXPECT_EQ(check_dense_dims(10, 5, 20, 20, bad, 0, 1), invalid_value);
    EXPECT_EQ(check_dense_dims(bad, 5, 20, 20, 10, 0, 1), invalid_value);
    EXPECT_EQ(check_dense_dims(10, bad, 20, 20, 10, 0, 1), invalid_value);
    EXPECT_EQ(check_dense_dims(10, 5, bad, 20, 10, 0, 1), invalid_value);
  }
}

TEST(checks, leading_dimensions_keep_products_in_range) {
  const int n = 1 << 20;  // most / n = 2047
  EXPECT_EQ(check_dense_dims(8, n, 8, 2047, 2047, 0, 1), success);
  EXPECT_EQ(check_dense_dims(8, n, 8, 2047, 2048, 0, 1), invalid_value);
  EXPECT_EQ(check_dense_dims(8, n, 8, 2048, 2047, 0, 1), invalid_value);
  // Row-major: c is held against the rows of the result, b against its own.
  EXPECT_EQ(check_dense_dims(n, 8, 8, most / 8, 2047, 0, 0), success);
  EXPECT_EQ(check_dense_dims(n, 8, 8, most / 8, 2048, 0, 0), invalid_value);
  EXPECT_EQ(check_dense_dims(n, 8, 8, most / 8 + 1, 2047, 0, 0), invalid_value);
  EXPECT_EQ(check_dense_dims(n, 8, 8, 2047, most / 8, 1, 0), success);
  EXPECT_EQ(check_dense_dims(n, 8, 8, 2048, most / 8, 1, 0), invalid_value);
}

// The same with a matrix of blocks: m, n, k, lb, ldb, ldc, transa, one_based
TEST(checks, blocks_multiply_the_rows) {
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 60, 30, 0, 1), success);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 59, 30, 0, 1), invalid_value);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 60, 29, 0, 1), invalid_value);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 30, 60, 1, 1), success);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 30, 59, 2, 1), invalid_value);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 5, 5, 0, 0), success);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 4, 5, 0, 0), invalid_value);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 3, 1 << 29, 30, 0, 1), invalid_value);
  EXPECT_EQ(check_dense_block_dims(10, 5, 20, 0, 60, 30, 0, 1), invalid_value);
  // The product of rows and block does not fit 32 bits and still counts.
  EXPECT_EQ(check_dense_block_dims(1 << 20, 1, 1, 1 << 20, 1, 1, 0, 0), invalid_value);
}

TEST(checks, guard_of_the_dense_result) {
  EXPECT_EQ(multiply_guard(most, 1), success);
  EXPECT_EQ(multiply_guard(most / 2, 2), success);
  EXPECT_EQ(multiply_guard(most / 2 + 1, 2), overflow);
  EXPECT_EQ(multiply_guard(most, 2), overflow);
  EXPECT_EQ(multiply_guard(0, most), success);
  EXPECT_EQ(multiply_guard(most, 0), success);
}

TEST(checks, any_null_counts) {
  const int value = 0;
  for (int missing = 0; missing < 16; ++missing) {
    const void* p[4];
    for (int i = 0; i < 4; ++i) p[i] = (missing >> i & 1) != 0 ? nullptr : &value;
    EXPECT_EQ(check_two_pointers(p[0], p[1]), (missing & 3) != 0 ? null_pointer : success);
    EXPECT_EQ(check_three_pointers(p[0], p[1], p[2]), (missing & 7) != 0 ? null_pointer : success);
    EXPECT_EQ(check_four_pointers(p[0], p[1], p[2], p[3]), missing != 0 ? null_pointer : success);
  }
}

TEST(checks, a_counting_request_needs_row_pointers_alone) {
  const int v = 0;
  EXPECT_EQ(check_output_arrays(1, nullptr, nullptr, nullptr, nullptr, &v), success);
  EXPECT_EQ(check_output_arrays(1, &v, &v, &v, &v, nullptr), null_pointer);
  for (const int request : {0, 2, 7}) {
    EXPECT_EQ(check_output_arrays(request, &v, &v, &v, &v, &v), success);
    for (int missing = 0; missing < 5; ++missing) {
      const void* p[5] = {&v, &v, &v, &v, &v};
      p[missing] = nullptr;
      EXPECT_EQ(check_output_arrays(request, p[0], p[1], p[2], p[3], p[4]), null_pointer);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
