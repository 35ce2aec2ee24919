// y = A x for a general matrix: ?csrmv on one thread, ?csrgemv on two (the first keeps matrices as
// sparse as these on one thread).
#include "support/compare.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace bench;

template <class T>
struct calls;

#define NEVRAD_MV_CALLS(letter, T)                                 \
  template <>                                                      \
  struct calls<T> {                                                \
    static constexpr auto csrmv = orv_sparse_##letter##csrmv;      \
    static constexpr auto csrgemv = orv_csparse_##letter##csrgemv; \
  };
NEVRAD_MV_CALLS(s, float)
NEVRAD_MV_CALLS(d, double)
NEVRAD_MV_CALLS(c, std::complex<float>)
NEVRAD_MV_CALLS(z, std::complex<double>)
#undef NEVRAD_MV_CALLS

template <class T>
struct product {
  csr<T> a;
  array<T> x;
  array<T> y;
  array<T> expected;

  static constexpr double tolerance = rounding_tolerance<T>;

  explicit product(const std::function<pattern()>& make)
      : a(make()),
        x(draw_many<T>(static_cast<std::size_t>(a.cols), 2)),
        y(static_cast<std::size_t>(a.rows)),
        expected(y.size()) {
    for (int i = 0; i < a.rows; ++i) {
      using sum_type = std::conditional_t<is_complex<T>, std::complex<double>, double>;
      sum_type sum{};
      for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
        sum += sum_type(a.values[at(p)]) * sum_type(x[at(a.indices[at(p)])]);
      }
      expected[at(i)] = static_cast<T>(sum);
    }
  }

  static std::size_t at(int i) { return static_cast<std::size_t>(i); }

  double bytes() const { return product_bytes<T>(a); }
  double flops() const { return product_flops<T>(a); }
  void reset() { std::fill(y.begin(), y.end(), T{}); }
  double error() const { return relative_difference(y, expected); }
};

template <class T>
void run_csrmv(product<T>& p) {
  const csr<T>& a = p.a;
  calls<T>::csrmv(0, a.rows, a.cols, T{1}, "G00C", a.values.data(), a.indices.data(),
                  a.begin.data(), a.begin.data() + 1, p.x.data(), T{0}, p.y.data());
}

template <class T>
void run_csrgemv(product<T>& p) {
  const csr<T>& a = p.a;
  calls<T>::csrgemv(0, a.rows, a.values.data(), a.begin.data(), a.indices.data(), p.x.data(),
                    p.y.data());
}

template <class T>
void run_eigen(product<T>& p) {
  using vector = Eigen::Matrix<T, Eigen::Dynamic, 1>;
  const Eigen::Map<const vector> x(p.x.data(), p.a.cols);
  Eigen::Map<vector> y(p.y.data(), p.a.rows);
  y.noalias() = p.a.as_eigen() * x;
}

// The loop that a user would write; complex products are spelled out, without repair of NaN.
template <class T>
void plain_rows(const csr<T>& a, const T* x, T* y, int first, int last) {
  const int* const begin = a.begin.data();
  const int* const indices = a.indices.data();
  const T* const values = a.values.data();
  for (int i = first; i < last; ++i) {
    if constexpr (is_complex<T>) {
      typename T::value_type re = 0;
      typename T::value_type im = 0;
      for (int p = begin[i]; p < begin[i + 1]; ++p) {
        const T v = values[p];
        const T u = x[indices[p]];
        re += v.real() * u.real() - v.imag() * u.imag();
        im += v.real() * u.imag() + v.imag() * u.real();
      }
      y[i] = T{re, im};
    } else {
      T sum = 0;
      for (int p = begin[i]; p < begin[i + 1]; ++p) sum += values[p] * x[indices[p]];
      y[i] = sum;
    }
  }
}

template <class T>
void run_loop(product<T>& p) {
  plain_rows(p.a, p.x.data(), p.y.data(), 0, p.a.rows);
}

template <class T>
void run_parallel_loop(product<T>& p) {
#pragma omp parallel
  {
    const int team = omp_get_num_threads();
    const int t = omp_get_thread_num();
    const auto cut = [&](int part) {
      return static_cast<int>(static_cast<std::int64_t>(p.a.rows) * part / team);
    };
    plain_rows(p.a, p.x.data(), p.y.data(), cut(t), cut(t + 1));
  }
}

template <class T>
void compare_product(const std::string& name,
                     working_set set,
                     bool two_threads,
                     const std::function<pattern()>& make) {
  const auto data = make_lazy<product<T>>(make);
  const std::string full_name = "mv/" + name + "/" + set.name + "/" + type_letter<T>;
  comparison<product<T>>(full_name, 1, data)
      .add("nevrad", run_csrmv<T>)
      .add("eigen", run_eigen<T>)
      .add("loop", run_loop<T>)
      .add_read_limit();
  if (!two_threads) return;
  comparison<product<T>>(full_name, 2, data)
      .add("nevrad", run_csrgemv<T>)
      .add("eigen", run_eigen<T>)
      .add("loop", run_parallel_loop<T>)
      .add_read_limit();
}

int side_for(int rows) { return static_cast<int>(std::cbrt(static_cast<double>(rows))); }

template <class T>
void compare_stencils(working_set set, bool two_threads) {
  const int side7 = side_for(rows_for<T>(set, 7));
  const int side27 = side_for(rows_for<T>(set, 27));
  compare_product<T>("7-point", set, two_threads, [=] { return stencil7(side7); });
  compare_product<T>("27-point", set, two_threads, [=] { return stencil27(side27); });
}

// What a call costs when there is hardly any work.
void compare_tiny() {
  const auto make = [] { return uniform_random(10, 3); };
  const auto data = make_lazy<product<double>>(std::function<pattern()>(make));
  comparison<product<double>>("mv/tiny 10 by 10/L1/d", 1, data)
      .add("nevrad", run_csrmv<double>)
      .add("eigen", run_eigen<double>)
      .add("loop", run_loop<double>);
}

const registration all([] {
  compare_tiny();
  for (const working_set set : {in_l2, in_l3, outside}) compare_stencils<double>(set, true);
  for (const working_set set : {in_l2, outside}) {
    compare_stencils<float>(set, false);
    compare_stencils<std::complex<float>>(set, false);
    compare_stencils<std::complex<double>>(set, false);
  }
  using d = double;
  const working_set far = outside;
  compare_product<d>("uniform 7", far, true,
                     [=] { return uniform_random(rows_for<d>(far, 7), 7); });
  compare_product<d>("uniform 27", far, true,
                     [=] { return uniform_random(rows_for<d>(far, 27), 27); });
  compare_product<d>("power law", far, true, [=] { return power_law(rows_for<d>(far, 16), 16); });
  compare_product<d>("arrow", far, true, [=] { return arrow(rows_for<d>(far, 3)); });
});

}  // namespace
