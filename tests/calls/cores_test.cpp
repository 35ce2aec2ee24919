// The two forms of the complex kernels on AArch64, and which of them a core is given.
#include "frame/core.h"
#include "support/trial.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

// A build for cores with rotations alone has one form.
#if defined(__aarch64__) && !defined(__ARM_FEATURE_COMPLEX)

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
NEVRAD_BY_COMPLEX_TYPE(dotui, orv_sparse_, dotui_sub)

class form_scope {
 public:
  explicit form_scope(bool rotates) { nevrad::core_rotates = rotates; }
  form_scope(const form_scope&) = delete;
  form_scope& operator=(const form_scope&) = delete;
  ~form_scope() { nevrad::core_rotates = before_; }

 private:
  bool before_ = nevrad::core_rotates;
};

// Each has a rounding that shows.
template <class T>
const array<T> numbers{make<T>(1.1, 2.2), make<T>(3.3, 5.5)};

template <class T>
T dot_product() {
  const array<int> indices{0, 1};
  array<T> result(1);
  EXPECT_EQ(dotui<T>(2, numbers<T>.data(), indices.data(), numbers<T>.data(), result.data()), 0);
  return result[0];
}

// The product with the conjugate transpose of a matrix of one element: it rotates.
template <class T>
int multiply() {
  const int ends[] = {0, 1};
  array<T> y(1);
  return csrmv<T>(2, 1, 1, make<T>(1), "G00C", numbers<T>.data(), ends, ends, ends + 1,
                  numbers<T>.data(), make<T>(0), y.data());
}

// Under emulation a run names its core; elsewhere the system tells what the core can do.
bool has_rotations() {
  if (const char* const model = std::getenv("NEVRAD_CORE")) return std::string(model) == "max";
  std::ifstream info("/proc/cpuinfo");
  const std::string text{std::istreambuf_iterator<char>(info), {}};
  return text.find(" fcma") != std::string::npos;
}

TEST(core, is_asked_for_its_rotations) { EXPECT_EQ(nevrad::core_rotates, has_rotations()); }

template <class T>
class both_forms : public testing::Test {};
TYPED_TEST_SUITE(both_forms, complex_types, type_names);

// Panels of all widths.
TYPED_TEST(both_forms, give_the_same_bits) {
  if (!nevrad::core_rotates) GTEST_SKIP() << "this core has no rotations";
  constexpr int order = 19;
  constexpr int columns = 29;
  std::uint64_t seed = 0;
  for (const form_of<TypeParam>& form : all_forms<TypeParam>()) {
    SCOPED_TRACE(testing::Message() << form << ", seed " << ++seed);
    const budget_scope threads(seed % 2 == 0 ? 1 : 3);
    trial<TypeParam> rotated(form, order, columns, seed);
    EXPECT_EQ(rotated.run(), 0);
    const form_scope portable(false);
    trial<TypeParam> spelled_out(form, order, columns, seed);
    EXPECT_EQ(spelled_out.run(), 0);
    spelled_out.expect_same(rotated);
  }
  const TypeParam rotated = dot_product<TypeParam>();
  const form_scope portable(false);
  EXPECT_SAME_BITS(dot_product<TypeParam>(), rotated);
}

// So it is the choice that keeps a core without rotations from them.
TYPED_TEST(both_forms, differ_in_what_a_core_must_have) {
  EXPECT_EQ(multiply<TypeParam>(), 0);
  const form_scope rotated(true);
  if (has_rotations()) {
    EXPECT_EQ(multiply<TypeParam>(), 0);
  } else {
    EXPECT_EXIT(multiply<TypeParam>(), testing::KilledBySignal(SIGILL), "");
  }
}

}  // namespace
}  // namespace nevrad_test

#endif
