// op(T) y = x for a triangle stored by rows: ?csrsv, plain and transposed.
//
// Peers on the same arrays, with columns ascending: Eigen's triangular view of a row-major matrix,
// and CXSparse, for which the rows of T are the columns of its transpose. `cxsparse other` is the
// same solve from the arrays that the library would be given in its own storage, columns of T.
//
// What limits each case stands in docs/benchmarks.md.
//
// NEVRAD_BENCH_FACTOR names a Matrix Market file with a lower triangular factor to measure as well.
#include "support/compare.h"

#include <unsupported/Eigen/SparseExtra>

#if defined(NEVRAD_HAVE_CXSPARSE)
#include <cs.h>
#endif

#include <cstdlib>

namespace {

using namespace bench;

template <class T>
constexpr auto csrsv() {
  if constexpr (std::is_same_v<T, float>) return orv_sparse_scsrsv;
  if constexpr (std::is_same_v<T, double>) return orv_sparse_dcsrsv;
  if constexpr (std::is_same_v<T, std::complex<float>>) return orv_sparse_ccsrsv;
  if constexpr (std::is_same_v<T, std::complex<double>>) return orv_sparse_zcsrsv;
}

std::size_t at(int i) { return static_cast<std::size_t>(i); }

// The lower triangle with its diagonal.
pattern lower_part(const pattern& a) {
  pattern l;
  l.rows = l.cols = a.rows;
  l.begin.push_back(0);
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
      if (a.indices[at(p)] <= i) l.indices.push_back(a.indices[at(p)]);
    }
    l.begin.push_back(static_cast<int>(l.indices.size()));
  }
  return l;
}

template <class T>
csr<T> transposed(const csr<T>& a) {
  csr<T> t;
  t.rows = a.cols;
  t.cols = a.rows;
  t.begin.assign(at(a.cols) + 1, 0);
  t.indices.resize(a.entries());
  t.values.resize(a.entries());
  for (const int j : a.indices) ++t.begin[at(j) + 1];
  for (int j = 0; j < a.cols; ++j) t.begin[at(j + 1)] += t.begin[at(j)];
  array<int> next(t.begin.begin(), t.begin.end() - 1);
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
      const int q = next[at(a.indices[at(p)])]++;
      t.indices[at(q)] = i;
      t.values[at(q)] = a.values[at(p)];
    }
  }
  return t;
}

// Elements drawn for a pattern, with a diagonal that keeps the solution tame.
template <class T>
csr<T> drawn_factor(const std::function<pattern()>& make) {
  csr<T> l(lower_part(make()));
  for (int i = 0; i < l.rows; ++i) {
    const int last = l.begin[at(i + 1)] - 1;
    l.values[at(last)] *= T(static_cast<decltype(std::abs(T{}))>(last + 1 - l.begin[at(i)]));
  }
  return l;
}

template <class T>
struct triangle {
  csr<T> a;      // by rows
  csr<T> other;  // by columns, as the rows of the transpose
  bool upper;
  bool transpose;
  array<T> x;
  array<T> y;
  array<T> expected;

  static constexpr double tolerance = rounding_tolerance<T>;

  // Of the lower triangle that `make` gives, or of the upper one that is its transpose.
  triangle(const std::function<csr<T>()>& make, bool is_upper, bool is_transposed)
      : a(make()),
        other(transposed(a)),
        upper(is_upper),
        transpose(is_transposed),
        x(draw_many<T>(at(a.rows), 2)),
        y(x.size()) {
    if (upper) std::swap(a, other);
    // Row by row in double, on the rows of op(T).
    using sum_type = std::conditional_t<is_complex<T>, std::complex<double>, double>;
    const csr<T>& rows = transpose ? other : a;
    const bool backward = upper != transpose;
    std::vector<sum_type> solution(x.size());
    for (int step = 0; step < a.rows; ++step) {
      const int i = backward ? a.rows - 1 - step : step;
      sum_type sum(x[at(i)]);
      sum_type d{};
      for (int p = rows.begin[at(i)]; p < rows.begin[at(i + 1)]; ++p) {
        const int j = rows.indices[at(p)];
        if (j == i) {
          d = sum_type(rows.values[at(p)]);
        } else {
          sum -= sum_type(rows.values[at(p)]) * solution[at(j)];
        }
      }
      solution[at(i)] = sum / d;
    }
    for (const sum_type& s : solution) expected.push_back(static_cast<T>(s));
  }

  double bytes() const { return product_bytes<T>(a); }
  double flops() const { return product_flops<T>(a); }
  void reset() { std::fill(y.begin(), y.end(), T{}); }
  double error() const { return relative_difference(y, expected); }
};

template <class T>
void run_csrsv(triangle<T>& p) {
  csrsv<T>()(p.transpose ? 1 : 0, p.a.rows, T{1}, p.upper ? "TUNC" : "TLNC", p.a.values.data(),
             p.a.indices.data(), p.a.begin.data(), p.a.begin.data() + 1, p.x.data(), p.y.data());
}

template <class T>
void run_eigen(triangle<T>& p) {
  using vector = Eigen::Matrix<T, Eigen::Dynamic, 1>;
  const auto a = p.a.as_eigen();
  Eigen::Map<vector> y(p.y.data(), p.a.rows);
  y = Eigen::Map<const vector>(p.x.data(), p.a.rows);
  if (!p.upper && !p.transpose) a.template triangularView<Eigen::Lower>().solveInPlace(y);
  if (!p.upper && p.transpose)
    a.transpose().template triangularView<Eigen::Upper>().solveInPlace(y);
  if (p.upper && !p.transpose) a.template triangularView<Eigen::Upper>().solveInPlace(y);
  if (p.upper && p.transpose) a.transpose().template triangularView<Eigen::Lower>().solveInPlace(y);
}

#if defined(NEVRAD_HAVE_CXSPARSE)
// The arrays as the columns of a matrix, which are the rows of its transpose.
cs_di as_columns(csr<double>& a) {
  return {static_cast<int>(a.entries()),
          a.rows,
          a.cols,
          a.begin.data(),
          a.indices.data(),
          a.values.data(),
          -1};
}

void run_cxsparse(triangle<double>& p) {
  const cs_di columns = as_columns(p.a);
  std::copy(p.x.begin(), p.x.end(), p.y.begin());
  const auto solve = p.upper ? (p.transpose ? cs_di_lsolve : cs_di_ltsolve)
                             : (p.transpose ? cs_di_usolve : cs_di_utsolve);
  solve(&columns, p.y.data());
}

void run_cxsparse_other(triangle<double>& p) {
  const cs_di columns = as_columns(p.other);
  std::copy(p.x.begin(), p.x.end(), p.y.begin());
  const auto solve = p.upper ? (p.transpose ? cs_di_utsolve : cs_di_usolve)
                             : (p.transpose ? cs_di_ltsolve : cs_di_lsolve);
  solve(&columns, p.y.data());
}
#endif

template <class T>
void compare_solves(const std::string& name,
                    const std::string& set,
                    const std::function<csr<T>()>& make) {
  for (const bool upper : {false, true}) {
    for (const bool transpose : {false, true}) {
      const auto data = make_lazy<triangle<T>>(make, upper, transpose);
      std::string full_name = "sv/";
      full_name += name;
      full_name += upper ? " upper" : " lower";
      full_name += transpose ? " transposed/" : "/";
      full_name += set;
      full_name += '/';
      full_name += type_letter<T>;
      comparison<triangle<T>> row(full_name, 1, data);
      row.add("nevrad", run_csrsv<T>).add("eigen", run_eigen<T>);
#if defined(NEVRAD_HAVE_CXSPARSE)
      if constexpr (std::is_same_v<T, double>) {
        row.add("cxsparse", run_cxsparse).add("cxsparse other", run_cxsparse_other);
      }
#endif
      row.add_read_limit();
    }
  }
}

template <class T>
void compare_stencils(working_set set) {
  const auto side = [=](double row) {
    return static_cast<int>(std::cbrt(static_cast<double>(rows_for<T>(set, row))));
  };
  const int side7 = side(4);
  const int side27 = side(14);
  compare_solves<T>("7-point", set.name,
                    [=] { return drawn_factor<T>([=] { return stencil7(side7); }); });
  compare_solves<T>("27-point", set.name,
                    [=] { return drawn_factor<T>([=] { return stencil27(side27); }); });
}

csr<double> read_factor(const std::string& file) {
  Eigen::SparseMatrix<double, Eigen::RowMajor, int> m;
  if (!Eigen::loadMarket(m, file) || m.rows() != m.cols()) fail("no square matrix in " + file);
  m.makeCompressed();
  csr<double> a;
  a.rows = a.cols = static_cast<int>(m.rows());
  a.begin.assign(m.outerIndexPtr(), m.outerIndexPtr() + m.rows() + 1);
  a.indices.assign(m.innerIndexPtr(), m.innerIndexPtr() + m.nonZeros());
  a.values.assign(m.valuePtr(), m.valuePtr() + m.nonZeros());
  return a;
}

const registration all([] {
  for (const working_set set : {in_l2, in_l3, outside}) compare_stencils<double>(set);
  for (const working_set set : {in_l2, outside}) {
    compare_stencils<float>(set);
    compare_stencils<std::complex<double>>(set);
  }
  if (const char* const file = std::getenv("NEVRAD_BENCH_FACTOR")) {
    compare_solves<double>("factor", "file", [=] { return read_factor(file); });
  }
});

}  // namespace
