// What the entries by columns do to the thread budget.
#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)

template <class T>
class mm_columns : public testing::Test {};
TYPED_TEST_SUITE(mm_columns, all_types, type_names);

// A call that the kernel refuses has passed the thread policy, which other refusals have not.
TYPED_TEST(mm_columns, lower_the_budget_ahead_of_the_kernel) {
  using T = TypeParam;
  const T v = make<T>(2, 1);
  const array<T> values(9, v);
  const array<int> indices{1, 2, 1, 2};
  const array<int> none(3, 1);
  const budget_scope budget(8);
  const auto call = [&](int ldb) {
    return cscmm<T>(0, 2, 2, 3, v, "G00F", values.data(), indices.data(), none.data(), none.data(),
                    values.data(), ldb, v, values.data(), 2);
  };
  EXPECT_EQ(call(2), 3);
  EXPECT_EQ(orv_get_thread_num_(), 8);
  EXPECT_EQ(call(3), 3);
  EXPECT_EQ(orv_get_thread_num_(), 1);
}

}  // namespace
}  // namespace nevrad_test
