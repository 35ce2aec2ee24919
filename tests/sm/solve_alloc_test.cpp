// Solves with many right-hand sides when memory runs out: status 2, and nothing stays behind.
#include "sm/blocks.h"
#include "sm/reference.h"
#include "support/allocator.h"

namespace nevrad_test {
namespace {

template <class T>
class many_solve_alloc : public testing::Test {};
TYPED_TEST_SUITE(many_solve_alloc, all_types, type_names);

// Elements still as they were made.
template <class T>
int unwritten(const panel<T>& y) {
  int count = 0;
  for (std::int64_t j = 0; j < y.cols(); ++j) {
    for (std::int64_t i = 0; i < y.rows(); ++i) count += element_is_nan(y(i, j)) ? 1 : 0;
  }
  return count;
}

TYPED_TEST(many_solve_alloc, every_allocation_may_fail) {
  using T = TypeParam;
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* code : {"TLNF", "TUUC", "D0NC", "D0UF"}) {
      for (int op = 0; op < 3; ++op) {
        for (const int threads : {1, 3}) {
          generator random(7);
          SCOPED_TRACE(testing::Message() << code << ", op " << op << ", budget " << threads);
          const solve_case c{code, op};
          const auto a = large_matrix<T>(random, 60, c.base(), kind, flaw::none);
          const auto x = panel<T>::random(random, 60, 9, c.order());
          const budget_scope budget(threads);
          const int blocks = expect_clean_failures([&] {
            const panel<T> y(60, 9, c.order());
            const auto status = solve(a, c, make<T>(1), x, y);
            // What one thread does is all or nothing.
            const bool whole = threads == 1 || code[0] == 'D';
            if (whole) EXPECT_EQ(unwritten(y), status == 0 ? 0 : 60 * 9);
            return status;
          });
          // The copy's four; those of transposing, once or twice; the cut triangle's five; panels.
          const bool once = (kind == compression::rows) != (op == 0);
          const int triangular = 4 + (once ? 5 : 10) + 5 + threads;
          const int diagonal = 4 + (c.unit() ? 0 : 1) + (threads == 1 ? 0 : 1);
          EXPECT_EQ(blocks, code[0] == 'D' ? diagonal : triangular);
        }
      }
    }
  }
}

// A thread that gets no scratch leaves its columns alone; the others are written.
TYPED_TEST(many_solve_alloc, columns_of_other_threads_are_written) {
  using T = TypeParam;
  generator random(8);
  const solve_case c{"TLNF", 1};
  const auto a = large_matrix<T>(random, 50, 1, compression::rows, flaw::none);
  const auto x = panel<T>::random(random, 50, 12, c.order());
  const panel<T> all(50, 12, c.order());
  const budget_scope budget(3);
  int calls = 0;
  {
    const allocator_scope memory;
    ASSERT_EQ(solve(a, c, make<T>(1), x, all), 0);
    calls = memory.calls();
  }
  panel<T> some(50, 12, c.order());
  {
    const allocator_scope memory(failing::once, calls);
    ASSERT_EQ(solve(a, c, make<T>(1), x, some), ORV_SPARSE_STATUS_ALLOC_FAILED);
  }
  int untouched = 0;
  for (int j = 0; j < 12; ++j) {
    const bool written = !element_is_nan(some(0, j));
    untouched += written ? 0 : 1;
    for (int i = 0; i < 50; ++i) {
      if (written) {
        EXPECT_SAME_BITS(some(i, j), all(i, j));
      } else {
        EXPECT_TRUE(element_is_nan(some(i, j)));
      }
    }
  }
  EXPECT_EQ(untouched, 4);
}

// Pointer words that are not a 32-bit number cannot be had, whatever memory there is.
TYPED_TEST(many_solve_alloc, orders_have_an_end) {
  using T = TypeParam;
  const allocator_scope memory;
  for (const int order : {2200000, 3000000}) {
    nevrad::sm_blocks<T> blocks;
    EXPECT_EQ(nevrad::sm_block_storage_alloc(order, 1, (order - 1) / 1024 + 1, blocks), 2);
  }
  EXPECT_EQ(memory.live(), 0);
}

}  // namespace
}  // namespace nevrad_test
