// One call of one form of an operation, and whether its result is right.
#pragma once

#include "support/operations.h"
#include "support/threads.h"

namespace nevrad_test {

// A problem, run once. A request for the values follows one for the pattern, as it must.
template <class T>
class trial {
 public:
  // On a random matrix, and on a given one.
  trial(const form_of<T>& form, int order, int columns, std::uint64_t seed)
      : trial(form, columns, generator(seed), [&](generator& random) {
          return problem_matrix<T>(random, form, order);
        }) {}
  trial(const form_of<T>& form, const matrix<T>& a, int columns, std::uint64_t seed)
      : trial(form, columns, generator(seed), [&](generator&) { return a; }) {}

  int run() {
    if (form_.request == 2) {
      arguments<T> pattern = problem_.x;
      pattern.request = 1;
      form_.op.by_value(pattern);
    }
    return form_.op.by_value(problem_.x);
  }

  // Whether the result is right, for the values that C had before.
  testing::AssertionResult is_right() const {
    const operation_of<T>& op = form_.op;
    const arguments<T>& x = problem_.x;
    const std::string descra = form_.structure();
    const dense<T> plain = dense_of(problem_.A, descra.c_str());
    const dense<T> a = apply_op(plain, x.transa);
    const dense<T> zero(order(), order());
    if (op.is("csradd")) {
      if (x.request == 1) return testing::AssertionSuccess();
      // The sum as a product with the identity.
      dense<T> identity(order(), order());
      for (int i = 0; i < order(); ++i) identity(i, i) = 1;
      return is_close(compressed(), product(identity, a, x.beta, make<T>(1), plain), 8);
    }
    if (op.is("csrmultcsr")) {
      if (x.request == 1) return testing::AssertionSuccess();
      return is_close(compressed(), product(a, plain, make<T>(1), make<T>(0), zero), order() + 8);
    }
    if (op.is("csrmultd")) {
      return is_close(panel_of(problem_.c, order(), true),
                      product(a, plain, make<T>(1), make<T>(0), zero), order() + 8);
    }
    const bool by_panels = op.is("mm") || op.is("sm");
    const bool by_columns = !by_panels || descra[3] == 'F';
    const int n = by_panels ? columns_ : 1;
    const dense<T> b = panel_of(problem_.b, n, by_columns);
    const dense<T> c = panel_of(problem_.c, n, by_columns);
    const T one = make<T>(1);
    if (op.is("sv") || op.is("sm")) return is_solution(c, a, op.is("trsv") ? one : x.alpha, b);
    const bool scaled = !op.is("gemv") && !op.is("symv");
    return is_close(c,
                    product(a, b, scaled ? x.alpha : one, scaled ? x.beta : T{},
                            panel_of(before_, n, by_columns)),
                    order() + 16);
  }

  void expect_same(const trial& other) const { expect_same_arrays(problem_, other.problem_); }

 private:
  template <class Make>
  trial(const form_of<T>& form, int columns, generator random, const Make& make_matrix)
      : form_(form),
        columns_(columns),
        problem_(random, form, make_matrix(random), columns),
        before_(problem_.c) {
    // A Hermitian diagonal is real, so that what an imaginary part there means is left open.
    if constexpr (is_complex<T>) {
      const matrix<T>& a = problem_.A;
      for (int i = 0; i < a.rows && form.descra[0] == 'H'; ++i) {
        for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
          if (a.indices[p] - a.base == i) a.values[p].im = 0;
        }
      }
    }
  }

  dense<T> panel_of(const array<T>& elements, int n, bool by_columns) const {
    dense<T> d(order(), n);
    for (int i = 0; i < order(); ++i) {
      for (int j = 0; j < n; ++j) {
        d(i, j) = widen(elements[by_columns ? i + j * problem_.x.ldc : i * problem_.x.ldc + j]);
      }
    }
    return d;
  }
  dense<T> compressed() const {
    dense<T> d(order(), order());
    for (int i = 0; i < order(); ++i) {
      for (int p = problem_.ic[i] - 1; p < problem_.ic[i + 1] - 1; ++p) {
        d.add(i, problem_.jc[p] - 1, widen(problem_.c[p]));
      }
    }
    return d;
  }

  int order() const { return problem_.A.rows; }

  form_of<T> form_;
  int columns_;
  problem_of<T> problem_;
  array<T> before_;
};

}  // namespace nevrad_test
