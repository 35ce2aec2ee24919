// The entries for compressed columns and symmetric matrices: which kernel they reach, statuses, and
// the forms by reference.
#include "mv/tables.h"
#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
NEVRAD_BY_TYPE(cscmv, orv_sparse_, cscmv)
NEVRAD_BY_TYPE(cscmv_ref, orv_sparse_, cscmv_)
NEVRAD_BY_TYPE(symv_one_based, orv_sparse_, csrsymv)
NEVRAD_BY_TYPE(symv_one_based_ref, orv_sparse_, csrsymv_)
NEVRAD_BY_TYPE(symv_zero_based, orv_csparse_, csrsymv)
NEVRAD_BY_TYPE(symv_zero_based_ref, orv_csparse_, csrsymv_)

template <class T>
class structured_entries : public testing::Test {};
TYPED_TEST_SUITE(structured_entries, all_types, type_names);

template <class T>
array<T> run_cscmv(const matrix<T>& a,
                   int op,
                   const char* descra,
                   const array<T>& x,
                   T alpha,
                   T beta,
                   const array<T>& before) {
  array<T> y = before;
  EXPECT_EQ(cscmv<T>(op, a.rows, a.cols, alpha, descra, a.values.data(), a.indices.data(),
                     a.begin.data(), a.end.data(), x.data(), beta, y.data()),
            0);
  array<T> by_reference = before;
  EXPECT_EQ(cscmv_ref<T>(&op, &a.rows, &a.cols, &alpha, descra, a.values.data(), a.indices.data(),
                         a.begin.data(), a.end.data(), x.data(), &beta, by_reference.data()),
            0);
  EXPECT_SAME_ARRAYS(by_reference, y);
  return y;
}

// Full columns of 150 entries are long; with one entry less on average they are short. The two
// halves add in different orders, and their kernels tell which one ran.
TYPED_TEST(structured_entries, columns_of_150_entries_on_average_are_long) {
  using T = TypeParam;
  generator random(1);
  for (const int rows : {149, 150, 151}) {
    lines<T> full(static_cast<std::size_t>(rows));
    for (auto& line : full) {
      for (int i = 0; i < rows; ++i) line.emplace_back(i, random.value<T>());
    }
    const matrix<T> a = compress<T>(full, rows, compression::columns, 0);
    const auto x = random.values<T>(rows);
    const auto before = random.values<T>(rows);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    const budget_scope budget(1);
    for (const auto& row : nevrad::cscmv_table<T>) {
      if (row.one_based == 1 || row.code[0] == 'D') continue;
      for (const int op : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << row.code << ", op " << op << ", " << rows);
        const int slot = rows >= 150 ? op : op + 3;
        array<T> want = before;
        row.kernels.at[slot](a.view(), x.data(), want.data(), alpha, beta);
        EXPECT_SAME_ARRAYS(run_cscmv(a, op, row.code, x, alpha, beta, before), want);
      }
    }
  }
}

TYPED_TEST(structured_entries, columns_run_their_own_dimension_and_base) {
  using T = TypeParam;
  generator random(2);
  for (const int base : {0, 1}) {
    const matrix<T> a =
        random_matrix<T>(random,
                         {.rows = 5, .cols = 23, .base = base, .kind = compression::columns});
    for (const int op : {0, 1, 2}) {
      const auto x = random.values<T>(op == 0 ? 23 : 5);
      const auto before = random.values<T>(op == 0 ? 5 : 23);
      const budget_scope budget(1);
      array<T> want = before;
      nevrad::cscmv_table<T>[0].kernels.at[op](a.view(), x.data(), want.data(), make<T>(2),
                                               make<T>(3));
      EXPECT_SAME_ARRAYS(run_cscmv(a, op, base == 1 ? "GxxF" : "G12C", x, make<T>(2), make<T>(3),
                                   before),
                         want);
    }
  }
}

// The number of entries is that of the columns: of 2 rows and 3 columns the third end tells it.
TYPED_TEST(structured_entries, columns_lower_the_budget) {
  using T = TypeParam;
  generator random(3);
  const matrix<T> a =
      random_matrix<T>(random, {.rows = 2, .cols = 3, .kind = compression::columns});
  const budget_scope budget(9);
  run_cscmv(a, 0, "G00C", random.values<T>(3), make<T>(1), make<T>(0), array<T>(2));
  EXPECT_EQ(orv_get_thread_num_(), 1);
}

TYPED_TEST(structured_entries, symmetric_forms_take_the_plain_rows_with_alpha_1_and_beta_0) {
  using T = TypeParam;
  for (const int base : {0, 1}) {
    for (const int uplo : {0, 1}) {
      generator random(static_cast<std::uint64_t>(uplo));
      const matrix<T> a = random_matrix<T>(random, {.rows = 13, .cols = 13, .base = base});
      const array<int> ia = a.pointers();
      const auto x = random.values<T>(13);
      const auto before = random.values<T>(13);
      const char* const descra =
          base == 1 ? (uplo == 1 ? "SUNF" : "SLNF") : (uplo == 1 ? "SUNC" : "SLNC");
      array<T> want = before;
      {
        const budget_scope budget(1);
        ASSERT_EQ(csrmv<T>(0, 13, 13, make<T>(1), descra, a.values.data(), a.indices.data(),
                           a.begin.data(), a.end.data(), x.data(), make<T>(0), want.data()),
                  0);
      }
      const auto plain = base == 1 ? symv_one_based<T> : symv_zero_based<T>;
      const auto by_reference = base == 1 ? symv_one_based_ref<T> : symv_zero_based_ref<T>;
      const int m = 13;
      const budget_scope budget(1);
      array<T> y = before;
      EXPECT_EQ(plain(uplo, m, a.values.data(), ia.data(), a.indices.data(), x.data(), y.data()),
                0);
      EXPECT_SAME_ARRAYS(y, want);
      y = before;
      EXPECT_EQ(by_reference(&uplo, &m, a.values.data(), ia.data(), a.indices.data(), x.data(),
                             y.data()),
                0);
      EXPECT_SAME_ARRAYS(y, want);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
