// Products of a structured or column-compressed matrix with a dense one, on whole calls:
//
//   symmetric   dcsrmm from the lower triangle against dcsrmm on all of the matrix
//   by columns  dcscmm against Eigen's product of a column-major matrix
//   diagonal    against a pass of the same traffic: B and C read, C written
#include "support/compare.h"

#include <cmath>

namespace {

using namespace bench;
using T = double;

enum class layout { columns, rows };

std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

// The pattern of a grid operator with symmetric values; `base` as its layout's descriptors want it.
csr<T> symmetric_matrix(const std::function<pattern()>& make) {
  csr<T> a(make());
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
      const int j = a.indices[at(p)];
      a.values[at(p)] = 0.5 + (std::min(i, j) * 31L + std::max(i, j) * 17L) % 64 / 64.0;
    }
  }
  return a;
}

csr<T> lower_triangle(const csr<T>& a) {
  csr<T> t;
  t.rows = t.cols = a.rows;
  t.begin.push_back(0);
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
      if (a.indices[at(p)] > i) continue;
      t.indices.push_back(a.indices[at(p)]);
      t.values.push_back(a.values[at(p)]);
    }
    t.begin.push_back(static_cast<int>(t.indices.size()));
  }
  return t;
}

void count_from(int base, csr<T>& a) {
  for (int& i : a.begin) i += base;
  for (int& i : a.indices) i += base;
}

struct square_product {
  csr<T> a;         // from 0, for the peer and the reference
  csr<T> whole;     // in the base of the layout
  csr<T> triangle;  // its lower triangle
  layout order;
  int n;
  array<T> b;
  array<T> c;
  array<T> expected;

  static constexpr double tolerance = rounding_tolerance<T>;

  square_product(const std::function<pattern()>& make, layout way, int columns)
      : a(symmetric_matrix(make)),
        whole(a),
        triangle(lower_triangle(a)),
        order(way),
        n(columns),
        b(draw_many<T>(at(a.rows) * at(n), 2)),
        c(b.size()),
        expected(b.size()) {
    const int base = order == layout::columns ? 1 : 0;
    count_from(base, whole);
    count_from(base, triangle);
    for (int i = 0; i < a.rows; ++i) {
      for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
        for (int j = 0; j < n; ++j) {
          expected[place(i, j)] += a.values[at(p)] * b[place(a.indices[at(p)], j)];
        }
      }
    }
  }

  int ld() const { return order == layout::columns ? a.rows : n; }
  std::size_t place(int i, int j) const {
    return order == layout::columns ? at(i) + at(j) * at(a.rows) : at(i) * at(n) + at(j);
  }
  double bytes() const {
    return 12.0 * static_cast<double>(a.entries()) + 4.0 * a.rows + 24.0 * n * a.rows;
  }
  double flops() const { return 2.0 * n * static_cast<double>(a.entries()); }
  void reset() { std::fill(c.begin(), c.end(), T{}); }
  double error() const { return relative_difference(c, expected); }
};

void multiply_rows(square_product& p, const csr<T>& m, const char* descra) {
  orv_sparse_dcsrmm(0, p.a.rows, p.n, p.a.rows, 1, descra, m.values.data(), m.indices.data(),
                    m.begin.data(), m.begin.data() + 1, p.b.data(), p.ld(), 0, p.c.data(), p.ld());
}
void run_symmetric(square_product& p) {
  multiply_rows(p, p.triangle, p.order == layout::columns ? "SLNF" : "SLNC");
}
void run_expanded(square_product& p) {
  multiply_rows(p, p.whole, p.order == layout::columns ? "G00F" : "G00C");
}

// Symmetric: its rows serve as columns.
void run_columns(square_product& p) {
  const csr<T>& m = p.whole;
  orv_sparse_dcscmm(0, p.a.rows, p.n, p.a.rows, 1, p.order == layout::columns ? "G00F" : "G00C",
                    m.values.data(), m.indices.data(), m.begin.data(), m.begin.data() + 1,
                    p.b.data(), p.ld(), 0, p.c.data(), p.ld());
}
void run_eigen(square_product& p) {
  using dense = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
  const Eigen::Map<const Eigen::SparseMatrix<T, Eigen::ColMajor, int>> a(
      p.a.rows, p.a.rows, static_cast<int>(p.a.entries()), p.a.begin.data(), p.a.indices.data(),
      p.a.values.data());
  const Eigen::Map<const dense> b(p.b.data(), p.a.rows, p.n);
  Eigen::Map<dense> c(p.c.data(), p.a.rows, p.n);
  c.noalias() = a * b;
}

struct diagonal_product {
  layout order;
  bool unit;
  int rows;
  int n;
  csr<T> d;
  array<T> b;
  array<T> c;

  static constexpr double tolerance = rounding_tolerance<T>;
  static constexpr T alpha = 0.5;
  static constexpr T beta = 0.25;

  diagonal_product(layout way, bool ones, int order_of_matrix, int columns)
      : order(way),
        unit(ones),
        rows(order_of_matrix),
        n(columns),
        b(draw_many<T>(at(rows) * at(n), 2)),
        c(b.size()) {
    const int base = order == layout::columns ? 1 : 0;
    d.rows = d.cols = rows;
    for (int i = 0; i < rows; ++i) {
      d.begin.push_back(i + base);
      d.indices.push_back(i + base);
      d.values.push_back(1.0 + i % 5);
    }
    d.begin.push_back(rows + base);
  }

  int ld() const { return order == layout::columns ? rows : n; }
  const char* descra() const {
    return order == layout::columns ? (unit ? "D0UF" : "D0NF") : (unit ? "D0UC" : "D0NC");
  }
  double bytes() const { return 24.0 * rows * n + (unit ? 0.0 : 16.0 * rows); }
  double flops() const { return 0; }
  void reset() { std::fill(c.begin(), c.end(), T{1}); }
  // The first run after reset() starts from ones.
  double error() const {
    double largest = 0;
    for (int i = 0; i < rows; ++i) {
      for (int j = 0; j < n; ++j) {
        const std::size_t e =
            order == layout::columns ? at(i) + at(j) * at(rows) : at(i) * at(n) + at(j);
        const double want = beta + alpha * (unit ? 1 : d.values[at(i)]) * b[e];
        largest = std::max(largest, std::abs(c[e] - want));
      }
    }
    return largest;
  }
};

template <int Op>
void run_diagonal(diagonal_product& p) {
  orv_sparse_dcsrmm(Op, p.rows, p.n, p.rows, diagonal_product::alpha, p.descra(), p.d.values.data(),
                    p.d.indices.data(), p.d.begin.data(), p.d.begin.data() + 1, p.b.data(), p.ld(),
                    diagonal_product::beta, p.c.data(), p.ld());
}

// What the call cannot do without, in one plain pass: of a stored diagonal the pointers, indices
// and values, of B every element, and every element of C to and fro.
void run_pass(diagonal_product& p) {
  const auto size = static_cast<std::int64_t>(p.c.size());
  const T* const b = p.b.data();
  T* const c = p.c.data();
  const int base = p.d.begin[0];
  const auto diagonal = [&](int i) {
    const int at_i = p.d.begin[at(i)] - base;
    return p.d.indices[at(at_i)] - base == i ? 0.5 * p.d.values[at(at_i)] : 0.0;
  };
  if (p.unit) {
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < size; ++i) c[i] = 0.25 * c[i] + 0.5 * b[i];
  } else if (p.order == layout::rows) {
#pragma omp parallel for schedule(static)
    for (int i = 0; i < p.rows; ++i) {
      const T v = diagonal(i);
      const T* const from = b + std::int64_t{i} * p.n;
      T* const to = c + std::int64_t{i} * p.n;
      for (int j = 0; j < p.n; ++j) to[j] = 0.25 * to[j] + v * from[j];
    }
  } else {
    bool alone = true;
#pragma omp parallel for schedule(static) reduction(&& : alone)
    for (int i = 0; i < p.rows; ++i) {
      alone = alone && p.d.begin[at(i)] - base == i && p.d.indices[at(i)] - base == i;
    }
    if (!alone) return;  // the wrong result is found
#pragma omp parallel for schedule(static)
    for (int j = 0; j < p.n; ++j) {
      const T* const from = b + std::int64_t{j} * p.rows;
      T* const to = c + std::int64_t{j} * p.rows;
      for (int i = 0; i < p.rows; ++i) to[i] = 0.25 * to[i] + 0.5 * p.d.values[at(i)] * from[i];
    }
  }
}

void compare_operators(working_set set, const char* operation, int points, double mean_row) {
  for (const int n : {8, 32}) {
    const double row = 12.0 * mean_row + 4.0 + 16.0 * n;
    const int side = std::max(4, static_cast<int>(std::cbrt(set.bytes / row)));
    const std::function<pattern()> make = [=] {
      return points == 7 ? stencil7(side) : stencil27(side);
    };
    for (const layout order : {layout::columns, layout::rows}) {
      const auto data = make_lazy<square_product>(make, order, n);
      std::string name = operation;
      name += order == layout::columns ? " F" : " C";
      name += " n=" + std::to_string(n) + "/" + set.name + "/d";
      comparison<square_product>("mm-symmetric/" + name, 1, data)
          .add("nevrad", run_symmetric)
          .add("expanded", run_expanded);
      if (order == layout::rows) continue;
      comparison<square_product>("mm-csc/" + name, 1, data)
          .add("nevrad", run_columns)
          .add("eigen", run_eigen);
    }
  }
}

const registration all([] {
  for (const working_set set : {in_l3, outside}) {
    compare_operators(set, "7-point", 7, 7);
    compare_operators(set, "27-point", 27, 27);
  }
  for (const layout order : {layout::columns, layout::rows}) {
    for (const bool unit : {false, true}) {
      for (const int n : {8, 32}) {
        const auto data =
            make_lazy<diagonal_product>(order, unit, static_cast<int>(outside.bytes / 16 / n), n);
        std::string name = unit ? "mm-diagonal/unit" : "mm-diagonal/stored";
        name += order == layout::columns ? " F" : " C";
        name += " n=" + std::to_string(n) + "/outside/d";
        comparison<diagonal_product>(name, 1, data)
            .add("nevrad", run_diagonal<0>)
            .add("pass", run_pass);
        comparison<diagonal_product>(name, 2, data)
            .add("nevrad", run_diagonal<2>)
            .add("pass", run_pass);
      }
    }
  }
});

}  // namespace
