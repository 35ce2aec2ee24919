// Krylov methods on top of one matrix product and one preconditioner, through which all matrix work
// goes; the vector operations are plain loops on as many threads.
#pragma once

#include "support/problem.h"

#include <cmath>
#include <functional>
#include <vector>

namespace demo {

using bench::complex;
using bench::is_complex;
using bench::matrix;

template <class T>
using vector = std::vector<T>;

inline double conjugate(double a) { return a; }
inline complex conjugate(complex a) { return std::conj(a); }
inline double squared(double a) { return a * a; }
inline double squared(complex a) { return std::norm(a); }

enum class method { cg, bicgstab };
enum class outcome { converged, out_of_iterations, indefinite, broken_down, diverged, stagnated };

// The loop over the elements of a vector, and one that also sums what body(i) returns. Complex sums
// are two real ones.
template <class Body>
void for_elements(int n, int threads, const Body& body) {
#pragma omp parallel for num_threads(threads) schedule(static) if (threads > 1)
  for (int i = 0; i < n; ++i) body(static_cast<std::size_t>(i));
}

template <class Body>
auto sum_elements(int n, int threads, const Body& body) {
  if constexpr (std::is_same_v<decltype(body(std::size_t{})), double>) {
    double sum = 0;
#pragma omp parallel for simd num_threads(threads) schedule(static) \
    reduction(+ : sum) if (parallel : threads > 1)
    for (int i = 0; i < n; ++i) sum += body(static_cast<std::size_t>(i));
    return sum;
  } else {
    double re = 0;
    double im = 0;
#pragma omp parallel for num_threads(threads) schedule(static) \
    reduction(+ : re, im) if (threads > 1)
    for (int i = 0; i < n; ++i) {
      const complex term = body(static_cast<std::size_t>(i));
      re += term.real();
      im += term.imag();
    }
    return complex(re, im);
  }
}

template <class T>
class krylov {
 public:
  struct settings {
    double tolerance;     // of the residual, relative to the right-hand side
    long max_iterations;  // products of a method's step count as one iteration
    int threads;
    std::function<void(long iteration, double residual)> progress;
  };

  // precondition gives z = M^-1 r; for conjugate gradients M is Hermitian and positive definite.
  krylov(std::function<void(const T*, T*)> product,
         std::function<void(const T*, T*)> precondition,
         const vector<T>& b,
         settings how)
      : product_(std::move(product)),
        precondition_(std::move(precondition)),
        b_(b),
        how_(std::move(how)),
        n_(static_cast<int>(b.size())),
        r_(b.size()) {}

  // Starts from x and leaves the solution there. The residual that a method carries along drifts
  // from the true one, so it starts anew from the true one until that is small enough.
  outcome solve(method which, vector<T>& x) {
    norm_b_ = norm(b_);
    double before = 0;
    for (;;) {
      true_residual(x);
      residual_ = norm(r_) / norm_b_;
      if (residual_ <= how_.tolerance) return outcome::converged;
      if (!std::isfinite(residual_)) return outcome::broken_down;
      if (before > 0 && residual_ > before / 2) return outcome::stagnated;
      before = residual_;
      const outcome end = which == method::cg ? run_cg(x) : run_bicgstab(x);
      if (end != outcome::converged) {
        true_residual(x);
        residual_ = norm(r_) / norm_b_;
        return end;
      }
    }
  }

  long iterations() const { return iterations_; }
  double residual() const { return residual_; }

 private:
  T dot(const vector<T>& a, const vector<T>& b) const {
    return sum_elements(n_, how_.threads, [&](std::size_t i) { return conjugate(a[i]) * b[i]; });
  }
  double norm(const vector<T>& a) const {
    return std::sqrt(sum_elements(n_, how_.threads, [&](std::size_t i) { return squared(a[i]); }));
  }

  void true_residual(const vector<T>& x) {
    product_(x.data(), r_.data());
    for_elements(n_, how_.threads, [&](std::size_t i) { r_[i] = b_[i] - r_[i]; });
  }

  // Whether the method is at its end, for better or worse. From a residual so large no method comes
  // back with a digit that is right.
  static constexpr double hopeless = 1e12;
  bool is_over(double residual, outcome& end) {
    ++iterations_;
    residual_ = residual;
    how_.progress(iterations_, residual);
    end = outcome::converged;
    if (residual <= how_.tolerance) return true;
    if (!std::isfinite(residual)) end = outcome::broken_down;
    if (residual > hopeless) end = outcome::diverged;
    if (iterations_ >= how_.max_iterations) end = outcome::out_of_iterations;
    return end != outcome::converged;
  }

  // Hestenes and Stiefel 1952, preconditioned.
  outcome run_cg(vector<T>& x) {
    vector<T> z(r_.size());
    vector<T> q(r_.size());
    precondition_(r_.data(), z.data());
    vector<T> p = z;
    double rz = std::real(dot(r_, z));
    outcome end{};
    for (;;) {
      product_(p.data(), q.data());
      const double curvature = std::real(dot(p, q));
      if (!(curvature > 0) || !(rz > 0)) return outcome::indefinite;
      const double alpha = rz / curvature;
      const double rr = sum_elements(n_, how_.threads, [&](std::size_t i) {
        x[i] += alpha * p[i];
        r_[i] -= alpha * q[i];
        return squared(r_[i]);
      });
      if (is_over(std::sqrt(rr) / norm_b_, end)) return end;
      precondition_(r_.data(), z.data());
      const double rz_next = std::real(dot(r_, z));
      const double beta = rz_next / rz;
      rz = rz_next;
      for_elements(n_, how_.threads, [&](std::size_t i) { p[i] = z[i] + beta * p[i]; });
    }
  }

  // van der Vorst 1992, preconditioned from the right.
  outcome run_bicgstab(vector<T>& x) {
    const std::size_t n = r_.size();
    vector<T> shadow = r_;
    vector<T> p = r_;
    vector<T> v(n);
    vector<T> t(n);
    vector<T> y(n);
    vector<T> z(n);
    T rho = dot(shadow, r_);
    outcome end{};
    for (;;) {
      precondition_(p.data(), y.data());
      product_(y.data(), v.data());
      const T alpha = rho / dot(shadow, v);
      if (!std::isfinite(std::abs(alpha))) return outcome::broken_down;
      for_elements(n_, how_.threads, [&](std::size_t i) { r_[i] -= alpha * v[i]; });
      precondition_(r_.data(), z.data());
      product_(z.data(), t.data());
      const double tt = norm(t);
      const T omega = tt == 0 ? T{} : dot(t, r_) / (tt * tt);
      const double rr = sum_elements(n_, how_.threads, [&](std::size_t i) {
        x[i] += alpha * y[i] + omega * z[i];
        r_[i] -= omega * t[i];
        return squared(r_[i]);
      });
      if (is_over(std::sqrt(rr) / norm_b_, end)) return end;
      const T rho_next = dot(shadow, r_);
      const T beta = rho_next / rho * (alpha / omega);
      rho = rho_next;
      // When the shadow residual has become orthogonal, the present one takes its place.
      constexpr double orthogonal = 1e-14;
      if (std::abs(rho) <= orthogonal * norm(shadow) * std::sqrt(rr) ||
          !std::isfinite(std::abs(beta))) {
        shadow = r_;
        p = r_;
        rho = dot(shadow, r_);
        continue;
      }
      for_elements(n_, how_.threads,
                   [&](std::size_t i) { p[i] = r_[i] + beta * (p[i] - omega * v[i]); });
    }
  }

  std::function<void(const T*, T*)> product_;
  std::function<void(const T*, T*)> precondition_;
  const vector<T>& b_;
  settings how_;
  int n_;
  vector<T> r_;
  double norm_b_ = 0;
  double residual_ = 1;
  long iterations_ = 0;
};

}  // namespace demo
