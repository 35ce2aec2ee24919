// Sparse vector updates: statuses, exact results, order of positions, and nothing else touched.
#include "support/exact.h"
#include "support/random.h"
#include "support/threads.h"

#include <functional>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(axpyi, orv_sparse_, axpyi)
NEVRAD_BY_TYPE(gthr, orv_sparse_, gthr)
NEVRAD_BY_TYPE(gthrz, orv_sparse_, gthrz)
NEVRAD_BY_TYPE(sctr, orv_sparse_, sctr)
NEVRAD_BY_REAL_TYPE(roti, orv_sparse_, roti)

constexpr std::int64_t dense_length = 60;

// Distinct positions in random order.
array<int> distinct_positions(generator& random, int nnz) {
  std::vector<int> all(dense_length);
  for (int i = 0; i < dense_length; ++i) all[static_cast<std::size_t>(i)] = i;
  for (std::size_t i = all.size() - 1; i > 0; --i) {
    std::swap(all[i], all[static_cast<std::size_t>(random.integer(0, static_cast<int>(i)))]);
  }
  all.resize(static_cast<std::size_t>(nnz));
  return array<int>(all);
}

template <class T>
class updates : public testing::Test {
 protected:
  struct operands {
    array<T> x;
    array<int> indx;
    array<T> y;
  };

  // Runs the library's operation on every budget, and the position-by-position model; each starts
  // from the same random operands. nnz runs over all remainders of the loops.
  void compare(const std::function<nevrad::status(int, operands&)>& operation,
               const std::function<void(T&, T&)>& one_position) {
    for (const int threads : budgets) {
      const budget_scope budget(threads);
      for (const int nnz : {1, 2, 3, 4, 5, 7, 8, 29, 60}) {
        generator random(static_cast<std::uint64_t>(nnz));
        SCOPED_TRACE(random);
        SCOPED_TRACE(threads);
        const array<T> x = random.values<T>(nnz);
        const array<int> indx = distinct_positions(random, nnz);
        const array<T> y = random.values<T>(dense_length);
        operands want{x, indx, y};
        for (int i = 0; i < nnz; ++i) one_position(want.x[i], want.y[indx[i]]);
        operands got{x, indx, y};
        EXPECT_EQ(operation(nnz, got), ORV_SPARSE_STATUS_SUCCESS);
        EXPECT_SAME_ARRAYS(got.x, want.x);
        EXPECT_SAME_ARRAYS(got.y, want.y);
        EXPECT_SAME_ARRAYS(got.indx, indx);
      }
    }
  }
};
TYPED_TEST_SUITE(updates, all_types, type_names);

TYPED_TEST(updates, move_and_add_to_the_bit) {
  using T = TypeParam;
  generator random(3);
  const T alpha = random.value<T>();
  this->compare([&](int n,
                    auto& v) { return axpyi<T>(n, alpha, v.x.data(), v.indx.data(), v.y.data()); },
                [&](T& u, T& v) {
                  v = is_complex<T> ? exact_add(exact_fused_product(alpha, u), v)
                                    : exact_multiply_add(v, alpha, u);
                });
  this->compare([](int n, auto& v) { return gthr<T>(n, v.y.data(), v.x.data(), v.indx.data()); },
                [](T& u, T& v) { u = v; });
  this->compare([](int n, auto& v) { return gthrz<T>(n, v.y.data(), v.x.data(), v.indx.data()); },
                [](T& u, T& v) {
                  u = v;
                  v = T{};
                });
  this->compare([](int n, auto& v) { return sctr<T>(n, v.x.data(), v.indx.data(), v.y.data()); },
                [](T& u, T& v) { v = u; });
}

// One thread, positions 2 and 0 twice and thrice: the order of positions decides.
TYPED_TEST(updates, go_in_ascending_order_of_positions_on_one_thread) {
  using T = TypeParam;
  const budget_scope one(1);
  generator random(4);
  const array<int> indx{2, 0, 2, 0, 1, 2, 0};
  const auto nnz = static_cast<int>(indx.size());
  const array<T> x = random.values<T>(nnz);
  const array<T> y = random.values<T>(3);
  const T alpha = random.value<T>();

  array<T> got = y;
  array<T> want = y;
  EXPECT_EQ(axpyi<T>(nnz, alpha, x.data(), indx.data(), got.data()), 0);
  for (int i = 0; i < nnz; ++i) {
    T& v = want[indx[i]];
    v = is_complex<T> ? exact_add(exact_fused_product(alpha, x[i]), v)
                      : exact_multiply_add(v, alpha, x[i]);
  }
  EXPECT_SAME_ARRAYS(got, want);

  EXPECT_EQ(sctr<T>(nnz, x.data(), indx.data(), got.data()), 0);
  EXPECT_SAME_ARRAYS(got, (array<T>{x[6], x[4], x[5]}));

  array<T> gathered(nnz);
  got = y;
  EXPECT_EQ(gthrz<T>(nnz, got.data(), gathered.data(), indx.data()), 0);
  EXPECT_SAME_ARRAYS(gathered, (array<T>{y[2], y[0], T{}, T{}, y[1], T{}, T{}}));
  EXPECT_SAME_ARRAYS(got, array<T>(3));
}

// alpha = 0 makes the pass all the same; positions that are not named keep their NaN.
TYPED_TEST(updates, take_no_short_cut_and_touch_nothing_else) {
  using T = TypeParam;
  const array<int> indx{3, 1};
  array<T> y(5, quiet_nan<T>());
  y[1] = make<T>(1, 1);
  y[3] = make<T>(1, 1);
  const array<T> x{quiet_nan<T>(), make<T>(1, 1)};
  EXPECT_EQ(axpyi<T>(2, T{}, x.data(), indx.data(), y.data()), 0);
  EXPECT_TRUE(element_is_nan(y[3]));
  EXPECT_SAME_BITS(y[1], make<T>(1, 1));
  EXPECT_EQ(sctr<T>(1, x.data() + 1, indx.data(), y.data()), 0);
  EXPECT_SAME_BITS(y[3], x[1]);
  for (const int untouched : {0, 2, 4}) EXPECT_TRUE(element_is_nan(y[untouched]));
}

template <class T>
class plane_rotation : public updates<T> {};
TYPED_TEST_SUITE(plane_rotation, real_types, type_names);

TYPED_TEST(plane_rotation, fuses_the_product_with_the_cosine) {
  using T = TypeParam;
  generator random(5);
  const T c = random.value<T>();
  const T s = random.value<T>();
  for (const auto& [cosine, sine] :
       {std::pair{c, s}, std::pair{T{0}, T{1}}, std::pair{T{1}, T{0}}}) {
    const T cs = cosine;
    const T sn = sine;
    this->compare(
        [=](int n, auto& v) { return roti<T>(n, v.x.data(), v.indx.data(), v.y.data(), cs, sn); },
        [=](T& u, T& v) {
          const T old = u;
          u = fused(cs, old, rounded(sn, v));
          v = fused(cs, v, -rounded(sn, old));
        });
  }
}

// Rotations by one angle at one place follow one another.
TYPED_TEST(plane_rotation, applies_duplicates_in_turn) {
  using T = TypeParam;
  const budget_scope one(1);
  generator random(6);
  array<T> x = random.values<T>(3);
  array<T> y = random.values<T>(1);
  const array<int> indx{0, 0, 0};
  const T c = random.value<T>();
  const T s = random.value<T>();
  array<T> x_want = x;
  T v = y[0];
  for (int i = 0; i < 3; ++i) {
    x_want[i] = fused(c, x[i], rounded(s, v));
    v = fused(c, v, -rounded(s, x[i]));
  }
  EXPECT_EQ(roti<T>(3, x.data(), indx.data(), y.data(), c, s), 0);
  EXPECT_SAME_ARRAYS(x, x_want);
  EXPECT_SAME_BITS(y[0], v);
}

}  // namespace
}  // namespace nevrad_test
