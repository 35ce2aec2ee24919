// op(T) Y = X for a triangle stored by rows and many right-hand sides: dcsrsm, whole calls.
//
// Peers, on the same arrays with ascending columns: Eigen's triangular view of a row-major matrix
// with a dense right-hand side, and a plain loop over rows that takes eight columns at a time. Both
// copy X into Y as they go. On two threads each of them solves half of the columns on each.
#include "support/compare.h"

namespace {

using namespace bench;

enum class side : bool { lower, upper };
enum class order : bool { row_major, column_major };

std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

// One triangle with its diagonal, whose elements keep the solution tame.
csr<double> triangle_of(const pattern& a, side which) {
  pattern t;
  t.rows = t.cols = a.rows;
  t.begin.push_back(0);
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
      const int j = a.indices[at(p)];
      if (which == side::lower ? j <= i : j >= i) t.indices.push_back(j);
    }
    t.begin.push_back(static_cast<int>(t.indices.size()));
  }
  csr<double> m(std::move(t));
  for (int i = 0; i < m.rows; ++i) {
    const int first = m.begin[at(i)];
    const int last = m.begin[at(i + 1)] - 1;
    m.values[at(which == side::lower ? last : first)] *= last + 1 - first;
  }
  return m;
}

// Dense operands are as large as memory for one case allows: all cases use the same.
struct dense_operands {
  array<double> x;
  array<double> y;
};
dense_operands& operands() {
  static dense_operands shared;
  return shared;
}

struct system_of_equations {
  csr<double> a;
  side which;
  order layout;
  int n;

  static constexpr double tolerance = rounding_tolerance<double>;

  system_of_equations(const std::function<pattern()>& make, side triangle, order dense, int columns)
      : a(triangle_of(make(), triangle)), which(triangle), layout(dense), n(columns) {}

  int ld() const { return layout == order::column_major ? a.rows : n; }
  std::size_t size() const { return at(a.rows) * at(n); }
  std::size_t element(int i, int j) const {
    return layout == order::column_major ? at(i) + at(j) * at(a.rows) : at(i) * at(n) + at(j);
  }
  const double* x() const { return operands().x.data(); }
  double* y() const { return operands().y.data(); }

  double bytes() const { return product_bytes<double>(a) + 16.0 * a.rows * (n - 1); }
  double flops() const { return product_flops<double>(a) * n; }

  void reset() const {
    auto& o = operands();
    if (o.x.size() < size()) {
      o.x.resize(size());
      o.y.resize(size());
    }
    for (int i = 0; i < a.rows; ++i) {
      for (int j = 0; j < n; ++j) o.x[element(i, j)] = 1.0 + (i * 7 + j * 13) % 101 * 0.01;
    }
    std::fill(o.y.begin(), o.y.begin() + static_cast<std::ptrdiff_t>(size()), 0.0);
  }

  // Against the solution column by column.
  double error() const {
    double difference = 0;
    double largest = 0;
    array<double> v(at(a.rows));
    for (int j = 0; j < n; ++j) {
      for (int step = 0; step < a.rows; ++step) {
        const int i = which == side::lower ? step : a.rows - 1 - step;
        double sum = x()[element(i, j)];
        double d = 0;
        for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
          if (a.indices[at(p)] == i) {
            d = a.values[at(p)];
          } else {
            sum -= a.values[at(p)] * v[at(a.indices[at(p)])];
          }
        }
        v[at(i)] = sum / d;
        const double off = std::abs(v[at(i)] - y()[element(i, j)]);
        if (!(off <= difference)) difference = off;
        largest = std::max(largest, std::abs(v[at(i)]));
      }
    }
    return difference / largest;
  }
};

void run_csrsm(system_of_equations& s) {
  const bool lower = s.which == side::lower;
  // One-based arrays would be a conversion for the peers: the column-major form gets its own copy.
  static array<int> begin;
  static array<int> indices;
  static const system_of_equations* of = nullptr;
  if (s.layout == order::row_major) {
    orv_sparse_dcsrsm(0, s.a.rows, s.n, 1.0, lower ? "TLNC" : "TUNC", s.a.values.data(),
                      s.a.indices.data(), s.a.begin.data(), s.a.begin.data() + 1, s.x(), s.ld(),
                      s.y(), s.ld());
    return;
  }
  if (of != &s) {
    begin = s.a.begin;
    indices = s.a.indices;
    for (int& i : begin) ++i;
    for (int& i : indices) ++i;
    of = &s;
  }
  orv_sparse_dcsrsm(0, s.a.rows, s.n, 1.0, lower ? "TLNF" : "TUNF", s.a.values.data(),
                    indices.data(), begin.data(), begin.data() + 1, s.x(), s.ld(), s.y(), s.ld());
}

// Columns in groups of eight, dealt out to the threads of the comparison.
template <class Solve>
void by_groups(const system_of_equations& s, const Solve& solve) {
  const int share = std::max(8, (s.n / omp_get_max_threads() + 7) / 8 * 8);
#pragma omp parallel for schedule(static, 1)
  for (int j = 0; j < s.n; j += share) solve(j, std::min(share, s.n - j));
}

template <int Order>
void eigen_columns(const system_of_equations& s, int j, int width) {
  using matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Order>;
  using stride = Eigen::OuterStride<>;
  const auto offset = static_cast<std::ptrdiff_t>(s.element(0, j));
  const Eigen::Map<const matrix, 0, stride> x(s.x() + offset, s.a.rows, width, stride(s.ld()));
  Eigen::Map<matrix, 0, stride> y(s.y() + offset, s.a.rows, width, stride(s.ld()));
  y = x;
  const auto a = s.a.as_eigen();
  if (s.which == side::lower) {
    a.triangularView<Eigen::Lower>().solveInPlace(y);
  } else {
    a.triangularView<Eigen::Upper>().solveInPlace(y);
  }
}

void run_eigen(system_of_equations& s) {
  by_groups(s, [&](int j, int width) {
    if (s.layout == order::row_major) {
      eigen_columns<Eigen::RowMajor>(s, j, width);
    } else {
      eigen_columns<Eigen::ColMajor>(s, j, width);
    }
  });
}

// The loop that a user would write, Width columns at a time.
template <int Width, order Layout>
void plain_columns(const system_of_equations& s, int j) {
  const int* const begin = s.a.begin.data();
  const int* const indices = s.a.indices.data();
  const double* const values = s.a.values.data();
  const std::int64_t across = Layout == order::row_major ? 1 : s.ld();
  const std::int64_t down = Layout == order::row_major ? s.ld() : 1;
  const double* const x = s.x() + j * across;
  double* const y = s.y() + j * across;
  const bool lower = s.which == side::lower;
  for (int step = 0; step < s.a.rows; ++step) {
    const int i = lower ? step : s.a.rows - 1 - step;
    const int diagonal = lower ? begin[i + 1] - 1 : begin[i];
    const int first = lower ? begin[i] : begin[i] + 1;
    const int last = lower ? begin[i + 1] - 1 : begin[i + 1];
    double sum[Width];
    for (int c = 0; c < Width; ++c) sum[c] = x[i * down + c * across];
    for (int p = first; p < last; ++p) {
      const double* const row = y + indices[p] * down;
      for (int c = 0; c < Width; ++c) sum[c] -= values[p] * row[c * across];
    }
    const double inverse = 1.0 / values[diagonal];
    for (int c = 0; c < Width; ++c) y[i * down + c * across] = sum[c] * inverse;
  }
}

template <order Layout>
void plain_group(const system_of_equations& s, int j, int width) {
  for (; width >= 8; j += 8, width -= 8) plain_columns<8, Layout>(s, j);
  if (width == 4) plain_columns<4, Layout>(s, j);
}

void run_loop(system_of_equations& s) {
  by_groups(s, [&](int j, int width) {
    if (s.layout == order::row_major) {
      plain_group<order::row_major>(s, j, width);
    } else {
      plain_group<order::column_major>(s, j, width);
    }
  });
}

void compare_solves(const std::string& name, const std::function<pattern()>& make, int n) {
  for (const side which : {side::lower, side::upper}) {
    for (const order layout : {order::row_major, order::column_major}) {
      std::string full_name = "sm/" + name;
      full_name += which == side::lower ? "/lower" : "/upper";
      full_name += layout == order::row_major ? "/rows" : "/columns";
      full_name += "/n" + std::to_string(n) + "/d";
      const auto data = make_lazy<system_of_equations>(make, which, layout, n);
      for (const int threads : {1, 2}) {
        comparison<system_of_equations>(full_name, threads, data)
            .repeat(5)
            .add("nevrad", run_csrsm)
            .add("eigen", run_eigen)
            .add("loop", run_loop);
      }
    }
  }
}

void compare_operators(int points, int n) {
  const std::string cube = std::to_string(points * points * points);
  compare_solves("7-point/" + cube, [points] { return stencil7(points); }, n);
  compare_solves("27-point/" + cube, [points] { return stencil27(points); }, n);
}

const registration all([] {
  for (const int points : {34, 64, 100}) {
    for (const int n : {4, 8, 16, 32, 64}) compare_operators(points, n);
  }
});

}  // namespace
