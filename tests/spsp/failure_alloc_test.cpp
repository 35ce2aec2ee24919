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
  sparse_call<T> sum{operation::sum};
  sparse_call<T> product{operation::product};
  sparse_result<T> out{12, 288};

  void SetUp() override {
    for (sparse_call<T>* const call : {&sum, &product}) {
      call->A = some_matrix(1);
      call->B = some_matrix(2);
      call->nzmax = 288;
    }
  }
  int allocations(const sparse_call<T>& call) {
    return expect_clean_failures([&] { return run(call, out); });
  }
  int multiply_dense(int transa) {
    const array<int> ia = sum.A.pointers();
    const array<int> ib = sum.B.pointers();
    return csrmultd<T>(transa, 12, 12, 12, sum.A.values.data(), sum.A.indices.data(), ia.data(),
                       sum.B.values.data(), sum.B.indices.data(), ib.data(), out.c.data(), 13);
  }
};
TYPED_TEST_SUITE(failures, all_types, type_names);

// One transposition: its counts, a record and three arrays.
constexpr int transposition = 5;
constexpr int sorting = 2 * transposition;
constexpr int copy = 4;

TYPED_TEST(failures, of_a_sum) {
  auto& call = this->sum;
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    const int own = budget == 1 ? 0 : 1;
    const auto allocations = [&](int transa, int request, int sort) {
      call.transa = transa;
      call.sort = sort;
      // The row pointers that request 2 goes by.
      call.request = 1;
      EXPECT_EQ(run(call, this->out), 0);
      call.request = request;
      return this->allocations(call);
    };
    for (const int request : {0, 1, 2}) {
      EXPECT_EQ(allocations(0, request, 0), own);
      EXPECT_EQ(allocations(1, request, 3), own + 2 * sorting + transposition);
      EXPECT_EQ(allocations(2, request, 1), own + sorting + transposition);
    }
  }
}

TYPED_TEST(failures, of_a_product) {
  auto& call = this->product;
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    for (call.transa = 0; call.transa < 3; ++call.transa) {
      const int copies = (call.transa == 0 ? 0 : transposition) + (budget == 1 ? 0 : 1);
      const auto allocations = [&](int request, int nzmax) {
        call.request = request;
        call.nzmax = nzmax;
        return this->allocations(call);
      };
      EXPECT_EQ(allocations(0, 288), copies + 2);
      EXPECT_EQ(allocations(0, 102400), copies + (budget == 1 ? 3 : 2));
      EXPECT_EQ(allocations(1, 0), copies + 1);
      EXPECT_EQ(allocations(2, 288), copies + 2);
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
  const array<T> before = this->out.c;
  const int factors = 2 * copy + 2 * transposition;
  for (int n = 1; n <= factors + 2; ++n) {
    this->out.c = before;
    {
      const allocator_scope memory(failing::once, n);
      EXPECT_EQ(this->multiply_dense(0), 2);
    }
    array<T> want = before;
    for (int p = 0; n > factors && p < 12 * 13; ++p) {
      if (p % 13 < 12) want[p] = T{};
    }
    EXPECT_SAME_ARRAYS(this->out.c, want);
  }
}

}  // namespace
}  // namespace nevrad_test
