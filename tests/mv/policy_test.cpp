// What a product with a vector does to the thread budget.
#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)

// m by k with `entries` of them in the last row and the others empty, all in the first column, so
// that a call is quick whatever the size that it claims.
struct sized {
  int m, k, entries;
};

template <class T>
int budget_after(int before, const char* descra, const sized& size) {
  const int base = descra[3] == 'F' ? 1 : 0;
  array<int> ends(size.m, base);
  ends[size.m - 1] = size.entries + base;
  array<int> begins(size.m, base);
  const array<int> indices(std::max(size.entries, 1), base);
  const array<T> values(std::max(size.entries, 1));
  const array<T> x(size.k);
  array<T> y(size.m);
  const budget_scope budget(before);
  EXPECT_EQ(csrmv<T>(0, size.m, size.k, make<T>(1), descra, values.data(), indices.data(),
                     begins.data(), ends.data(), x.data(), make<T>(0), y.data()),
            ORV_SPARSE_STATUS_SUCCESS);
  return orv_get_thread_num_();
}

template <class T>
class thread_policy : public testing::Test {};
// The policy is one code for all types; s makes the large cases cheap.
TYPED_TEST_SUITE(thread_policy, testing::Types<float>, type_names);

TYPED_TEST(thread_policy, lowers_to_eight_or_to_one_and_never_raises) {
  using T = TypeParam;
  struct {
    const char* descra;
    sized size;
    int wanted;
  } const cases[] = {
      {"G00F", {1000, 1000, 800000}, 8},
      {"G00C", {1000, 1000, 799999}, 1},     // one entry too few
      {"G00F", {100000, 80000, 800000}, 8},  // a density of 0.0001 to the bit
      {"G00F", {100000, 80001, 800000}, 1},  // just below
      {"G00F", {90000, 88889, 800001}, 1},   // 0.0001 if m * k were formed first
      {"G00C", {2, 2, 0}, 1},
      {"G00F", {1, 1, 1}, 1},
      {"SLNF", {900, 900, 800000}, 8},
      {"D0NC", {900, 900, 800000}, 1},  // a diagonal matrix is never worth a team
  };
  for (const auto& c : cases) {
    for (const int before : {1, 2, 7, 8, 9, 16}) {
      EXPECT_EQ(budget_after<T>(before, c.descra, c.size), std::min(before, c.wanted))
          << c.descra << ' ' << c.size.m << " by " << c.size.k << ", " << c.size.entries
          << " entries, budget " << before;
    }
  }
}

}  // namespace
}  // namespace nevrad_test
