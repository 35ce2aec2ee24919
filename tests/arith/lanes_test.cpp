// Lanes of every width against the same arithmetic done one element at a time in a wider format.
#include "arith/lanes.h"
#include "support/exact.h"
#include "support/random.h"

namespace nevrad_test {
namespace {

using nevrad::conjugation;
using nevrad::rotation;

template <class T, int W>
struct shape {
  using element = T;
  static constexpr int width = W;
};

template <class Shape>
class lane_arithmetic : public testing::Test {
 public:
  using T = typename Shape::element;
  static constexpr int width = Shape::width;

 protected:
  // Runs `got` on lanes and `want` on every element, over random operands and odd ones.
  template <class Got, class Want>
  void compare(const Got& got, const Want& want) {
    generator random(static_cast<std::uint64_t>(width));
    SCOPED_TRACE(random);
    for (int round = 0; round < 200; ++round) {
      // Off the natural boundary: loads and stores ask for none.
      array<T> a(width, T{}, 1);
      array<T> b(width, T{}, 1);
      array<T> acc(width, T{}, 1);
      for (int i = 0; i < width; ++i) {
        a[i] = operand(random, round);
        b[i] = operand(random, round);
        acc[i] = operand(random, round);
      }
      array<T> result(width, T{}, 1);
      store(result.data(), got(nevrad::load<width>(acc.data()), nevrad::load<width>(a.data()),
                               nevrad::load<width>(b.data())));
      array<T> wanted(width);
      for (int i = 0; i < width; ++i) wanted[i] = want(acc[i], a[i], b[i]);
      ASSERT_PRED_FORMAT2(equal_arrays, result, wanted);
    }
  }

 private:
  static T operand(generator& random, int round) {
    if (round % 2 == 0) return random.value<T>();
    using R = real_of<T>;
    const R odd[] = {R{0},
                     -R{0},
                     R{1},
                     R{-1},
                     std::numeric_limits<R>::infinity(),
                     std::numeric_limits<R>::quiet_NaN(),
                     random.value<R>()};
    if constexpr (is_complex<T>) {
      const R re = odd[random.integer(0, 6)];
      return {re, odd[random.integer(0, 6)]};
    } else {
      return odd[random.integer(0, 6)];
    }
  }
};

using shapes = testing::Types<shape<float, 1>,
                              shape<float, 4>,
                              shape<float, 8>,
                              shape<float, 16>,
                              shape<double, 1>,
                              shape<double, 4>,
                              shape<double, 8>,
                              shape<complex32, 1>,
                              shape<complex32, 4>,
                              shape<complex32, 8>,
                              shape<complex64, 1>,
                              shape<complex64, 2>,
                              shape<complex64, 4>>;
struct shape_names {
  template <class Shape>
  static std::string GetName(int) {
    return type_names::GetName<typename Shape::element>(0) + std::to_string(Shape::width);
  }
};
TYPED_TEST_SUITE(lane_arithmetic, shapes, shape_names);

TYPED_TEST(lane_arithmetic, multiply_accumulates_as_single_elements_do) {
  using T = typename TypeParam::element;
  constexpr conjugation conjugated = conjugation::yes;
  this->compare([](auto acc, auto a, auto b) { return multiply_add(acc, a, b); },
                [](T acc, T a, T b) { return exact_multiply_add(acc, a, b); });
  this->compare([](auto acc, auto a, auto b) { return multiply_subtract(acc, a, b); },
                [](T acc, T a, T b) { return exact_multiply_subtract(acc, a, b); });
  this->compare([](auto acc, auto a,
                   auto b) { return nevrad::multiply_add<conjugated>(acc, a, b); },
                [](T acc, T a, T b) { return exact_multiply_add(acc, a, b, conjugate::yes); });
  this->compare([](auto acc, auto a,
                   auto b) { return nevrad::multiply_subtract<conjugated>(acc, a, b); },
                [](T acc, T a, T b) { return exact_multiply_subtract(acc, a, b, conjugate::yes); });
}

TYPED_TEST(lane_arithmetic, adds_and_subtracts) {
  using T = typename TypeParam::element;
  this->compare([](auto, auto a, auto b) { return add(a, b); },
                [](T, T a, T b) { return exact_add(a, b); });
  this->compare([](auto, auto a, auto b) { return subtract(a, b); },
                [](T, T a, T b) { return exact_subtract(a, b); });
}

TYPED_TEST(lane_arithmetic, moves_elements_whole) {
  using T = typename TypeParam::element;
  constexpr int width = TypeParam::width;
  generator random(5);
  const array<T> source = random.values<T>(width);
  const auto loaded = nevrad::load<width>(source.data());

  array<T> stored(width);
  store(stored.data(), loaded);
  EXPECT_SAME_ARRAYS(stored, source);

  store(stored.data(), nevrad::broadcast<width>(nevrad::to_lane(source[0])));
  EXPECT_SAME_ARRAYS(stored, array<T>(width, source[0]));

  store(stored.data(), nevrad::zero_lanes<T, width>());
  EXPECT_SAME_ARRAYS(stored, array<T>(width));

  if constexpr (width > 1) {
    EXPECT_SAME_BITS(to_element(nevrad::lane_at<0>(loaded)), source[0]);
    EXPECT_SAME_BITS(to_element(nevrad::lane_at<width - 1>(loaded)), source[width - 1]);
  }
}

// The four rotations one by one: the products above use them in pairs, in which a wrong pair of
// signs could hide.
template <class T>
class rotations : public testing::Test {};
TYPED_TEST_SUITE(rotations, complex_types, type_names);

template <rotation Angle, class T>
void expect_rotation(int quarter) {
  generator random(static_cast<std::uint64_t>(quarter));
  for (int round = 0; round < 100; ++round) {
    const T acc = round % 3 == 0 ? make<T>(-0.0, -0.0) : random.value<T>();
    const T a = round % 5 == 0 ? make<T>(-0.0, 0.0) : random.value<T>();
    const T b = random.value<T>();
    const auto got =
        nevrad::rotate<Angle>(nevrad::to_lane(acc), nevrad::to_lane(a), nevrad::to_lane(b));
    ASSERT_SAME_BITS(to_element(got), exact_rotation(quarter, acc, a, b));
  }
}

TYPED_TEST(rotations, fuse_one_product_a_part) {
  using T = TypeParam;
  expect_rotation<rotation::by_0, T>(0);
  expect_rotation<rotation::by_90, T>(1);
  expect_rotation<rotation::by_180, T>(2);
  expect_rotation<rotation::by_270, T>(3);
}

// An infinite imaginary part meets a zero: the rotation must not repair the NaN that follows.
TYPED_TEST(rotations, leave_nan_where_arithmetic_makes_it) {
  using T = TypeParam;
  const T inf = make<T>(std::numeric_limits<double>::infinity(), 0);
  const T got = nevrad::multiply_add(make<T>(0), inf, make<T>(1, 0));
  EXPECT_TRUE(std::isinf(got.re));
  EXPECT_TRUE(std::isnan(got.im));
}

template <class T>
class gathers : public testing::Test {};
TYPED_TEST_SUITE(gathers, all_types, type_names);

TYPED_TEST(gathers, take_elements_by_index) {
  using T = TypeParam;
  generator random(7);
  const array<T> from = random.values<T>(10);
  const array<int> at{9, 0, 4, 4};
  array<T> got(4);
  store(got.data(), nevrad::gather(from.data(), at.data()));
  EXPECT_SAME_ARRAYS(got, (array<T>{from[9], from[0], from[4], from[4]}));
}

}  // namespace
}  // namespace nevrad_test
