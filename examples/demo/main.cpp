// Solves a linear system by a Krylov method whose matrix products are nevrad's, checks the answer
// independently, and says how fast the products ran on one thread and on all.
#include "krylov.h"
#include "picture.h"
#include "preconditioner.h"

#include "support/gnuplot.h"
#include "support/limits.h"
#include "support/problem.h"

#include "nevrad.h"

#include <omp.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <new>

namespace demo {

namespace {

// What the program answers to its caller.
enum exit_code : int { solved = 0, not_solved = 1, bad_input = 2 };

struct options {
  std::string file;
  int grid = 100;
  int threads = omp_get_num_procs();
  double tolerance = 1e-8;
  long max_iterations = 0;
  std::string method = "auto";
  std::string plot;
};

double now() {
  using clock = std::chrono::steady_clock;
  return std::chrono::duration<double>(clock::now().time_since_epoch()).count();
}

// What is found out about a matrix before a method is chosen.
struct traits {
  bool hermitian = false;
  bool positive_diagonal = false;
};

// |a_ij - conj(a_ji)| may be of the size of rounding: assembled matrices are symmetric up to that.
template <class T>
bool is_hermitian(const matrix<T>& a) {
  constexpr double rounding = 1e-13;
  const matrix<T> difference = a - matrix<T>(a.adjoint());
  double largest = 0;
  for (int p = 0; p < a.nonZeros(); ++p) largest = std::max(largest, std::abs(a.valuePtr()[p]));
  for (int p = 0; p < difference.nonZeros(); ++p) {
    if (std::abs(difference.valuePtr()[p]) > rounding * largest) return false;
  }
  return true;
}

template <class T>
traits examine(const matrix<T>& a) {
  traits found;
  found.hermitian = is_hermitian(a);
  found.positive_diagonal = true;
  for (int i = 0; i < a.rows(); ++i) {
    if (!(std::real(a.coeff(i, i)) > 0)) found.positive_diagonal = false;
  }
  return found;
}

// The inverse of a diagonal that brings the columns to like size: the matrix's own, or, where that
// has a zero, the norms of the columns.
template <class T>
vector<T> inverse_scale(const matrix<T>& a) {
  const auto n = static_cast<std::size_t>(a.rows());
  vector<double> norms(n, 0.0);
  vector<T> diagonal(n, T{});
  for (int i = 0; i < a.rows(); ++i) {
    for (typename matrix<T>::InnerIterator entry(a, i); entry; ++entry) {
      norms[static_cast<std::size_t>(entry.col())] += squared(entry.value());
      if (entry.col() == i) diagonal[static_cast<std::size_t>(i)] = entry.value();
    }
  }
  const bool full = std::find(diagonal.begin(), diagonal.end(), T{}) == diagonal.end();
  vector<T> scale(n);
  for (std::size_t j = 0; j < n; ++j)
    scale[j] = 1.0 / (full ? diagonal[j] : T(std::sqrt(norms[j])));
  return scale;
}

// y = A x by the library; counts calls and time.
template <class T>
class product {
 public:
  product(const matrix<T>& a, int threads) : a_(a), threads_(threads) {}

  void operator()(const T* x, T* y) {
    const double start = now();
    const orv_sparse_status_t status = threads_ == 1 ? one_thread(x, y) : all_threads(x, y);
    seconds_ += now() - start;
    ++calls_;
    if (status != ORV_SPARSE_STATUS_SUCCESS) {
      throw std::runtime_error("the matrix product failed with status " + std::to_string(status));
    }
  }

  long calls() const { return calls_; }
  double seconds() const { return seconds_; }

 private:
  orv_sparse_status_t one_thread(const T* x, T* y) const {
    const int n = static_cast<int>(a_.rows());
    const int* const begin = a_.outerIndexPtr();
    const int* const indices = a_.innerIndexPtr();
    if constexpr (is_complex<T>) {
      return orv_sparse_zcsrmv(0, n, n, 1.0, "G00C", a_.valuePtr(), indices, begin, begin + 1, x,
                               0.0, y);
    } else {
      return orv_sparse_dcsrmv(0, n, n, 1.0, "G00C", a_.valuePtr(), indices, begin, begin + 1, x,
                               0.0, y);
    }
  }

  // csrmv would put a matrix as sparse as most on one thread; this form takes the budget as it is.
  orv_sparse_status_t all_threads(const T* x, T* y) const {
    const int n = static_cast<int>(a_.rows());
    if constexpr (is_complex<T>) {
      return orv_csparse_zcsrgemv(0, n, a_.valuePtr(), a_.outerIndexPtr(), a_.innerIndexPtr(), x,
                                  y);
    } else {
      return orv_csparse_dcsrgemv(0, n, a_.valuePtr(), a_.outerIndexPtr(), a_.innerIndexPtr(), x,
                                  y);
    }
  }

  const matrix<T>& a_;
  int threads_;
  long calls_ = 0;
  double seconds_ = 0;
};

// ||b - A x|| / ||b|| by a plain loop in extended precision, without the library.
template <class T>
double independent_residual(const matrix<T>& a, const vector<T>& x, const vector<T>& b) {
  using wide = std::conditional_t<is_complex<T>, std::complex<long double>, long double>;
  long double residual = 0;
  long double size = 0;
  for (int i = 0; i < a.rows(); ++i) {
    const T right = b[static_cast<std::size_t>(i)];
    wide sum = right;
    for (typename matrix<T>::InnerIterator entry(a, i); entry; ++entry) {
      sum -= wide(entry.value()) * wide(x[static_cast<std::size_t>(entry.col())]);
    }
    residual += std::abs(sum) * std::abs(sum);
    size += static_cast<long double>(squared(right));
  }
  return static_cast<double>(std::sqrt(residual / size));
}

// Bytes that one product moves at least: each value, index, row pointer and vector element once.
template <class T>
double product_bytes(const matrix<T>& a) {
  constexpr double entry = sizeof(T) + sizeof(int);
  return entry * static_cast<double>(a.nonZeros()) +
         static_cast<double>(a.rows()) * (sizeof(int) + 2.0 * sizeof(T));
}

// Seconds of one product, and of reading as many bytes from a working set of that size. The two
// take turns, since other users of the machine change what it can do from second to second; medians
// of passes of about a millisecond.
struct pace {
  double product = 0;
  double read = 0;
};

template <class Run>
double time_pass(int repeats, const Run& run) {
  run();
  const double start = now();
  for (int i = 0; i < repeats; ++i) run();
  return (now() - start) / repeats;
}

// Repeats that make a pass of a millisecond, which is short enough to go undisturbed.
template <class Run>
int repeats_for_pass(const Run& run) {
  const double least = std::min({time_pass(1, run), time_pass(1, run), time_pass(1, run)});
  return std::max(1, static_cast<int>(1e-3 / std::max(least, 1e-7)));
}

template <class T>
pace measure_pace(const matrix<T>& a, int threads) {
  product<T> multiply(a, threads);
  orv_set_thread_num(threads);
  const vector<T> x(static_cast<std::size_t>(a.cols()), T{1});
  vector<T> y(static_cast<std::size_t>(a.rows()));
  const auto bytes = static_cast<std::size_t>(product_bytes(a));
  double sum = 0;
  const auto run_product = [&] { multiply(x.data(), y.data()); };
  const auto run_read = [&] { sum += bench::read_once(bytes, threads); };

  const int product_repeats = repeats_for_pass(run_product);
  const int read_repeats = repeats_for_pass(run_read);
  constexpr std::size_t rounds = 15;
  vector<double> products;
  vector<double> reads;
  for (std::size_t round = 0; round < rounds; ++round) {
    products.push_back(time_pass(product_repeats, run_product));
    reads.push_back(time_pass(read_repeats, run_read));
  }
  if (sum == 0.125) std::puts("");  // the sum is used, so the loads stay
  const auto median = [](vector<double>& seconds) {
    const auto middle = seconds.begin() + rounds / 2;
    std::nth_element(seconds.begin(), middle, seconds.end());
    return *middle;
  };
  return {median(products), median(reads)};
}

const char* explain(outcome end) {
  switch (end) {
    case outcome::converged:
      return "converged";
    case outcome::out_of_iterations:
      return "the largest number of iterations was reached";
    case outcome::indefinite:
      return "the matrix is not positive definite";
    case outcome::broken_down:
      return "the method broke down";
    case outcome::diverged:
      return "the residual grows without bounds";
    case outcome::stagnated:
      return "rounding stops the residual from falling further";
  }
  return "";
}

struct result {
  outcome end = outcome::converged;
  long iterations = 0;
  double residual = 0;  // as computed independently
  double error = 0;     // against the known solution
  double seconds = 0;
  double product_seconds = 0;
  long products = 0;
  std::vector<double> residuals;  // after each iteration, as the method carries them along
};

template <class T>
result run(const matrix<T>& a,
           const vector<T>& b,
           const std::function<void(const T*, T*)>& precondition,
           method which,
           int threads,
           const options& chosen) {
  product<T> multiply(a, threads);
  orv_set_thread_num(threads);
  double reported = now();
  typename krylov<T>::settings how;
  how.tolerance = chosen.tolerance;
  how.max_iterations = chosen.max_iterations;
  how.threads = threads;
  result got;
  how.progress = [&](long iteration, double residual) {
    got.residuals.push_back(residual);
    if (now() - reported < 1.0) return;
    reported = now();
    std::printf("    iteration %6ld   relative residual %.2e\n", iteration, residual);
    std::fflush(stdout);
  };
  krylov<T> solver(std::ref(multiply), precondition, b, how);
  vector<T> x(b.size());
  const double start = now();
  got.end = solver.solve(which, x);
  got.seconds = now() - start;
  got.iterations = solver.iterations();
  got.product_seconds = multiply.seconds();
  got.products = multiply.calls();
  got.residual = independent_residual(a, x, b);
  for (const T& element : x) {
    const double error = std::abs(element - T{1});
    if (!(error <= got.error)) got.error = error;
  }
  return got;
}

template <class T>
void print_speed(const matrix<T>& a, int threads, const result& got, pace found) {
  const double flops = (is_complex<T> ? 8.0 : 2.0) * static_cast<double>(a.nonZeros());
  const double each = got.product_seconds / static_cast<double>(got.products);
  const double moved = product_bytes(a) / each;
  std::printf(
      "%d thread%s %ld iterations in %.3f s, of which %.3f s in %ld products: %.2f GFLOP/s, "
      "%.2f GB/s\n",
      threads, threads == 1 ? ",  " : "s, ", got.iterations, got.seconds, got.product_seconds,
      got.products, flops / each * 1e-9, moved * 1e-9);
  std::printf(
      "           in turns with reads of as many bytes: %.2f GB/s, %.0f%% of the %.2f GB/s "
      "that this machine reads\n",
      product_bytes(a) / found.product * 1e-9, 100 * found.read / found.product,
      product_bytes(a) / found.read * 1e-9);
}

// Whether the answer of a run holds; says so, and why not.
bool judge(const result& got, const options& chosen) {
  // The independent residual sees what rounding in the method's own residual hides.
  constexpr double slack = 2;
  const bool holds = got.residual <= slack * chosen.tolerance;
  // A small residual of a matrix that is hard to solve with leaves room for a large error.
  constexpr double large_error = 1e-2;
  std::printf("           residual %.2e, computed independently: %s; largest error %.1e%s\n",
              got.residual, holds ? "the answer holds" : "NOT the accuracy asked for", got.error,
              holds && got.error > large_error ? " (the matrix is ill-conditioned)" : "");
  if (got.end != outcome::converged)
    std::printf("           no convergence: %s\n", explain(got.end));
  return holds && got.end == outcome::converged;
}

// The same system once more on one thread, by conjugate gradients with triangular solves as the
// preconditioner, which goes into the picture. `plain` is the run on one thread without them; the
// verdict on the system is that of this run where A has an incomplete factor, and otherwise stays
// `verdict`.
template <class T>
bool solve_preconditioned(const matrix<T>& a,
                          const vector<T>& b,
                          const options& chosen,
                          const result& plain,
                          bool verdict,
                          picture& drawn) {
  const double start = now();
  const incomplete_cholesky<T> factor(a);
  if (!factor.factored()) {
    std::puts("preconditioner: the matrix has no incomplete Cholesky factor");
    return verdict;
  }
  std::printf(
      "preconditioner: incomplete Cholesky factor of %ld entries, made in %.3f s, applied as two "
      "triangular solves\n",
      factor.entries(), now() - start);
  std::fflush(stdout);
  double solve_seconds = 0;
  const auto precondition = [&](const T* r, T* z) {
    const double solve_start = now();
    factor(r, z);
    solve_seconds += now() - solve_start;
  };
  const result got = run<T>(a, b, precondition, method::cg, 1, chosen);
  std::printf(
      "1 thread,  %ld iterations where the diagonal alone took %ld, in %.3f s instead of %.3f s,\n"
      "           of which %.3f s in %ld products and %.3f s in the preconditioner\n",
      got.iterations, plain.iterations, got.seconds, plain.seconds, got.product_seconds,
      got.products, solve_seconds);
  drawn.falls.push_back({"incomplete Cholesky", got.residuals});
  return judge(got, chosen);
}

template <class T>
method choose_method(const traits& found, const std::string& wanted) {
  if (wanted == "cg") return method::cg;
  if (wanted == "bicgstab") return method::bicgstab;
  return found.hermitian && found.positive_diagonal ? method::cg : method::bicgstab;
}

template <class T>
int solve(const std::string& title, const matrix<T>& a, options chosen) {
  const traits found = examine(a);
  const auto n = static_cast<long>(a.rows());
  if (chosen.max_iterations == 0) chosen.max_iterations = std::clamp(10 * n, 1000L, 50000L);
  std::printf("matrix     %s\n           %ld unknowns, %ld entries (%.1f a row), %s, %s\n",
              title.c_str(), n, static_cast<long>(a.nonZeros()),
              static_cast<double>(a.nonZeros()) / static_cast<double>(n),
              is_complex<T> ? "complex" : "real",
              found.hermitian ? (is_complex<T> ? "Hermitian" : "symmetric") : "not symmetric");
  method which = choose_method<T>(found, chosen.method);
  const auto announce = [&] {
    std::printf("method     %s, to a relative residual of %.0e, solution known: all ones\n",
                which == method::cg ? "conjugate gradients" : "BiCGSTAB", chosen.tolerance);
    std::fflush(stdout);
  };
  announce();

  // The right-hand side of the solution (1, ..., 1), summed in extended precision.
  vector<T> b(static_cast<std::size_t>(n));
  for (int i = 0; i < a.rows(); ++i) {
    std::complex<long double> sum;
    for (typename matrix<T>::InnerIterator entry(a, i); entry; ++entry) {
      sum += std::complex<long double>(entry.value());
    }
    if constexpr (is_complex<T>) {
      b[static_cast<std::size_t>(i)] = complex(sum);
    } else {
      b[static_cast<std::size_t>(i)] = static_cast<double>(sum.real());
    }
  }
  const vector<T> scale = inverse_scale(a);

  std::vector<int> teams = {1};
  if (chosen.threads > 1) teams.push_back(chosen.threads);
  bool all_hold = true;
  picture drawn;
  drawn.title = title;
  drawn.tolerance = chosen.tolerance;
  result on_one;
  for (const int threads : teams) {
    const diagonal_scaling<T> scaling(scale, threads);
    result got = run<T>(a, b, scaling, which, threads, chosen);
    if (got.end == outcome::indefinite && chosen.method == "auto") {
      std::puts("           the matrix is not positive definite: on with a method for any matrix");
      which = method::bicgstab;
      announce();
      got = run<T>(a, b, scaling, which, threads, chosen);
    }
    const pace found_pace = measure_pace(a, threads);
    print_speed(a, threads, got, found_pace);
    const double gigabytes = product_bytes(a) * 1e-9;
    drawn.speeds.push_back({threads, gigabytes / found_pace.product, gigabytes / found_pace.read});
    if (threads == 1) drawn.falls.push_back({"diagonal scaling", got.residuals});
    all_hold = judge(got, chosen) && all_hold;
    if (threads == 1) on_one = got;
    std::fflush(stdout);
    // What one thread cannot solve, two cannot.
    if (!all_hold) break;
  }
  // Slow convergence is what a better preconditioner is for; an indefinite matrix has none of
  // these.
  if (which == method::cg && on_one.end != outcome::indefinite) {
    all_hold = solve_preconditioned(a, b, chosen, on_one, all_hold, drawn);
  }
  if (!chosen.plot.empty()) drawn.write(chosen.plot);
  if (!all_hold) std::puts("NOT SOLVED");
  return all_hold ? solved : not_solved;
}

int parse_options(int argc, char** argv, options& chosen) {
  CLI::App app(
      "Solves A x = b by a Krylov method on nevrad's matrix products. A is a Matrix Market "
      "file, or without one a finite-volume operator on a three-dimensional grid.\n"
      "Exit status: 0 solved, 1 not solved, 2 wrong options or a file that cannot be used.",
      "nevrad_demo");
  app.add_option("file", chosen.file, "Matrix Market file (coordinate format, square)");
  app.add_option("-g,--grid", chosen.grid, "points in each direction of the grid, without a file")
      ->check(CLI::Range(2, 400))
      ->capture_default_str();
  app.add_option("-t,--tolerance", chosen.tolerance, "of the residual, relative to b")
      ->check(CLI::Range(1e-15, 1e-1))
      ->capture_default_str();
  app.add_option("-i,--max-iterations", chosen.max_iterations,
                 "0: ten times the unknowns, within 1000 and 50000")
      ->check(CLI::Range(0L, 1000000000L))
      ->capture_default_str();
  app.add_option("-n,--threads", chosen.threads,
                 "threads of the second run; 1: the run on one thread alone")
      ->check(CLI::Range(1, 640))
      ->capture_default_str();
  app.add_option("-m,--method", chosen.method,
                 "cg for positive definite matrices, bicgstab for any")
      ->check(CLI::IsMember({"auto", "cg", "bicgstab"}))
      ->capture_default_str();
  app.add_option("-p,--plot", chosen.plot,
                 "write a picture of residuals and speed to this file (.svg, .png; needs gnuplot)");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    app.exit(error);
    return error.get_exit_code() == 0 ? -1 : bad_input;
  }
  return 0;
}

int run_program(int argc, char** argv) {
  options chosen;
  const int parsed = parse_options(argc, argv, chosen);
  if (parsed != 0) return parsed < 0 ? solved : parsed;
  try {
    if (!chosen.plot.empty()) bench::expect_plotter(chosen.plot);
    const bench::problem given = chosen.file.empty() ? bench::make_diffusion(chosen.grid)
                                                     : bench::read_market_system(chosen.file);
    return std::visit([&](const auto& a) { return solve(given.title, a, chosen); }, given.a);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "nevrad_demo: out of memory\n");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "nevrad_demo: %s\n", error.what());
  }
  return bad_input;
}

}  // namespace

}  // namespace demo

int main(int argc, char** argv) { return demo::run_program(argc, argv); }
