// Products of single elements: every form against its definition in a wider format.
#include "arith/products.h"
#include "arith/dense.h"
#include "support/exact.h"
#include "support/random.h"

#include <cfloat>

namespace nevrad_test {
namespace {

template <class T>
class products : public testing::Test {};
TYPED_TEST_SUITE(products, all_types, type_names);

// Values at which signs of zero, infinities and tiny results part: all pairs and triples of them.
template <class R>
std::vector<R> odd_values() {
  using limits = std::numeric_limits<R>;
  return {R{0},
          -R{0},
          R{1},
          R{-1},
          limits::min(),
          -limits::denorm_min(),
          limits::max(),
          limits::infinity(),
          -limits::infinity(),
          limits::quiet_NaN()};
}
template <class T>
std::vector<T> odd_elements() {
  std::vector<T> all;
  for (const auto re : odd_values<real_of<T>>()) {
    if constexpr (is_complex<T>) {
      for (const auto im : odd_values<real_of<T>>()) all.push_back({re, im});
    } else {
      all.push_back(re);
    }
  }
  return all;
}

TYPED_TEST(products, round_as_their_names_say) {
  using T = TypeParam;
  generator random(1);
  SCOPED_TRACE(random);
  int fuse_shows = 0;
  int order_shows = 0;
  for (int i = 0; i < 2000; ++i) {
    const T a = random.value<T>();
    const T b = random.value<T>();
    EXPECT_SAME_BITS(nevrad::multiply_fused(a, b), exact_fused_product(a, b));
    EXPECT_SAME_BITS(nevrad::multiply_plain(a, b), exact_plain_product(a, b));
    EXPECT_SAME_BITS(nevrad::multiply_by_width(a, b), exact_product(a, b));
    EXPECT_SAME_BITS(nevrad::add(a, b), exact_add(a, b));
    fuse_shows += same_bits(exact_fused_product(a, b), exact_plain_product(a, b)) ? 0 : 1;
    order_shows += same_bits(exact_fused_product(a, b), exact_fused_product(b, a)) ? 0 : 1;
  }
  if constexpr (is_complex<T>) {
    EXPECT_GT(fuse_shows, 500) << "the values must tell the two forms apart";
    EXPECT_GT(order_shows, 200) << "the values must tell the order of operands";
  }
}

TYPED_TEST(products, keep_infinities_and_signs_of_zero) {
  using T = TypeParam;
  for (const T a : odd_elements<T>()) {
    for (const T b : odd_elements<T>()) {
      ASSERT_SAME_BITS(nevrad::multiply_fused(a, b), exact_fused_product(a, b)) << a << b;
      ASSERT_SAME_BITS(nevrad::multiply_plain(a, b), exact_plain_product(a, b)) << a << b;
    }
  }
}

TYPED_TEST(products, conjugation_turns_one_sign) {
  using T = TypeParam;
  const T a = make<T>(2, -0.0);
  const T turned = nevrad::conj_if<nevrad::conjugation::yes>(a);
  EXPECT_SAME_BITS(turned, make<T>(2, 0.0));
  EXPECT_SAME_BITS(nevrad::conj_if<nevrad::conjugation::no>(a), a);
}

TYPED_TEST(products, scaling_multiplies_by_one_and_by_zero_too) {
  using T = TypeParam;
  generator random(2);
  for (const T s : {random.value<T>(), make<T>(1), make<T>(0)}) {
    array<T> v = random.values<T>(37);
    v[5] = quiet_nan<T>();
    v[6] = make<T>(-0.0);
    array<T> copy(v.size());
    nevrad::dense_scale_copy(copy.data(), v.data(), 37, s);
    array<T> want(v.size());
    for (std::int64_t i = 0; i < v.size(); ++i) want[i] = exact_fused_product(v[i], s);
    nevrad::dense_scale(37, v.data(), s);
    EXPECT_SAME_ARRAYS(v, want);
    EXPECT_SAME_ARRAYS(copy, want);
    nevrad::dense_scale(0, v.data(), s);
    EXPECT_SAME_ARRAYS(v, want);
  }
}

// Every product of two elements, and every sum of one with a third of like magnitude, is exact in
// 113 bits, so rounding it once to the element's format is the definition of a fused operation.
// Infinities, NaN and signs of zero follow the same rules there.
#if LDBL_MANT_DIG == 113
using quad = long double;
#else
__extension__ typedef __float128 quad;
#endif
template <class R>
R rounded_once(R a, R b, R c) {
  return static_cast<R>(static_cast<quad>(a) * static_cast<quad>(b) + static_cast<quad>(c));
}

template <class R>
class fused_operation : public testing::Test {};
TYPED_TEST_SUITE(fused_operation, real_types, type_names);

TYPED_TEST(fused_operation, rounds_once) {
  using R = TypeParam;
  generator random(3);
  SCOPED_TRACE(random);
  int fuse_shows = 0;
  for (int i = 0; i < 2000; ++i) {
    const R a = random.value<R>();
    const R b = random.value<R>();
    const R c = random.value<R>();
    EXPECT_SAME_BITS(nevrad::fma(a, b, c), rounded_once(a, b, c));
    fuse_shows += same_bits(rounded_once(a, b, c), rounded_sum(rounded(a, b), c)) ? 0 : 1;
  }
  EXPECT_GT(fuse_shows, 200);
  for (const R a : odd_values<R>()) {
    for (const R b : odd_values<R>()) {
      for (const R c : odd_values<R>()) {
        EXPECT_SAME_BITS(nevrad::fma(a, b, c), rounded_once(a, b, c)) << a << ' ' << b << ' ' << c;
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
