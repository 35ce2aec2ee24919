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

  void set_scalars(T alpha, T beta) {
    problem_.x.alpha = alpha;
    problem_.x.beta = beta;
  }

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
    const T one = make<T>(1);
    if (op.tests("jb")) {
      if (x.request == 1) return testing::AssertionSuccess();
      const dense<T> b = dense_of(problem_.B, "G00F");
      if (op.is("csradd")) {
        // The sum as a product with the identity.
        dense<T> identity(plain.rows(), plain.rows());
        for (int i = 0; i < plain.rows(); ++i) identity(i, i) = 1;
        return is_close(compressed(plain.rows(), plain.cols()),
                        product(identity, apply_op(b, x.transa), x.beta, one, plain), 8);
      }
      const dense<T> got = op.is("csrmultd") ? panel_of(problem_.c, a.rows(), b.cols(), true)
                                             : compressed(a.rows(), b.cols());
      return is_close(got, product(a, b, one, T{}, got), 2 * static_cast<double>(a.cols()) + 8);
    }
    const bool by_panels = op.is("mm") || op.is("sm");
    const bool by_columns = !by_panels || descra[3] == 'F';
    const int n = by_panels ? columns_ : 1;
    const dense<T> b = panel_of(problem_.b, a.cols(), n, by_columns);
    const dense<T> c = panel_of(problem_.c, a.rows(), n, by_columns);
    if (op.is("sv") || op.is("sm")) return is_solution(c, a, op.is("trsv") ? one : x.alpha, b);
    const bool scaled = !op.is("gemv") && !op.is("symv");
    const dense<T> before = panel_of(before_, a.rows(), n, by_columns);
    return is_close(c, product(a, b, scaled ? x.alpha : one, scaled ? x.beta : T{}, before),
                    static_cast<double>(a.cols()) + 16);
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

  dense<T> panel_of(const array<T>& elements,
                    std::int64_t rows,
                    std::int64_t n,
                    bool by_columns) const {
    dense<T> d(rows, n);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < n; ++j) {
        d(i, j) = widen(elements[by_columns ? i + j * problem_.x.ldc : i * problem_.x.ldc + j]);
      }
    }
    return d;
  }
  dense<T> compressed(std::int64_t rows, std::int64_t cols) const {
    dense<T> d(rows, cols);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (int p = problem_.ic[i] - 1; p < problem_.ic[i + 1] - 1; ++p) {
        d.add(i, problem_.jc[p] - 1, widen(problem_.c[p]));
      }
    }
    return d;
  }

  form_of<T> form_;
  int columns_;
  problem_of<T> problem_;
  array<T> before_;
};

}  // namespace nevrad_test
