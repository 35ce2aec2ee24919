// Arguments of the solves with many right-hand sides: statuses and their order, both forms.
#include "sm/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class many_solve_status : public testing::Test {};
TYPED_TEST_SUITE(many_solve_status, all_types, type_names);

// Every argument of a good call, one or two of them to be spoiled.
template <class T>
struct arguments {
  int op = 0, m = 2, n = 3, ldx = 2, ldy = 2;
  T alpha = make<T>(1);
  const char* code = "TLNF";
  const T* val;
  const int* indx;
  const int* begin;
  const int* end;
  const T* x;
  T* y;

  template <class Entry>
  nevrad::status operator()(Entry entry) const {
    return entry(op, m, n, alpha, code, val, indx, begin, end, x, ldx, y, ldy);
  }
};

TYPED_TEST(many_solve_status, faults_are_found_in_order_and_nothing_is_written) {
  using T = TypeParam;
  const auto a =
      compress<T>({{{0, make<T>(2)}}, {{0, make<T>(3)}, {1, make<T>(4)}}}, 2, compression::rows, 1);
  const array<T> x(6, make<T>(1));
  const array<T> y(6, make<T>(9));
  const arguments<T> good{.val = a.values.data(),
                          .indx = a.indices.data(),
                          .begin = a.begin.data(),
                          .end = a.end.data(),
                          .x = x.data(),
                          .y = y.data()};
  for (const auto entry : {csrsm<T>, cscsm<T>}) {
    const auto expect = [&](int status, const auto& spoil) {
      arguments<T> call = good;
      spoil(call);
      EXPECT_EQ(call(entry), status);
      EXPECT_SAME_ARRAYS(y, array<T>(6, make<T>(9)));
    };
    expect(1, [](auto& c) { c.val = nullptr; });
    expect(1, [](auto& c) { c.indx = nullptr; });
    expect(1, [](auto& c) { c.begin = nullptr; });
    expect(1, [](auto& c) { c.end = nullptr; });
    expect(1, [](auto& c) { c.code = nullptr; });
    expect(1, [](auto& c) { c.x = nullptr; });
    expect(1, [](auto& c) { c.y = nullptr, c.m = 0, c.op = 7, c.code = "????"; });
    for (const char* code : {"G00F", "SLNF", "HUUC", "tlnf", "TLNX", "TXNF", "D0XF"}) {
      expect(3, [=](auto& c) { c.code = code; });
    }
    expect(3, [](auto& c) { c.op = 3; });
    expect(3, [](auto& c) { c.op = -1; });
    expect(3, [](auto& c) { c.m = 0; });
    expect(3, [](auto& c) { c.m = 2147483646; });
    expect(3, [](auto& c) { c.n = 0; });
    expect(3, [](auto& c) { c.ldx = 1; });
    expect(3, [](auto& c) { c.ldy = 1; });
    expect(3, [](auto& c) { c.ldx = 2147483645 / 3 + 1; });
    expect(3, [](auto& c) { c.code = "TLNC", c.ldx = 3, c.ldy = 2; });
    expect(3, [](auto& c) { c.code = "TLNC", c.ldy = 3, c.ldx = 2147483645 / 2 + 1; });
    arguments<T> call = good;
    call.code = "D0NF";
    EXPECT_EQ(call(entry), 0);
    std::fill(y.begin(), y.end(), make<T>(9));
  }
}

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

TYPED_TEST(many_solve_status, the_underscore_forms_take_references) {
  using T = TypeParam;
  generator random(5);
  for (const compression kind : {compression::rows, compression::columns}) {
    matrix_kind like{.rows = 9, .cols = 9, .base = 1};
    like.kind = kind;
    like.diagonal = stored_diagonal::dominant;
    const auto a = random_matrix<T>(random, like);
    const solve_case c{"TUNF", 1};
    const T alpha = random.value<T>();
    const auto x = panel<T>::random(random, 9, 5, c.order(), 1);
    const panel<T> y(9, 5, c.order());
    const panel<T> want(9, 5, c.order());
    ASSERT_EQ(solve(a, c, alpha, x, want), 0);
    const int n = 5;
    const int ldx = x.ld();
    const int ldy = y.ld();
    const auto entry = kind == compression::rows ? csrsm_by_reference<T> : cscsm_by_reference<T>;
    ASSERT_EQ(entry(&c.op, &a.rows, &n, &alpha, "TUNF", a.values.data(), a.indices.data(),
                    a.begin.data(), a.end.data(), x.data(), &ldx, y.data(), &ldy),
              0);
    EXPECT_TRUE(same_panels(y, want));
  }
}

}  // namespace
}  // namespace nevrad_test
