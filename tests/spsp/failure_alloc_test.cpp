// Sums and products of compressed matrices when memory is short.
#include "spsp/reference.h"
#include "support/allocator.h"

namespace nevrad_test {
namespace {

template <class T>
class failures : public testing::Test {
 protected:
  static matrix<T> some_matrix(int seed) {
    generator random(static_cast<std::uint64_t>(seed));
    return random_matrix<T>(random, {.rows = 12, .cols = 12, .base = 1, .sorted = true});
  }
  const matrix<T> A = some_matrix(1);
  const matrix<T> B = some_matrix(2);
  const array<int> ia = A.pointers();
  const array<int> ib = B.pointers();
  array<T> c = array<T>(288, make<T>(-77));
  array<int> jc = array<int>(288, -77);
  array<int> ic = array<int>(13);

  int add(int transa, int request, int sort) {
    return csradd<T>(transa, request, sort, 12, 12, A.values.data(), A.indices.data(), ia.data(),
                     make<T>(2), B.values.data(), B.indices.data(), ib.data(), c.data(), jc.data(),
                     ic.data(), 288);
  }
  int multiply(int transa, int request, int nzmax) {
    return csrmultcsr<T>(transa, request, 0, 12, 12, 12, A.values.data(), A.indices.data(),
                         ia.data(), B.values.data(), B.indices.data(), ib.data(), c.data(),
                         jc.data(), ic.data(), nzmax);
  }
  int multiply_dense(int transa) {
    return csrmultd<T>(transa, 12, 12, 12, A.values.data(), A.indices.data(), ia.data(),
                       B.values.data(), B.indices.data(), ib.data(), c.data(), 13);
  }
};
TYPED_TEST_SUITE(failures, all_types, type_names);

// One transposition: its counts, a record and three arrays.
constexpr int transposition = 5;
constexpr int sorting = 2 * transposition;
constexpr int copy = 4;

TYPED_TEST(failures, of_a_sum) {
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    const int own = budget == 1 ? 0 : 1;
    const auto allocations = [&](int transa, int request, int sort) {
      // The row pointers that request 2 goes by.
      EXPECT_EQ(this->add(transa, 1, sort), 0);
      return expect_clean_failures([&] { return this->add(transa, request, sort); });
    };
    for (const int request : {0, 1, 2}) {
      EXPECT_EQ(allocations(0, request, 0), own);
      EXPECT_EQ(allocations(1, request, 3), own + 2 * sorting + transposition);
      EXPECT_EQ(allocations(2, request, 1), own + sorting + transposition);
    }
  }
}

TYPED_TEST(failures, of_a_product) {
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    const int parts = budget == 1 ? 0 : 1;
    for (int transa = 0; transa < 3; ++transa) {
      const int copies = transa == 0 ? 0 : transposition;
      const auto run = [&](int request, int nzmax) {
        return expect_clean_failures([&] { return this->multiply(transa, request, nzmax); });
      };
      EXPECT_EQ(run(0, 288), copies + parts + 2);
      EXPECT_EQ(run(0, 102400), copies + parts + (budget == 1 ? 3 : 2));
      EXPECT_EQ(run(1, 0), copies + parts + 1);
      EXPECT_EQ(run(2, 288), copies + parts + 2);
    }
  }
}

TYPED_TEST(failures, of_a_dense_product) {
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    const int own = budget == 1 ? 0 : 2;
    EXPECT_EQ(expect_clean_failures([&] { return this->multiply_dense(0); }),
              own + 2 * copy + 2 * transposition);
    EXPECT_EQ(expect_clean_failures([&] { return this->multiply_dense(2); }),
              own + 2 * copy + transposition);
  }
}

// What is left of C: untouched while the factors are made, then cleared columns, padding apart.
TYPED_TEST(failures, of_a_dense_product_leave_it_untouched_or_zero) {
  using T = TypeParam;
  const budget_scope threads(3);
  const array<T> before = this->c;
  const int factors = 2 * copy + 2 * transposition;
  for (int n = 1; n <= factors + 2; ++n) {
    this->c = before;
    {
      const allocator_scope memory(failing::once, n);
      EXPECT_EQ(this->multiply_dense(0), 2);
    }
    array<T> want = before;
    for (int p = 0; n > factors && p < 12 * 13; ++p) {
      if (p % 13 < 12) want[p] = T{};
    }
    EXPECT_SAME_ARRAYS(this->c, want);
  }
}

}  // namespace
}  // namespace nevrad_test
