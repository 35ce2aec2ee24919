// Solves with diagonal matrices: one division and one product an element, to the bit.
#include "sm/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class diagonal_solve : public testing::Test {};
TYPED_TEST_SUITE(diagonal_solve, all_types, type_names);

template <class T>
T divided(T alpha, T d, bool conjugated) {
  if constexpr (is_complex<T>) {
    const auto size = std::fma(d.re, d.re, d.im * d.im);
    if (conjugated) {
      return {std::fma(alpha.re, d.re, -(alpha.im * d.im)) / size,
              std::fma(alpha.im, d.re, alpha.re * d.im) / size};
    }
    return {std::fma(alpha.re, d.re, alpha.im * d.im) / size,
            std::fma(alpha.im, d.re, -(alpha.re * d.im)) / size};
  } else {
    return alpha / d;
  }
}

// The last diagonal entry of a line counts; none gives zero.
template <class T>
T wanted(const matrix<T>& a, const solve_case& c, T alpha, T x, int i) {
  if (c.unit()) return multiply_fused(x, alpha);
  T inverse{};
  for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
    if (a.indices[p] - a.base == i) inverse = divided(alpha, a.values[p], c.op == 2);
  }
  return multiply_fused(inverse, x);
}

TYPED_TEST(diagonal_solve, has_the_documented_bits) {
  using T = TypeParam;
  int k = 0;
  for (const char* code : {"D0NF", "DUNC", "DLUF", "D0UC"}) {
    for (const int n : {1, 3, 4, 16, 23}) {
      for (const int order : {1, 7, 30}) {
        for (int op = 0; op < 3; ++op, ++k) {
          generator random(static_cast<std::uint64_t>(k));
          SCOPED_TRACE(random);
          const solve_case c{code, op};
          const auto kind = random.chance(2) ? compression::rows : compression::columns;
          const auto wrong = random.chance(2) ? flaw::missing_diagonals : flaw::duplicates;
          const auto a = large_matrix<T>(random, order, c.base(), kind, wrong);
          const T alpha = random.value<T>();
          const auto x = panel<T>::random(random, order, n, c.order(), k % 2);
          const budget_scope budget(budgets[random.integer(0, 3)]);
          const panel<T> y(order, n, c.order(), 1);
          ASSERT_EQ(solve(a, c, alpha, x, y), 0);
          panel<T> want(order, n, c.order());
          for (int i = 0; i < order; ++i) {
            for (int j = 0; j < n; ++j) want(i, j) = wanted(a, c, alpha, x(i, j), i);
          }
          EXPECT_TRUE(same_panels(y, want)) << code << ", op " << op << ", n " << n;
          panel<T> in_place = x;
          ASSERT_EQ(solve(a, c, alpha, in_place, in_place), 0);
          EXPECT_TRUE(same_panels(in_place, want)) << code << ", in place";
        }
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
