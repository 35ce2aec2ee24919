// C = op(A) B with a compressed C: every request, operation, type, budget and capacity.
#include "spsp/reference.h"

namespace nevrad_test {
namespace {

constexpr int by_first_touch = 102400;

template <class T>
class product_of_rows : public testing::Test {};
TYPED_TEST_SUITE(product_of_rows, all_types, type_names);

// A, B with `inner` columns and rows, `cols` columns of the result.
template <class T>
sparse_call<T> random_call(generator& random, int transa, int rows, int inner, int cols) {
  sparse_call<T> call(operation::product);
  call.transa = transa;
  call.sort = random.integer(-1000, 1000);
  matrix_kind kind{.rows = rows, .cols = inner, .base = 1};
  kind.typical = random.integer(1, 6);
  kind.duplicates = random.chance(2);
  if (transa != 0) std::swap(kind.rows, kind.cols);
  call.A = random_matrix<T>(random, kind);
  kind.rows = inner;
  kind.cols = cols;
  kind.sorted = random.chance(2);
  call.B = random_matrix<T>(random, kind);
  return call;
}

TYPED_TEST(product_of_rows, agrees_with_plain_form) {
  for (int round = 0; round < 9; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const auto call = random_call<TypeParam>(random, round % 3, random.integer(1, 21),
                                             random.integer(1, 17), random.integer(1, 70));
    compare_capacities(call, all_budgets);
  }
}

// Widths around the edges of words, of words of words, and beyond: few entries, far apart.
TYPED_TEST(product_of_rows, orders_columns_of_wide_matrices) {
  using T = TypeParam;
  for (const int cols : {1, 2, 31, 32, 33, 63, 64, 65, 1023, 1025, 4096, 4097, 40000, 300001}) {
    generator random(static_cast<std::uint64_t>(cols));
    SCOPED_TRACE(random);
    sparse_call<T> call(operation::product);
    lines<T> b(6);
    for (row<T>& entries : b) {
      for (int e = 0; e < 9; ++e)
        entries.emplace_back(random.integer(0, cols - 1), random.value<T>());
      entries.emplace_back(cols - 1, random.value<T>());
      entries.emplace_back(0, random.value<T>());
    }
    call.A = random_matrix<T>(random, {.rows = 9, .cols = 6, .base = 1});
    call.B = compress<T>(b, cols, compression::rows, 1);
    const expected_rows<T> rows(call);
    const array<int> ic = pattern(call, rows);
    for (call.request = 0; call.request < 3; ++call.request) {
      for (const int budget : {1, 3}) {
        call.nzmax = ic[ic.size() - 1] - 1;
        sparse_result<T> before(9, call.nzmax);
        if (call.request == 2) before.ic = ic;
        compare(call, budget, rows, before);
      }
    }
  }
}

// More than 102400 entries: the order of first touch up to the last entry of the capacity, and a
// row that does not fit is not begun.
TYPED_TEST(product_of_rows, stops_before_the_row_that_does_not_fit) {
  using T = TypeParam;
  generator random(11);
  sparse_call<T> call(operation::product);
  call.A = random_matrix<T>(random,
                            {.rows = 1000, .cols = 5, .base = 1, .typical = 2, .duplicates = true});
  call.B = random_matrix<T>(random, {.rows = 5, .cols = 800, .base = 1, .typical = 300});
  const expected_rows<T> rows(call);
  const array<int> ic = pattern(call, rows);
  const int total = ic[ic.size() - 1] - 1;
  ASSERT_GT(total, by_first_touch + 1000);
  for (const int nzmax : {total, total - 1, total - 999, by_first_touch}) {
    call.nzmax = nzmax;
    compare(call, 1, rows, sparse_result<T>(1000, total));
  }
}

TYPED_TEST(product_of_rows, follows_the_callers_row_pointers) {
  generator random(17);
  compare_callers_pointers(random_call<TypeParam>(random, 0, 14, 9, 50));
}

//  A = | 1 1 |   B = | .  2 3 |   C = | 4 . 3 |, with an entry that cancels in its middle
//      | . . |       | 4 -2 . |       | . . . |
TEST(product_pattern, keeps_entries_that_cancel_and_their_order) {
  const array<double> a{1, 1};
  const array<int> ja{1, 2};
  const array<int> ia{1, 3, 3};
  const array<double> b{2, 3, 4, -2};
  const array<int> jb{2, 3, 1, 2};
  const array<int> ib{1, 3, 5};
  array<double> c(3);
  array<int> jc(3);
  array<int> ic(3);
  const auto multiply = [&](int nzmax) {
    return orv_sparse_dcsrmultcsr(0, 0, 0, 2, 2, 3, a.data(), ja.data(), ia.data(), b.data(),
                                  jb.data(), ib.data(), c.data(), jc.data(), ic.data(), nzmax);
  };
  for (const int budget : budgets) {
    const budget_scope threads(budget);
    ASSERT_EQ(multiply(by_first_touch - 1), 0);
    EXPECT_SAME_ARRAYS(ic, (array<int>{1, 4, 4}));
    EXPECT_SAME_ARRAYS(jc, (array<int>{1, 2, 3}));
    EXPECT_SAME_ARRAYS(c, (array<double>{4, 0, 3}));
    ASSERT_EQ(multiply(by_first_touch), 0);
    EXPECT_SAME_ARRAYS(jc, (budget == 1 ? array<int>{2, 3, 1} : array<int>{1, 2, 3}));
    EXPECT_SAME_ARRAYS(c, (budget == 1 ? array<double>{0, 3, 4} : array<double>{4, 0, 3}));
  }
}

// A sum begins at +0, so that a first product of -0 does not keep its sign.
TYPED_TEST(product_of_rows, keeps_special_values) {
  using T = TypeParam;
  const std::vector<T> specials = special_values<T>();
  sparse_call<T> call(operation::product);
  lines<T> a;
  lines<T> b(2);
  for (const T u : specials) {
    for (const T v : specials) a.push_back({{0, u}, {1, v}});
    b[0].emplace_back(static_cast<int>(b[0].size()), u);
  }
  b[1] = {{4, specials[1]}, {0, specials[0]}, {2, specials[4]}};
  call.A = compress<T>(a, 2, compression::rows, 1);
  call.B = compress<T>(b, 5, compression::rows, 1);
  compare_capacities(call, {1, 3});
}

// A without entries: an empty product, but nothing to transpose.
TYPED_TEST(product_of_rows, of_matrices_without_entries) {
  sparse_call<TypeParam> call(operation::product);
  call.A = compress<TypeParam>(lines<TypeParam>(2), 2, compression::rows, 1);
  call.B = call.A;
  for (call.transa = 0; call.transa < 3; ++call.transa) {
    compare_capacities(call, all_budgets);
  }
}

}  // namespace
}  // namespace nevrad_test
