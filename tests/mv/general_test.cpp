// y = alpha A x + beta y for general matrices stored by rows, against dense arithmetic.
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)

template <class T>
class general_product : public testing::Test {};
TYPED_TEST_SUITE(general_product, all_types, type_names);

TYPED_TEST(general_product, agrees_with_dense_arithmetic) {
  using T = TypeParam;
  for (int round = 0; round < 24; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const int base = round % 2;
    const auto a = random_matrix<T>(random, {.rows = random.integer(1, 40),
                                             .cols = random.integer(1, 40),
                                             .base = base,
                                             .typical = random.integer(0, 12),
                                             .duplicates = random.chance(2)});
    const auto x = random.values<T>(a.cols);
    const auto before = random.values<T>(a.rows);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    const budget_scope budget(1);
    array<T> y = before;
    ASSERT_EQ(csrmv<T>(0, a.rows, a.cols, alpha, base == 1 ? "G00F" : "G00C", a.values.data(),
                       a.indices.data(), a.begin.data(), a.end.data(), x.data(), beta, y.data()),
              0);
    EXPECT_TRUE(is_product(y, dense_of(a, "G00C"), x, alpha, beta, before));
  }
}

}  // namespace
}  // namespace nevrad_test
