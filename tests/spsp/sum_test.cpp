// C = A + beta op(B): every request, operation, type, budget and capacity.
#include "spsp/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class sum : public testing::Test {};
TYPED_TEST_SUITE(sum, all_types, type_names);

template <class T>
sparse_call<T> random_call(generator& random, int transa, int sort) {
  sparse_call<T> call(operation::sum);
  call.transa = transa;
  call.sort = sort;
  call.beta = random.value<T>();
  const int m = random.integer(1, 23);
  const int n = random.integer(1, 40);
  matrix_kind kind{.rows = m, .cols = n, .base = 1};
  kind.typical = random.integer(1, 12);
  kind.sorted = sort != 1 && sort != 3;
  call.A = random_matrix<T>(random, kind);
  kind.sorted = (sort != 2 && sort != 3) || transa != 0;
  if (transa != 0) std::swap(kind.rows, kind.cols);
  call.B = random_matrix<T>(random, kind);
  return call;
}

TYPED_TEST(sum, agrees_with_plain_form) {
  for (int round = 0; round < 12; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const int transa = round % 3;
    const int sort = round % 4;
    const auto call = random_call<TypeParam>(random, transa, sort);
    compare_capacities(call, all_budgets);
  }
}

// On one thread the merge and the count are defined for rows in any order and with repeats: what
// the merge does with them is plain, and the count counts pairs.
TYPED_TEST(sum, takes_rows_in_any_order_as_they_are) {
  for (int round = 0; round < 8; ++round) {
    generator random(100 + static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    sparse_call<TypeParam> call(operation::sum);
    call.beta = random.value<TypeParam>();
    const matrix_kind kind{
        .rows = 9, .cols = 30, .base = 1, .sorted = round % 2 == 0, .duplicates = round % 3 != 0};
    call.A = random_matrix<TypeParam>(random, kind);
    call.B = random_matrix<TypeParam>(random, kind);
    compare_capacities(call, {1}, 600);
    call.request = 1;
    for (const int budget : budgets) {
      call.nzmax = 1000;
      compare(call, budget, expected_rows<TypeParam>(call),
              sparse_result<TypeParam>(call.A.rows, 0));
    }
  }
}

TYPED_TEST(sum, follows_the_callers_row_pointers) {
  generator random(7);
  compare_callers_pointers(random_call<TypeParam>(random, 0, 0));
}

//  A = | 1 . 2 |   B = | -1 .  4 |    beta 1: the first entry cancels, and stays.
//      | . . . |       |  . .  . |    beta 0: B's entries stay, with 0 or A's value.
//      | . 3 . |       |  5 .  . |
TEST(sum_pattern, keeps_entries_that_cancel) {
  const array<double> a{1, 2, 3};
  const array<int> ja{1, 3, 2};
  const array<int> ia{1, 3, 3, 4};
  const array<double> b{-1, 4, 5};
  const array<int> jb{1, 3, 1};
  const array<int> ib{1, 3, 3, 4};
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    array<double> c(4);
    array<int> jc(4);
    array<int> ic(4);
    const auto add = [&](double beta) {
      return orv_sparse_dcsradd(0, 0, 0, 3, 3, a.data(), ja.data(), ia.data(), beta, b.data(),
                                jb.data(), ib.data(), c.data(), jc.data(), ic.data(), 4);
    };
    ASSERT_EQ(add(1), 0);
    EXPECT_SAME_ARRAYS(ic, (array<int>{1, 3, 3, 5}));
    EXPECT_SAME_ARRAYS(jc, (array<int>{1, 3, 1, 2}));
    EXPECT_SAME_ARRAYS(c, (array<double>{0, 6, 5, 3}));
    ASSERT_EQ(add(0), 0);
    EXPECT_SAME_ARRAYS(c, (array<double>{1, 2, 0, 3}));
  }
}

// Signs of zero and NaN go through the merge as the operations make them.
TYPED_TEST(sum, keeps_special_values) {
  using T = TypeParam;
  const std::vector<T> specials = special_values<T>();
  sparse_call<T> call(operation::sum);
  lines<T> a(1);
  lines<T> b(1);
  int column = 0;
  for (const T u : specials) {
    a[0].emplace_back(column, u);
    b[0].emplace_back(column + 1, u);
    column += 2;
    for (const T v : specials) {
      a[0].emplace_back(column, u);
      b[0].emplace_back(column++, v);
    }
  }
  call.A = compress<T>(a, column + 1, compression::rows, 1);
  call.B = compress<T>(b, column + 1, compression::rows, 1);
  for (const T beta : specials) {
    call.beta = beta;
    compare_capacities(call, {1, 3});
  }
}

// Matrices without entries: nothing to sort or transpose, but a sum.
TYPED_TEST(sum, of_matrices_without_entries) {
  sparse_call<TypeParam> call(operation::sum);
  call.A = compress<TypeParam>(lines<TypeParam>(2), 2, compression::rows, 1);
  call.B = call.A;
  for (call.sort = 0; call.sort < 5; ++call.sort) {
    for (call.transa = 0; call.transa < 3; ++call.transa) {
      compare_capacities(call, all_budgets);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
