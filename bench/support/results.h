// How contestants are put on the same footing, and their results compared.
#pragma once

#include "nevrad.h"

#include <omp.h>
#include <Eigen/Core>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace bench {

// A budget for the library, its peer and plain loops alike.
inline void use_threads(int threads) {
  orv_set_thread_num(threads);
  omp_set_num_threads(threads);
  Eigen::setNbThreads(threads);
}

// max |a_i - b_i| / max |b_i|
template <class Vector>
double relative_difference(const Vector& a, const Vector& b) {
  double difference = 0;
  double size = 0;
  if (a.size() != b.size()) return std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double d = static_cast<double>(std::abs(a[i] - b[i]));
    if (!(d <= difference)) difference = d;
    size = std::max(size, static_cast<double>(std::abs(b[i])));
  }
  return difference == 0 ? 0 : difference / size;
}

template <class T>
inline constexpr double rounding_tolerance =
    1e3 * static_cast<double>(std::numeric_limits<decltype(std::abs(T{}))>::epsilon());

template <class T>
inline constexpr char type_letter = '?';
template <>
inline constexpr char type_letter<float> = 's';
template <>
inline constexpr char type_letter<double> = 'd';
template <>
inline constexpr char type_letter<std::complex<float>> = 'c';
template <>
inline constexpr char type_letter<std::complex<double>> = 'z';

}  // namespace bench
