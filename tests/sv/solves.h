// The solves by type and storage, and calls of them with a matrix of the tests.
#pragma once

#include "support/matrix.h"

#include <string>

namespace nevrad_test {

NEVRAD_BY_TYPE(csrsv, orv_sparse_, csrsv)
NEVRAD_BY_TYPE(cscsv, orv_sparse_, cscsv)
// A form of a matrix's solve: what a descriptor and an operation say, less the base.
struct solve_form {
  bool upper = false;
  bool unit = false;
  int op = 0;
};

inline std::string triangle_descriptor(const solve_form& form, int base) {
  return std::string("T") + (form.upper ? "U" : "L") + (form.unit ? "U" : "N") +
         (base == 1 ? "F" : "C");
}

template <class T>
nevrad::status solve(const matrix<T>& a, const char* descra, int op, T alpha, const T* x, T* y) {
  const auto entry = a.kind == compression::rows ? csrsv<T> : cscsv<T>;
  return entry(op, a.rows, alpha, descra, a.values.data(), a.indices.data(), a.begin.data(),
               a.end.data(), x, y);
}

// y out of a solve; NaN stands in it before the call.
template <class T>
array<T> solved(const matrix<T>& a, const std::string& descra, int op, T alpha, const array<T>& x) {
  array<T> y(a.rows, quiet_nan<T>());
  EXPECT_EQ(solve(a, descra.c_str(), op, alpha, x.data(), y.data()), 0);
  return y;
}

}  // namespace nevrad_test
