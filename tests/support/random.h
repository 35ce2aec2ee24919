// Random values with a seed that a failing test prints.
#pragma once

#include "support/array.h"

#include <cstdlib>
#include <random>

namespace nevrad_test {

// A stream of its own for each case. NEVRAD_TEST_SEED, when set, moves all streams, so that a
// longer search is a loop in the shell.
//   generator random(case_number);
//   SCOPED_TRACE(random);
class generator {
 public:
  explicit generator(std::uint64_t seed) : seed_(seed + shift()), engine_(seed_) {}

  // low to high, both included.
  int integer(int low, int high) {
    const auto span = static_cast<std::uint64_t>(high - low) + 1;
    return low + static_cast<int>(engine_() % span);
  }
  bool chance(int one_in) { return integer(1, one_in) == 1; }

  // A full random mantissa, magnitude from 1/8 to 4, either sign: the exponents differ by enough
  // for a changed order of additions to show, and products are never exact.
  template <class T>
  T value() {
    if constexpr (is_complex<T>) {
      const auto re = value<real_of<T>>();
      return {re, value<real_of<T>>()};
    } else {
      const double fraction = 1.0 + static_cast<double>(engine_() >> 12) * 0x1p-52;
      const double magnitude = std::ldexp(fraction, integer(-3, 1));
      return static_cast<T>(chance(2) ? magnitude : -magnitude);
    }
  }
  template <class T>
  array<T> values(std::int64_t n) {
    array<T> result(n);
    for (T& v : result) v = value<T>();
    return result;
  }

  friend std::ostream& operator<<(std::ostream& out, const generator& random) {
    return out << "seed " << random.seed_;
  }

 private:
  static std::uint64_t shift() {
    const char* const text = std::getenv("NEVRAD_TEST_SEED");
    return text == nullptr ? 0 : std::strtoull(text, nullptr, 0) * 1000003;
  }

  std::uint64_t seed_;
  std::mt19937_64 engine_;
};

}  // namespace nevrad_test
