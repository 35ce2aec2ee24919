// Which of its two kernels a product of a column-stored matrix takes.
#include "mv/tables.h"
#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(cscmv, orv_sparse_, cscmv)
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

}  // namespace
}  // namespace nevrad_test
