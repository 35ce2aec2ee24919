// The shared library as C and C++ programs see it: through nevrad.h alone, with the complex numbers
// of the language.
#include "caller.h"
#include "nevrad.h"

#include <gtest/gtest.h>

#include <complex>

namespace {

// The values are compiled into users' programs; 4 is left out on purpose.
static_assert(ORV_SPARSE_STATUS_SUCCESS == 0 && ORV_SPARSE_STATUS_NULL_POINTER == 1 &&
              ORV_SPARSE_STATUS_ALLOC_FAILED == 2 && ORV_SPARSE_STATUS_INVALID_VALUE == 3 &&
              ORV_SPARSE_STATUS_OVERFLOW == 5 && ORV_SPARSE_STATUS_NOT_SUPPORTED == 6);
static_assert(sizeof(orv_sparse_status_t) == 4);

// y = alpha (2 + 3i) (1 - i) + (2 + i) (10 + 20i), in numbers that every rounding leaves alone.
template <class R>
std::complex<R> product(std::complex<R> alpha) {
  return alpha * std::complex<R>(5, 1) + std::complex<R>(0, 50);
}

TEST(languages, cpp_passes_std_complex_by_value) {
  const int begin = 0;
  const int end = 1;
  const int index = 0;
  {
    const std::complex<float> alpha(7, -3);
    const std::complex<float> value(2, 3);
    const std::complex<float> x(1, -1);
    std::complex<float> y(10, 20);
    EXPECT_EQ(orv_sparse_ccsrmv(0, 1, 1, alpha, "G00C", &value, &index, &begin, &end, &x, {2, 1},
                                &y),
              ORV_SPARSE_STATUS_SUCCESS);
    EXPECT_EQ(y, product(alpha));
  }
  {
    const std::complex<double> alpha(7, -3);
    const std::complex<double> value(2, 3);
    const std::complex<double> x(1, -1);
    std::complex<double> y(10, 20);
    EXPECT_EQ(orv_sparse_zcsrmv(0, 1, 1, alpha, "G00C", &value, &index, &begin, &end, &x, {2, 1},
                                &y),
              ORV_SPARSE_STATUS_SUCCESS);
    EXPECT_EQ(y, product(alpha));
  }
}

TEST(languages, c_passes_its_complex_by_value_and_by_reference) {
  const float alpha_c[2] = {7, -3};
  float y_c[2] = {};
  EXPECT_EQ(c_caller_ccsrmv(alpha_c, y_c), ORV_SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(std::complex<float>(y_c[0], y_c[1]), product(std::complex<float>(7, -3)));

  const double alpha_z[2] = {7, -3};
  double y_z[2] = {};
  EXPECT_EQ(c_caller_zcsrmv(alpha_z, y_z), ORV_SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(std::complex<double>(y_z[0], y_z[1]), product(std::complex<double>(7, -3)));

  EXPECT_EQ(c_caller_zaxpyi_by_reference(alpha_z, y_z), ORV_SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(std::complex<double>(y_z[0], y_z[1]), std::complex<double>(10 + 4, 20 - 10));
}

TEST(languages, a_fresh_process_runs_on_one_thread) { EXPECT_EQ(orv_get_thread_num_(), 1); }

}  // namespace
