// C = op(A) B with a dense C.
#include "spsp/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class dense_product : public testing::Test {};
TYPED_TEST_SUITE(dense_product, all_types, type_names);

template <class T>
int run(int transa, const matrix<T>& A, const matrix<T>& B, const panel<T>& c) {
  const array<int> ia = A.pointers();
  const array<int> ib = B.pointers();
  return csrmultd<T>(transa, A.rows, A.cols, B.cols, A.values.data(), A.indices.data(), ia.data(),
                     B.values.data(), B.indices.data(), ib.data(), c.data(), c.ld());
}

TYPED_TEST(dense_product, agrees_with_plain_form) {
  using T = TypeParam;
  for (int round = 0; round < 12; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const int transa = round % 3;
    const int rows = random.integer(1, 30);
    const int inner = random.integer(1, 20);
    matrix_kind kind{.rows = rows, .cols = inner, .base = 1, .typical = 5};
    if (transa != 0) std::swap(kind.rows, kind.cols);
    const auto A = random_matrix<T>(random, kind);
    const auto B = random_matrix<T>(random, {.rows = inner,
                                             .cols = random.integer(1, 19),
                                             .base = 1,
                                             .duplicates = round % 2 == 1});
    panel<T> want(rows, B.cols, layout::column_major, round % 4);
    reference_dense_product(transa, A, B, want);
    for (const int budget : budgets) {
      const budget_scope threads(budget);
      panel<T> got(rows, B.cols, layout::column_major, round % 4);
      ASSERT_EQ(run(transa, A, B, got), 0);
      EXPECT_SAME_ARRAYS(got.elements(), want.elements());
    }
  }
}

// A column number twice in one row of A: within a group of four the last counts alone, in separate
// groups both do. Without an operation the conversion brings both to different columns.
TYPED_TEST(dense_product, adds_repeats_by_groups) {
  using T = TypeParam;
  const T one = make<T>(1);
  const T two = make<T>(2);
  const T three = make<T>(4);
  const lines<T> a{{{0, one}, {2, two}, {0, three}, {1, one}, {2, two}}};
  const auto A = compress<T>(a, 3, compression::rows, 1);
  const auto B = compress<T>({{{0, one}}}, 1, compression::rows, 1);
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    const panel<T> c(3, 1, layout::column_major);
    ASSERT_EQ(run(1, A, B, c), 0);
    EXPECT_SAME_ARRAYS(c.elements(), (array<T>{three, one, make<T>(4)}));
  }
}

// Threads of a team that was not granted leave their columns to those who are there.
TYPED_TEST(dense_product, is_whole_inside_a_callers_region) {
  using T = TypeParam;
  generator random(3);
  const auto A = random_matrix<T>(random, {.rows = 20, .cols = 20, .base = 1});
  const auto B = random_matrix<T>(random, {.rows = 20, .cols = 33, .base = 1});
  panel<T> want(20, 33, layout::column_major);
  reference_dense_product(0, A, B, want);
  const budget_scope threads(7);
  panel<T> got(20, 33, layout::column_major);
  in_callers_region([&] { EXPECT_EQ(run(0, A, B, got), 0); });
  EXPECT_SAME_ARRAYS(got.elements(), want.elements());
}

}  // namespace
}  // namespace nevrad_test
