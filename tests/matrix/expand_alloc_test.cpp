// Expansions when memory is short.
#include "matrix/expand.h"

#include "support/allocator.h"
#include "support/matrix.h"

namespace nevrad_test {
namespace {

using nevrad::diagonal;
using nevrad::triangle;

template <class T>
int allocations(nevrad::expansion<T> expand) {
  generator random(1);
  const auto a = random_matrix<T>(random, {.rows = 7, .cols = 7});
  return expect_clean_failures([&] {
    nevrad::scoped_matrix<T> result;
    return expand(a.view(), triangle::lower, diagonal::stored, result.out());
  });
}

template <class T>
class failing_expansions : public testing::Test {};
TYPED_TEST_SUITE(failing_expansions, all_types, type_names);

// The counts, and four blocks for each matrix: the temporary and the result.
TYPED_TEST(failing_expansions, give_back_what_they_took) {
  using T = TypeParam;
  EXPECT_EQ(allocations<T>(nevrad::expand_symmetric<T>), 9);
  EXPECT_EQ(allocations<T>(nevrad::extract_triangle<T>), 9);
  EXPECT_EQ(allocations<T>(nevrad::extract_triangle_transposed<T>), 5);
  if constexpr (is_complex<T>) {
    EXPECT_EQ(allocations<T>(nevrad::expand_hermitian<T>), 9);
    EXPECT_EQ(allocations<T>(nevrad::expand_hermitian_conjugate<T>), 9);
    EXPECT_EQ(allocations<T>(nevrad::expand_symmetric_conjugate<T>), 9);
    EXPECT_EQ(allocations<T>(nevrad::extract_triangle_conjugate_transposed<T>), 5);
  }
}

}  // namespace
}  // namespace nevrad_test
