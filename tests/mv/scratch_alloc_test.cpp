// Each allocation of a matrix-vector product failing in turn: the documented status and state of y,
// and nothing left behind; and how many allocations each form makes.
#include "mv/tables.h"
#include "support/allocator.h"
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

using nevrad::cscmv_table;
using nevrad::csrmv_table;

template <class T>
class failing_mv : public testing::Test {};
TYPED_TEST_SUITE(failing_mv, all_types, type_names);

// What a kernel is expected to do with memory on a budget.
struct scratch_use {
  int blocks = 0;             // allocations of an undisturbed call
  bool scales_first = false;  // y is scaled (and a diagonal of ones applied) before them
  bool is_silent = false;     // a failure is answered with 0
};

scratch_use use_of(compression kind,
                   const char* code,
                   int op,
                   bool short_columns,
                   int budget,
                   bool complex) {
  const bool by_rows = kind == compression::rows;
  const bool alone = budget == 1;
  const scratch_use vector_a_thread{1 + budget, true, false};
  switch (code[0]) {
    case 'G':
      return {(op == 0) == by_rows ? 0 : 1, false, false};
    case 'D':
      return {by_rows || alone ? 0 : 2, false, false};
    case 'T':
      if (by_rows && op == 0) return {alone ? 0 : 1, false, false};
      if (by_rows && op == 2 && complex) return {alone ? 0 : 2, false, false};
      if (!by_rows && op != 0) return {};
      if (!by_rows && short_columns && alone) return {};
      return {1 + budget, true, by_rows || short_columns};
    default:
      if (by_rows) return {alone ? 0 : 2, false, false};
      return short_columns && alone ? scratch_use{} : vector_a_thread;
  }
}

template <class T>
void expect_documented_failures(const nevrad::mv_kernel<T> kernel,
                                const char* code,
                                const matrix<T>& a,
                                const scratch_use& use) {
  const array<T> x(a.rows, make<T>(3));
  const array<T> before(a.rows, make<T>(8));
  const T alpha = make<T>(2);
  const T beta = make<T>(0.5);
  array<T> y = before;
  int blocks = 0;
  {
    const allocator_scope memory;
    EXPECT_EQ(kernel(a.view(), x.data(), y.data(), alpha, beta), 0);
    blocks = memory.calls();
    EXPECT_EQ(memory.live(), 0);
  }
  EXPECT_EQ(blocks, use.blocks);
  const T left = make<T>(!use.scales_first ? 8 : code[2] == 'U' ? 10 : 4);
  for (const failing mode : {failing::once, failing::from_then_on}) {
    for (int n = 1; n <= blocks; ++n) {
      SCOPED_TRACE(n);
      y = before;
      const allocator_scope memory(mode, n);
      EXPECT_EQ(kernel(a.view(), x.data(), y.data(), alpha, beta),
                use.is_silent ? ORV_SPARSE_STATUS_SUCCESS : ORV_SPARSE_STATUS_ALLOC_FAILED);
      EXPECT_EQ(memory.live(), 0);
      EXPECT_SAME_ARRAYS(y, (array<T>(a.rows, left)));
    }
  }
}

TYPED_TEST(failing_mv, gives_the_documented_status_and_leaves_y_as_documented) {
  using T = TypeParam;
  generator random(1);
  for (const compression kind : {compression::rows, compression::columns}) {
    const matrix<T> a =
        random_matrix<T>(random, {.rows = 9, .cols = 9, .base = 1, .kind = kind, .sorted = true});
    for (const int budget : {1, 4}) {
      const budget_scope threads(budget);
      if (kind == compression::rows) {
        for (const auto& row : csrmv_table<T>) {
          if (row.one_based == 0) continue;
          for (const int op : {0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << row.code << " by rows, op " << op << ", " << budget);
            expect_documented_failures<T>(row.kernels.at[op], row.code, a,
                                          use_of(kind, row.code, op, false, budget, is_complex<T>));
          }
        }
        continue;
      }
      for (const auto& row : cscmv_table<T>) {
        if (row.one_based == 0) continue;
        for (const int slot : {0, 1, 2, 3, 4, 5}) {
          SCOPED_TRACE(testing::Message() << row.code << " by columns, " << slot << ", " << budget);
          expect_documented_failures<T>(row.kernels.at[slot], row.code, a,
                                        use_of(kind, row.code, slot % 3, slot >= 3, budget,
                                               is_complex<T>));
        }
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
