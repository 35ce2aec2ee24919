// Sums and products of compressed matrices, and products into a dense one.
//
// Every contestant allocates its result anew in each run, as its caller would, and gives back the
// one before it. Results are compared as matrices: the same entries in whatever order of columns.
#include "support/compare.h"

#if __has_include(<suitesparse/cs.h>)
#include <suitesparse/cs.h>
#define NEVRAD_BENCH_CXSPARSE 1
#else
#define NEVRAD_BENCH_CXSPARSE 0
#endif

#include <malloc.h>

#include <cstdlib>

namespace {

using namespace bench;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

// Compressed rows in memory of malloc, whoever made them.
struct result {
  int rows = 0;
  int base = 0;
  int* begin = nullptr;
  int* indices = nullptr;
  double* values = nullptr;

  result() = default;
  result(const result&) = delete;
  result& operator=(const result&) = delete;
  ~result() { clear(); }

  int entries() const { return begin[rows] - base; }
  void clear() {
    std::free(begin);
    std::free(indices);
    std::free(values);
    begin = indices = nullptr;
    values = nullptr;
  }
  void alloc_pointers(int new_rows, int new_base) {
    clear();
    rows = new_rows;
    base = new_base;
    begin = static_cast<int*>(std::malloc(sizeof(int) * (at(rows) + 1)));
  }
  void alloc_entries(int capacity) {
    indices = static_cast<int*>(std::malloc(sizeof(int) * at(capacity)));
    values = static_cast<double*>(std::malloc(sizeof(double) * at(capacity)));
  }
};

// The caller's arrays, one-based for the library; the peers share those of the zero-based matrix.
struct operand : csr<double> {
  array<int> begin_one;
  array<int> indices_one;

  explicit operand(pattern p) : csr<double>(std::move(p)), begin_one(begin), indices_one(indices) {
    for (int& b : begin_one) ++b;
    for (int& j : indices_one) ++j;
  }
};

using eigen_rows = Eigen::SparseMatrix<double, Eigen::RowMajor, int>;

struct sparse_result {
  operand a;
  operand b;
  eigen_rows expected;  // also where the peer computes
  result c;
  bool by_eigen = false;

  static constexpr double tolerance = 1e-13;

  sparse_result(const std::function<pattern()>& make_a, const std::function<pattern()>& make_b)
      : a(make_a()), b(make_b()) {}

  static double bytes() { return 0; }
  static double flops() { return 0; }
  void reset() {
    c.clear();
    by_eigen = false;
  }

  double error() const {
    if (by_eigen) return 0;
    if (c.begin == nullptr || c.rows != expected.rows()) return 1;
    double worst = 0;
    std::vector<std::pair<int, double>> row;
    for (int i = 0; i < c.rows; ++i) {
      row.clear();
      for (int p = c.begin[i] - c.base; p < c.begin[i + 1] - c.base; ++p) {
        row.emplace_back(c.indices[p] - c.base, c.values[p]);
      }
      std::sort(row.begin(), row.end());
      auto entry = row.begin();
      for (eigen_rows::InnerIterator e(expected, i); e; ++e, ++entry) {
        if (entry == row.end() || entry->first != e.col()) return 1;
        worst = std::max(worst, std::abs(entry->second - e.value()) / std::abs(e.value()));
      }
      if (entry != row.end()) return 1;
    }
    return worst;
  }
};

constexpr double beta = 0.75;

struct sum : sparse_result {
  using sparse_result::sparse_result;
};
struct square : sparse_result {
  int most = 0;
  explicit square(const std::function<pattern()>& make) : sparse_result(make, make) {
    expected = a.as_eigen() * b.as_eigen();
    most = static_cast<int>(expected.nonZeros());
  }
};
struct prepared_sum : sum {
  prepared_sum(const std::function<pattern()>& make_a, const std::function<pattern()>& make_b)
      : sum(make_a, make_b) {
    expected = a.as_eigen() + beta * b.as_eigen();
  }
};

void add_by_request(prepared_sum& s, int request, int capacity) {
  orv_sparse_dcsradd(0, request, 0, s.a.rows, s.a.cols, s.a.values.data(), s.a.indices_one.data(),
                     s.a.begin_one.data(), beta, s.b.values.data(), s.b.indices_one.data(),
                     s.b.begin_one.data(), s.c.values, s.c.indices, s.c.begin, capacity);
}

void add_at_once(prepared_sum& s) {
  const int most = static_cast<int>(s.a.entries() + s.b.entries());
  s.c.alloc_pointers(s.a.rows, 1);
  s.c.alloc_entries(most);
  add_by_request(s, 0, most);
}

void add_in_two_steps(prepared_sum& s) {
  s.c.alloc_pointers(s.a.rows, 1);
  add_by_request(s, 1, static_cast<int>(s.a.entries() + s.b.entries()));
  s.c.alloc_entries(s.c.entries());
  add_by_request(s, 2, s.c.entries());
}

void add_by_eigen(prepared_sum& s) {
  s.c.clear();
  s.expected = eigen_rows();
  s.expected = s.a.as_eigen() + beta * s.b.as_eigen();
  s.by_eigen = true;
}

void multiply_by_request(square& s, int request, int capacity) {
  orv_sparse_dcsrmultcsr(0, request, 0, s.a.rows, s.a.cols, s.b.cols, s.a.values.data(),
                         s.a.indices_one.data(), s.a.begin_one.data(), s.b.values.data(),
                         s.b.indices_one.data(), s.b.begin_one.data(), s.c.values, s.c.indices,
                         s.c.begin, capacity);
}

void multiply_at_once(square& s) {
  s.c.alloc_pointers(s.a.rows, 1);
  s.c.alloc_entries(s.most);
  multiply_by_request(s, 0, s.most);
}

void multiply_in_two_steps(square& s) {
  s.c.alloc_pointers(s.a.rows, 1);
  multiply_by_request(s, 1, 0);
  s.c.alloc_entries(s.c.entries());
  multiply_by_request(s, 2, s.c.entries());
}

void multiply_by_eigen(square& s) {
  s.c.clear();
  s.expected = eigen_rows();
  s.expected = s.a.as_eigen() * s.b.as_eigen();
  s.by_eigen = true;
}

#if NEVRAD_BENCH_CXSPARSE

// Rows are taken as columns: the peer adds and multiplies the transposes.
cs_di as_columns(const operand& a) {
  cs_di m{};
  m.nzmax = static_cast<int>(a.entries());
  m.m = a.cols;
  m.n = a.rows;
  m.p = const_cast<int*>(a.begin.data());
  m.i = const_cast<int*>(a.indices.data());
  m.x = const_cast<double*>(a.values.data());
  m.nz = -1;
  return m;
}

void take(result& c, cs_di* m) {
  c.clear();
  c.rows = m->n;
  c.base = 0;
  c.begin = m->p;
  c.indices = m->i;
  c.values = m->x;
  std::free(m);
}

cs_di* sorted(cs_di* m) {
  cs_di* const t = cs_di_transpose(m, 1);
  cs_di_spfree(m);
  cs_di* const s = cs_di_transpose(t, 1);
  cs_di_spfree(t);
  return s;
}

void add_by_cxsparse(prepared_sum& s) {
  const cs_di a = as_columns(s.a);
  const cs_di b = as_columns(s.b);
  s.c.clear();
  take(s.c, cs_di_add(&a, &b, 1, beta));
}

void multiply_by_cxsparse(square& s) {
  const cs_di a = as_columns(s.a);
  const cs_di b = as_columns(s.b);
  s.c.clear();
  take(s.c, cs_di_multiply(&b, &a));
}

void multiply_and_sort_by_cxsparse(square& s) {
  const cs_di a = as_columns(s.a);
  const cs_di b = as_columns(s.b);
  s.c.clear();
  take(s.c, sorted(cs_di_multiply(&b, &a)));
}

#endif

void compare_sum(const std::string& name,
                 const std::function<pattern()>& make_a,
                 const std::function<pattern()>& make_b) {
  const auto data = make_lazy<prepared_sum>(make_a, make_b);
  for (const int threads : {1, 2}) {
    comparison<prepared_sum> c("spsp/sum/" + name + "/d", threads, data);
    c.add("nevrad", add_at_once).add("nevrad in two steps", add_in_two_steps);
#if NEVRAD_BENCH_CXSPARSE
    c.add("cxsparse", add_by_cxsparse);
#endif
    if (threads == 1) c.add("eigen", add_by_eigen);
  }
}

void compare_square(const std::string& name, const std::function<pattern()>& make) {
  const auto data = make_lazy<square>(make);
  for (const int threads : {1, 2}) {
    comparison<square> c("spsp/square/" + name + "/d", threads, data);
    c.add("nevrad", multiply_at_once).add("nevrad in two steps", multiply_in_two_steps);
#if NEVRAD_BENCH_CXSPARSE
    c.add("cxsparse and sort", multiply_and_sort_by_cxsparse).add("cxsparse", multiply_by_cxsparse);
#endif
    if (threads == 1) c.add("eigen", multiply_by_eigen);
  }
}

// A * A into a dense matrix. The peer gets A by columns, which is what it computes fastest with.
struct dense_square {
  operand a;
  Eigen::SparseMatrix<double, Eigen::ColMajor, int> columns;
  Eigen::MatrixXd c;
  Eigen::MatrixXd expected;

  static constexpr double tolerance = 1e-13;

  explicit dense_square(const std::function<pattern()>& make)
      : a(make()), columns(a.as_eigen()), c(a.rows, a.cols), expected(columns * columns) {}

  static double bytes() { return 0; }
  static double flops() { return 0; }
  void reset() { c.setConstant(std::numeric_limits<double>::quiet_NaN()); }
  double error() const {
    return (c - expected).cwiseAbs().maxCoeff() / expected.cwiseAbs().maxCoeff();
  }
};

void multiply_into_dense(dense_square& s) {
  orv_sparse_dcsrmultd(0, s.a.rows, s.a.cols, s.a.cols, s.a.values.data(), s.a.indices_one.data(),
                       s.a.begin_one.data(), s.a.values.data(), s.a.indices_one.data(),
                       s.a.begin_one.data(), s.c.data(), static_cast<int>(s.c.rows()));
}
void multiply_into_dense_by_eigen(dense_square& s) { s.c = s.columns * s.columns; }
void multiply_rows_into_dense_by_eigen(dense_square& s) { s.c = s.a.as_eigen() * s.a.as_eigen(); }

void compare_dense(const std::string& name, const std::function<pattern()>& make) {
  const auto data = make_lazy<dense_square>(make);
  for (const int threads : {1, 2}) {
    comparison<dense_square>("spsp/dense square/" + name + "/d", threads, data)
        .add("nevrad", multiply_into_dense)
        .add("eigen", multiply_into_dense_by_eigen)
        .add("eigen from rows", multiply_rows_into_dense_by_eigen);
  }
}

const registration all([] {
  // Freed memory stays with the process for all contestants: page faults are not what is compared.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);

  const auto grid = [](int side) { return [=] { return stencil7(side); }; };
  const auto cube = [](int side) { return [=] { return stencil27(side); }; };
  const auto random = [](int n, int row, unsigned seed) {
    return [=] { return uniform_random(n, row, seed); };
  };
  const auto far_arrow = [] { return arrow(333000); };
  compare_sum("7-point, itself, 1M", grid(52), grid(52));
  compare_sum("7-point, itself, 5M", grid(90), grid(90));
  compare_sum("27-point and 7-point, 5M and 1M", cube(57), grid(57));
  compare_sum("arrow, itself, 1M", far_arrow, far_arrow);
  compare_sum("random of 10, random of 10, 1M", random(100000, 10, 1), random(100000, 10, 2));
  compare_sum("random of 5, random of 5, 5M", random(1000000, 5, 1), random(1000000, 5, 2));
  compare_sum("random of 50, random of 50, 5M", random(100000, 50, 1), random(100000, 50, 2));

  compare_square("7-point, 39K columns", grid(34));
  compare_square("7-point, 1M columns", grid(100));
  compare_square("27-point, 64K columns", cube(40));
  compare_square("random of 10, 1K columns", random(1000, 10, 1));
  compare_square("random of 50, 1K columns", random(1000, 50, 1));
  compare_square("random of 10, 40K columns", random(40000, 10, 1));
  compare_square("random of 5, 1M columns", random(1000000, 5, 1));

  compare_dense("7-point, 1K", grid(10));
  compare_dense("random of 10, 2K", random(2000, 10, 1));
  compare_dense("random of 100, 1K", random(1000, 100, 1));
  compare_dense("random of 200, 2K", random(2000, 200, 1));
});

}  // namespace
