// The entries by columns: what they refuse, and what they do to the thread budget.
#include "support/matrix.h"
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)
NEVRAD_BY_TYPE(cscmm_by_reference, orv_sparse_, cscmm_)

// A call on a 2 by 3 matrix, four entries in three columns, with one fault at a time.
template <class T>
struct call {
  int transa = 0;
  int m = 2;
  int n = 2;
  int k = 3;
  const char* descra = "G00F";
  int ldb = 3;
  int ldc = 2;
  int null_argument = -1;
  int entries = 4;

  int run() const {
    const T v = make<T>(2, 1);
    const array<T> val(4, v);
    const array<int> indx{1, 2, 1, 2};
    const array<int> begin = entries == 4 ? array<int>{1, 2, 4} : array<int>{1, 1, 1};
    const array<int> end = entries == 4 ? array<int>{2, 4, 5} : array<int>{1, 1, 1};
    const array<T> b(9, v);
    const array<T> before(9, v);
    const array<T> c = before;
    const auto unless = [&](int argument, auto* p) {
      return argument == null_argument ? nullptr : p;
    };
    const int status =
        cscmm<T>(transa, m, n, k, v, unless(0, descra), unless(1, val.data()),
                 unless(2, indx.data()), unless(3, begin.data()), unless(4, end.data()),
                 unless(5, b.data()), ldb, v, unless(6, c.data()), ldc);
    if (status != 0) EXPECT_SAME_ARRAYS(c, before);
    return status;
  }
};

template <class T>
class mm_columns : public testing::Test {};
TYPED_TEST_SUITE(mm_columns, all_types, type_names);

TYPED_TEST(mm_columns, refuse_faults_in_order) {
  using c = call<TypeParam>;
  const budget_scope budget(8);
  for (int argument = 0; argument < 7; ++argument) {
    EXPECT_EQ((c{.transa = 5, .null_argument = argument}.run()), 1) << argument;
  }
  EXPECT_EQ(c{.transa = 3}.run(), 3);
  EXPECT_EQ(c{.descra = "S0NF"}.run(), 3);
  EXPECT_EQ(c{.n = 0}.run(), 3);
  EXPECT_EQ(c{.k = 2147483646}.run(), 3);
  EXPECT_EQ(c{.ldb = 2}.run(), 3);
  EXPECT_EQ((c{.transa = 1, .ldb = 2, .ldc = 2}.run()), 3);
  EXPECT_EQ(c{.descra = "D0UF"}.run(), 3) << "not square";
  EXPECT_EQ(orv_get_thread_num_(), 8) << "a refused call leaves the budget";
  EXPECT_EQ((c{.entries = 0}.run()), 3);
  EXPECT_EQ(orv_get_thread_num_(), 1) << "the kernel refuses, behind the thread policy";
  EXPECT_EQ(c{}.run(), 0);
  EXPECT_EQ((c{.transa = 1, .ldb = 2, .ldc = 3}.run()), 0);
}

TYPED_TEST(mm_columns, underscore_form_computes_the_same) {
  using T = TypeParam;
  generator random(1);
  const auto a =
      random_matrix<T>(random, {.rows = 9, .cols = 9, .base = 1, .kind = compression::columns});
  const auto b = panel<T>::random(random, 9, 5, layout::column_major, 1);
  const auto before = panel<T>::random(random, 9, 5, layout::column_major, 2);
  const T alpha = random.value<T>();
  const T beta = random.value<T>();
  const int op = 1;
  const int n = 5;
  const int ldb = b.ld();
  const int ldc = before.ld();
  const panel<T> c = before;
  EXPECT_EQ(cscmm_by_reference<T>(&op, &a.rows, &n, &a.cols, &alpha, "SUNF", a.values.data(),
                                  a.indices.data(), a.begin.data(), a.end.data(), b.data(), &ldb,
                                  &beta, c.data(), &ldc),
            0);
  EXPECT_TRUE(is_product(c, dense_of(a, "SUNF"), b, alpha, beta, before));
}

}  // namespace
}  // namespace nevrad_test
