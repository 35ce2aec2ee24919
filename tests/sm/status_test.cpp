// Solves with many right-hand sides on matrices without entries.
#include "sm/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class many_solve_status : public testing::Test {};
TYPED_TEST_SUITE(many_solve_status, all_types, type_names);

// By rows an empty matrix cannot be copied, by columns it can, but not turned into rows.
TYPED_TEST(many_solve_status, an_empty_matrix_is_refused_except_as_diagonal_by_columns) {
  using T = TypeParam;
  const array<T> val(1, make<T>(5));
  const array<T> x(4, make<T>(3));
  for (const int base : {0, 1}) {
    const array<int> none(2, base);
    for (const char* code : {"TLN", "TUU", "D0N", "D0U"}) {
      const std::string full = std::string(code) + (base == 1 ? "F" : "C");
      for (int op = 0; op < 3; ++op) {
        array<T> y(4, make<T>(9));
        const auto run = [&](auto entry) {
          return entry(op, 2, 2, make<T>(2), full.c_str(), val.data(), none.data(), none.data(),
                       none.data(), x.data(), 2, y.data(), 2);
        };
        EXPECT_EQ(run(csrsm<T>), 3) << full;
        EXPECT_EQ(run(cscsm<T>), code[0] == 'D' ? 0 : 3) << full << " by columns, op " << op;
        const T want = code[0] == 'T' ? make<T>(9) : (code[2] == 'U' ? make<T>(6) : make<T>(0));
        EXPECT_SAME_ARRAYS(y, array<T>(4, want));
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
