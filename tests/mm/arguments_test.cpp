// Sizes that the products take and refuse, and how they take rows.
#include "support/matrix.h"
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)

// A call on a 2 by 3 matrix with one fault at a time.
template <class T>
struct call {
  int transa = 0;
  int m = 2;
  int n = 2;
  int k = 3;
  const char* descra = "G00F";
  int ldb = 3;
  int ldc = 2;

  int run() const {
    const T v = make<T>(2, 1);
    array<T> val(3, v);
    array<int> indx{1, 3, 2};
    array<int> begin{1, 3};
    array<int> end{3, 4};
    array<T> b(9, v);
    const array<T> before(9, v);
    array<T> c = before;
    const int status = csrmm<T>(transa, m, n, k, v, descra, val.data(), indx.data(), begin.data(),
                                end.data(), b.data(), ldb, v, c.data(), ldc);
    if (status != 0) EXPECT_SAME_ARRAYS(c, before);
    return status;
  }
};

template <class T>
class mm_arguments : public testing::Test {};
TYPED_TEST_SUITE(mm_arguments, all_types, type_names);

TYPED_TEST(mm_arguments, leading_dimensions_at_their_tightest) {
  using c = call<TypeParam>;
  EXPECT_EQ(c{.ldb = 2}.run(), 3);
  EXPECT_EQ(c{.ldc = 1}.run(), 3);
  // Transposed, B has m rows and C has k.
  EXPECT_EQ((c{.transa = 1, .ldb = 2, .ldc = 3}.run()), 0);
  EXPECT_EQ((c{.transa = 1, .ldb = 1, .ldc = 3}.run()), 3);
  EXPECT_EQ((c{.transa = 2, .ldb = 2, .ldc = 2}.run()), 3);
  EXPECT_EQ((c{.n = 3, .descra = "G00C", .ldb = 2, .ldc = 3}.run()), 3);
  EXPECT_EQ((c{.n = 3, .descra = "G00C", .ldb = 3, .ldc = 2}.run()), 3);
}

TYPED_TEST(mm_arguments, sizes_up_to_the_bound) {
  using c = call<TypeParam>;
  constexpr int most = 2147483645;
  EXPECT_EQ(c{.m = most + 1}.run(), 3);
  EXPECT_EQ(c{.n = most + 1}.run(), 3);
  EXPECT_EQ(c{.k = most + 1}.run(), 3);
  EXPECT_EQ((c{.n = 1048576, .ldb = 3, .ldc = 2048}.run()), 3);
  EXPECT_EQ((c{.n = 1048576, .ldb = 2048, .ldc = 2}.run()), 3);
  // Two columns of `most` elements are one product too many, one is not.
  EXPECT_EQ((c{.ldb = most}.run()), 3);
  EXPECT_EQ((c{.n = 1, .ldb = most, .ldc = most}.run()), 0);
  EXPECT_EQ((c{.m = 2, .n = 1, .k = 3, .descra = "G00C", .ldb = most / 3 + 1, .ldc = 1}.run()), 3);
}

// Only the first entry of pntrb counts: gaps between the rows' ends and beginnings do not survive.
TYPED_TEST(mm_arguments, rows_are_taken_as_packed) {
  using T = TypeParam;
  const T v = make<T>(1);
  array<T> val{make<T>(1), make<T>(2), make<T>(4)};
  array<int> indx{1, 1, 1};
  array<int> begin{1, -77};
  array<int> end{2, 4};
  array<T> b{v};
  array<T> c{make<T>(0), make<T>(0)};
  ASSERT_EQ(csrmm<T>(0, 2, 1, 1, v, "G00F", val.data(), indx.data(), begin.data(), end.data(),
                     b.data(), 1, v, c.data(), 2),
            0);
  EXPECT_SAME_BITS(c[0], make<T>(1));
  EXPECT_SAME_BITS(c[1], make<T>(6));
}

}  // namespace
}  // namespace nevrad_test
