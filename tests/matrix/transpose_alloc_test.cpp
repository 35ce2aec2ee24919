// Transposition when memory runs out: status 2, nothing handed out and nothing left behind.
#include "matrix/transpose.h"

#include "support/allocator.h"
#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

template <class T>
class transpose_alloc : public testing::Test {};
TYPED_TEST_SUITE(transpose_alloc, all_types, type_names);

TYPED_TEST(transpose_alloc, takes_counts_and_a_matrix_and_gives_all_back) {
  using T = TypeParam;
  generator random(5);
  const matrix<T> a = random_matrix<T>(random, {.rows = 6, .cols = 7, .base = 1});
  const auto view = a.view();
  const auto blocks_of = [&](const auto& make) {
    return expect_clean_failures([&] {
      nevrad::scoped_matrix<T> t;
      const nevrad::status result = make(t.out());
      EXPECT_EQ(result == ORV_SPARSE_STATUS_SUCCESS, t.get() != nullptr);
      return result;
    });
  };
  using out = nevrad::owned_matrix<T>**;
  const budget_scope threads(3);
  EXPECT_EQ(blocks_of([&](out t) { return nevrad::csr_transpose(view, t); }), 5);
  EXPECT_EQ(blocks_of([&](out t) { return nevrad::csr_transpose_parallel(view, t); }), 5);
  EXPECT_EQ(blocks_of([&](out t) { return nevrad::csr_to_csc_parallel(&view, t); }), 5);
  EXPECT_EQ(blocks_of([&](out t) { return nevrad::csr_sort_by_double_transpose(view, t); }), 10);
}

}  // namespace
}  // namespace nevrad_test
