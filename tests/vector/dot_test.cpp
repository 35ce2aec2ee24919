// Sparse dot products: statuses, the exact chain on one thread, and both roundings of z.
#include "support/exact.h"
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_REAL_TYPE(doti, orv_sparse_, doti)
NEVRAD_BY_COMPLEX_TYPE(dotui, orv_sparse_, dotui_sub)
NEVRAD_BY_COMPLEX_TYPE(dotci, orv_sparse_, dotci_sub)
// The dot of a type, conjugated or not.
template <class T>
nevrad::status dot(conjugate how, int nnz, const T* x, const int* indx, const T* y, T* result) {
  if constexpr (is_complex<T>) {
    return (how == conjugate::yes ? dotci<T> : dotui<T>)(nnz, x, indx, y, result);
  } else {
    return doti<T>(nnz, x, indx, y, result);
  }
}

// One position's term added to a sum, as a region's thread adds it.
template <class T>
T add_term(conjugate how, T sum, T u, T v) {
  if constexpr (!is_complex<T>) {
    return fused(u, v, sum);
  } else if (how == conjugate::no) {
    return exact_add(sum, exact_product(u, v));
  } else if constexpr (is_single<T>) {
    return exact_add(sum, T{fused(u.re, v.re, rounded(u.im, v.im)),
                            fused(u.re, v.im, -rounded(u.im, v.re))});
  } else {
    return exact_add(sum, T{rounded_sum(rounded(v.re, u.re), rounded(v.im, u.im)),
                            rounded_sum(rounded(v.im, u.re), -rounded(v.re, u.im))});
  }
}

template <class T>
T chain(conjugate how,
        bool rotated,
        int nnz,
        const array<T>& x,
        const array<int>& indx,
        const array<T>& y) {
  T sum{};
  for (int i = 0; i < nnz; ++i) {
    sum = rotated ? exact_multiply_add(sum, x[i], y[indx[i]], how)
                  : add_term(how, sum, x[i], y[indx[i]]);
  }
  return sum;
}

template <class T>
class dots : public testing::Test {
 protected:
  static std::vector<conjugate> forms() {
    if (is_complex<T>) return {conjugate::no, conjugate::yes};
    return {conjugate::no};
  }
  // z on one thread rotates, everything else adds terms.
  static constexpr bool rotates_on_one_thread = is_complex<T> && !is_single<T>;
};
TYPED_TEST_SUITE(dots, all_types, type_names);

TYPED_TEST(dots, add_in_the_order_of_positions_on_one_thread) {
  using T = TypeParam;
  const budget_scope one(1);
  int forms_part = 0;
  for (const conjugate how : this->forms()) {
    for (int nnz = 1; nnz <= 40; ++nnz) {
      generator random(static_cast<std::uint64_t>(nnz));
      SCOPED_TRACE(random);
      const array<T> x = random.values<T>(nnz);
      const array<T> y = random.values<T>(20);
      array<int> indx(nnz);
      for (int& j : indx) j = random.integer(0, 19);
      const T want = chain(how, this->rotates_on_one_thread, nnz, x, indx, y);
      array<T> result(1, quiet_nan<T>());
      EXPECT_EQ(dot<T>(how, nnz, x.data(), indx.data(), y.data(), result.data()), 0);
      EXPECT_SAME_BITS(result[0], want);
      forms_part += same_bits(want, chain(how, false, nnz, x, indx, y)) ? 0 : 1;
    }
  }
  if (this->rotates_on_one_thread) {
    EXPECT_GT(forms_part, 40) << "the values must tell the two roundings of z apart";
  }
}

// Several threads: which sums meet when is the runtime's affair, so bits are fixed only where a
// single term is not zero; for the rest the result is held against wider arithmetic.
TYPED_TEST(dots, round_terms_as_a_region_does_on_several_threads) {
  using T = TypeParam;
  for (const int threads : {2, 3, 7}) {
    const budget_scope budget(threads);
    for (const conjugate how : this->forms()) {
      for (int round = 0; round < 20; ++round) {
        generator random(static_cast<std::uint64_t>(round));
        SCOPED_TRACE(random);
        const array<T> x = random.values<T>(1);
        const array<int> indx{0};
        const array<T> y = random.values<T>(1);
        T result = quiet_nan<T>();
        EXPECT_EQ(dot<T>(how, 1, x.data(), indx.data(), y.data(), &result), 0);
        EXPECT_SAME_BITS(result, chain(how, false, 1, x, indx, y));
      }
    }
  }
}

TYPED_TEST(dots, agree_with_wider_arithmetic_on_every_budget) {
  using T = TypeParam;
  for (const int threads : budgets) {
    const budget_scope budget(threads);
    for (const conjugate how : this->forms()) {
      for (const int nnz : {1, 2, 5, 33, 1000}) {
        generator random(static_cast<std::uint64_t>(nnz));
        SCOPED_TRACE(random);
        const array<T> x = random.values<T>(nnz);
        const array<T> y = random.values<T>(100);
        array<int> indx(nnz);
        for (int& j : indx) j = random.integer(0, 99);
        dense<T> row(1, nnz);
        dense<T> column(nnz, 1);
        for (int i = 0; i < nnz; ++i) {
          row(0, i) = how == conjugate::yes ? std::conj(widen(x[i])) : widen(x[i]);
          column(i, 0) = widen(y[indx[i]]);
        }
        array<T> result(1);
        EXPECT_EQ(dot<T>(how, nnz, x.data(), indx.data(), y.data(), result.data()), 0);
        EXPECT_TRUE(is_close(widen_vector(result),
                             product(row, column, make<T>(1), T{}, dense<T>(1, 1)), nnz + 8.0));
      }
    }
  }
}

// Terms below the smallest number: a fused step ends at -0, and 0 + -0 is 0 where a region's
// shared sum, or its one-thread form, starts at 0.
TYPED_TEST(dots, start_at_zero) {
  using T = TypeParam;
  using R = real_of<T>;
  const double tiny = std::numeric_limits<R>::denorm_min();
  const array<T> x{make<T>(tiny)};
  const array<T> y{make<T>(-tiny)};
  const array<int> indx{0};
  for (const int threads : {1, 2}) {
    const budget_scope budget(threads);
    T result = quiet_nan<T>();
    EXPECT_EQ(dot<T>(conjugate::no, 1, x.data(), indx.data(), y.data(), &result), 0);
    if (this->rotates_on_one_thread && threads == 1) {
      EXPECT_SAME_BITS(result, chain(conjugate::no, true, 1, x, indx, y));
    } else {
      EXPECT_SAME_BITS(result, T{});
    }
  }
}

}  // namespace
}  // namespace nevrad_test
