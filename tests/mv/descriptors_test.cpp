// Every kernel of both tables against dense arithmetic in wider precision.
//
// Small matrices bring every budget down to one thread at the entry, so the kernels are called
// through the tables here, with the budget as set.
#include "mv/tables.h"

#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

using nevrad::cscmv_table;
using nevrad::csrmv_table;

template <class T>
class mv_tables : public testing::Test {};
TYPED_TEST_SUITE(mv_tables, all_types, type_names);

// Entries of a column, or of a row that is walked as a column, are found by binary search.
bool wants_sorted_lines(compression kind, const char* code, int op) {
  if (code[0] == 'G' || code[0] == 'D') return false;
  return kind == compression::columns || (code[0] == 'T' && op != 0);
}

// Only rows of the general product are taken as packed.
bool wants_packed_lines(compression kind, const char* code, int op) {
  return kind == compression::rows && code[0] == 'G' && op == 0;
}

// A Hermitian matrix counts as its own conjugate transpose and its transpose as its conjugate, so
// an imaginary part that its diagonal should not have stays in the one and turns in the other.
template <class T>
dense<T> operand(const matrix<T>& a, const char* code, int op) {
  if (code[0] != 'H') return dense_of(a, code, op);
  dense<T> d = dense_of(a, code);
  for (int i = 0; i < a.rows; ++i) {
    for (int j = 0; j < a.cols; ++j) d(i, j) = op == 1 ? std::conj(d(i, j)) : d(i, j);
  }
  return d;
}

template <class T>
void expect_product(const nevrad::mv_kernel<T> kernel,
                    compression kind,
                    const char* code,
                    int op,
                    generator& random) {
  const bool square = code[0] != 'G';
  for (const int rows : {1, 3, 10, 41}) {
    const int cols = square ? rows : random.integer(1, 40);
    const matrix<T> a =
        random_matrix<T>(random,
                         {.rows = rows,
                          .cols = cols,
                          .base = code[3] == 'F' ? 1 : 0,
                          .kind = kind,
                          .typical = random.integer(1, 12),
                          .sorted = wants_sorted_lines(kind, code, op),
                          .gap = wants_packed_lines(kind, code, op) ? 0 : random.integer(0, 2)});
    const array<T> x = random.template values<T>(op == 0 ? cols : rows);
    const array<T> before = random.template values<T>(op == 0 ? rows : cols);
    const T alpha = random.chance(3) ? make<T>(1) : random.template value<T>();
    const T beta = random.chance(3) ? make<T>(0) : random.template value<T>();
    const dense<T> whole = operand(a, code, op);
    for (const int budget : budgets) {
      SCOPED_TRACE(testing::Message() << code << " op " << op << ", " << rows << " by " << cols
                                      << ", budget " << budget << ", " << random);
      const budget_scope threads(budget);
      array<T> y = before;
      ASSERT_EQ(kernel(a.view(), x.data(), y.data(), alpha, beta), 0);
      ASSERT_TRUE(is_product(y, whole, x, alpha, beta, before));
    }
  }
}

TYPED_TEST(mv_tables, rows_give_the_product_of_their_descriptor) {
  generator random(1);
  for (const auto& row : csrmv_table<TypeParam>) {
    for (const int op : {0, 1, 2}) {
      expect_product<TypeParam>(row.kernels.at[op], compression::rows, row.code, op, random);
    }
  }
}

TYPED_TEST(mv_tables, columns_give_the_product_of_their_descriptor_in_both_halves) {
  generator random(2);
  for (const auto& row : cscmv_table<TypeParam>) {
    for (const int slot : {0, 1, 2, 3, 4, 5}) {
      SCOPED_TRACE(slot < 3 ? "long columns" : "short columns");
      expect_product<TypeParam>(row.kernels.at[slot], compression::columns, row.code, slot % 3,
                                random);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
