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

struct policy_case {
  int entries, order, before, after;
};

TYPED_TEST(mm_columns, lower_the_budget_and_leave_it) {
  using T = TypeParam;
  for (const policy_case row : {policy_case{49999, 1000, 8, 1},
                                {50000, 10000, 8, 1},
                                {50000, 1000, 64, 32},
                                {50000, 1000, 16, 16},
                                {49999, 1000, 1, 1},
                                {50001, 10000, 2, 2}}) {
    SCOPED_TRACE(testing::Message() << row.entries << " entries, order " << row.order);
    // Diagonal, so that the call is cheap whatever the arrays hold.
    array<T> values(row.entries, make<T>(1));
    array<int> indices(row.entries, 0);
    array<int> begin(row.order, 0);
    array<int> end(row.order, row.entries);
    array<T> b(row.order, make<T>(1));
    array<T> c(row.order, make<T>(1));
    const T one = make<T>(1);
    const budget_scope scope(row.before);
    const int limit = orv_get_thread_num_();
    if (limit != row.before) continue;
    EXPECT_EQ(cscmm<T>(0, row.order, 0, row.order, one, "D0UC", values.data(), indices.data(),
                       begin.data(), end.data(), b.data(), 1, one, c.data(), 1),
              3);
    EXPECT_EQ(orv_get_thread_num_(), row.before) << "a failed test of dimensions";
    EXPECT_EQ(cscmm<T>(0, row.order, 1, row.order, one, "D0UC", values.data(), indices.data(),
                       begin.data(), end.data(), b.data(), 1, one, c.data(), 1),
              0);
    EXPECT_EQ(orv_get_thread_num_(), row.after);
  }
}

}  // namespace
}  // namespace nevrad_test
