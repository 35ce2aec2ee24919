// C = A B with a dense B, for a general matrix: ?csrmm in both layouts on one and two threads.
//
// A call copies A, brings its rows into order, scales C, packs B and multiplies; "phases" give each
// of these apart, beside the time in which as many bytes can be read.
#include "matrix/sorted_rows.h"
#include "mm/drivers.h"
#include "mm/panels.h"
#include "mm/sweeps.h"

// Behind the library's own headers: those name the complex types of the declarations.
#include "support/compare.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace bench;
using T = double;
using nevrad::owned_matrix;

enum class layout { columns, rows };

std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

struct mm_product {
  csr<T> a;
  csr<T> a_one_based;
  layout order;
  int n;
  array<T> b;
  array<T> c;
  array<T> expected;

  static constexpr double tolerance = rounding_tolerance<T>;

  mm_product(const std::function<pattern()>& make, layout way, int columns)
      : a(make()),
        a_one_based(a),
        order(way),
        n(columns),
        b(draw_many<T>(at(a.cols) * at(n), 2)),
        c(at(a.rows) * at(n)),
        expected(c.size()) {
    for (int& i : a_one_based.begin) ++i;
    for (int& i : a_one_based.indices) ++i;
    for (int i = 0; i < a.rows; ++i) {
      for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
        for (int j = 0; j < n; ++j) {
          expected[at(c_place(i, j))] += a.values[at(p)] * b[at(b_place(a.indices[at(p)], j))];
        }
      }
    }
  }

  bool by_columns() const { return order == layout::columns; }
  int ldb() const { return by_columns() ? a.cols : n; }
  int ldc() const { return by_columns() ? a.rows : n; }
  std::int64_t b_place(std::int64_t i, int j) const {
    return by_columns() ? i + static_cast<std::int64_t>(j) * a.cols : i * n + j;
  }
  std::int64_t c_place(std::int64_t i, int j) const {
    return by_columns() ? i + static_cast<std::int64_t>(j) * a.rows : i * n + j;
  }

  // A once, B once, C read and written.
  double bytes() const {
    return 12.0 * static_cast<double>(a.entries()) + 4.0 * a.rows +
           8.0 * n * (static_cast<double>(a.cols) + 2.0 * a.rows);
  }
  double flops() const { return 2.0 * n * static_cast<double>(a.entries()); }
  void reset() { std::fill(c.begin(), c.end(), T{}); }
  double error() const { return relative_difference(c, expected); }
};

void run_nevrad(mm_product& p) {
  const csr<T>& a = p.by_columns() ? p.a_one_based : p.a;
  orv_sparse_dcsrmm(0, a.rows, p.n, a.cols, 1, p.by_columns() ? "G00F" : "G00C", a.values.data(),
                    a.indices.data(), a.begin.data(), a.begin.data() + 1, p.b.data(), p.ldb(), 0,
                    p.c.data(), p.ldc());
}

template <int Order>
void run_eigen_as(mm_product& p) {
  using dense = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Order>;
  const Eigen::Map<const dense> b(p.b.data(), p.a.cols, p.n);
  Eigen::Map<dense> c(p.c.data(), p.a.rows, p.n);
  c.noalias() = p.a.as_eigen() * b;
}
void run_eigen(mm_product& p) {
  // One column has no layout; the peer's row-major form takes none.
  if (p.by_columns() || p.n == 1) {
    run_eigen_as<Eigen::ColMajor>(p);
  } else {
    run_eigen_as<Eigen::RowMajor>(p);
  }
}

// The loop that a user would write: up to eight columns at a time, sums in a small array.
template <int W>
void plain_columns(const mm_product& p, T* c, int j, int first, int last) {
  const std::int64_t b_row = p.by_columns() ? 1 : p.n;
  const std::int64_t b_col = p.by_columns() ? p.a.cols : 1;
  const std::int64_t c_row = p.by_columns() ? 1 : p.n;
  const std::int64_t c_col = p.by_columns() ? p.a.rows : 1;
  for (int i = first; i < last; ++i) {
    T sum[W] = {};
    for (int q = p.a.begin[at(i)]; q < p.a.begin[at(i + 1)]; ++q) {
      const T v = p.a.values[at(q)];
      const T* const row = p.b.data() + p.a.indices[at(q)] * b_row + j * b_col;
      if (b_col == 1) {
        for (int w = 0; w < W; ++w) sum[w] = __builtin_fma(v, row[w], sum[w]);
      } else {
        for (int w = 0; w < W; ++w) sum[w] = __builtin_fma(v, row[w * b_col], sum[w]);
      }
    }
    for (int w = 0; w < W; ++w) c[i * c_row + (j + w) * c_col] = sum[w];
  }
}
void run_loop(mm_product& p) {
#pragma omp parallel
  {
    const int team = omp_get_num_threads();
    const int t = omp_get_thread_num();
    const auto cut = [&](int part) {
      return static_cast<int>(static_cast<std::int64_t>(p.a.rows) * part / team);
    };
    int j = 0;
    for (; j + 8 <= p.n; j += 8) plain_columns<8>(p, p.c.data(), j, cut(t), cut(t + 1));
    for (; j + 4 <= p.n; j += 4) plain_columns<4>(p, p.c.data(), j, cut(t), cut(t + 1));
    for (; j < p.n; ++j) plain_columns<1>(p, p.c.data(), j, cut(t), cut(t + 1));
  }
}

// What the phases of a call work on, each as the call finds it.
struct phases : mm_product {
  nevrad::scoped_matrix<T> copied;
  nevrad::scoped_matrix<T> sorted;
  nevrad::scratch<T> store;
  double moved = 0;

  phases(const std::function<pattern()>& make, layout way, int columns)
      : mm_product(make, way, columns), store(nevrad::panel_store<T>(a.cols, n)) {
    copy(copied);
    nevrad::csr_sort_by_double_transpose(*copied, sorted.out());
    pack();
  }

  void copy(nevrad::scoped_matrix<T>& into) const {
    nevrad::matrix_handle<T> handle{};
    nevrad::owned_csr_from_arrays(&handle, 0, a.rows, a.cols, a.begin.data(), a.begin.data() + 1,
                                  a.indices.data(), a.values.data());
    *into.out() = handle.matrix;
  }
  void pack() const {
    const auto fill = by_columns() ? nevrad::pack_cols_all<T> : nevrad::pack_rows_all<T>;
    fill(a.cols, b.data(), n, ldb(), store.get());
  }
  double error() const { return 0; }  // checked as a whole by the comparisons
};

void run_copy(phases& p) {
  nevrad::scoped_matrix<T> copy;
  p.copy(copy);
}
void run_sort(phases& p) {
  nevrad::scoped_matrix<T> sorted;
  nevrad::csr_sort_by_double_transpose(*p.copied, sorted.out());
}
// What a call does where rows ascend already.
void run_check(phases& p) {
  nevrad::sorted_rows<T> sorted;
  sorted.sort(*p.copied);
}
void run_scale(phases& p) {
  if (p.by_columns()) {
    nevrad::dense_scale_lines(p.n, p.a.rows, T{1}, p.c.data(), p.ldc());
  } else {
    nevrad::dense_scale_lines(p.a.rows, p.n, T{1}, p.c.data(), p.ldc());
  }
}
void run_pack(phases& p) { p.pack(); }
void run_driver(phases& p) {
  const auto driver = p.by_columns() ? nevrad::mm_cols_parallel<T> : nevrad::mm_rows_parallel<T>;
  driver(*p.sorted, {p.b.data(), p.n, p.ldb(), p.c.data(), p.ldc(), 1, 0});
}
void run_whole(phases& p) { run_nevrad(p); }

void compare_products(const std::string& name,
                      working_set set,
                      const std::function<pattern(int rows)>& make,
                      double mean_row) {
  for (const layout order : {layout::columns, layout::rows}) {
    for (const int n : {1, 4, 8, 16, 32, 64}) {
      // The set holds A, B and C.
      const double row = 12.0 * mean_row + 4.0 + 16.0 * n;
      const int rows = std::max(64, static_cast<int>(set.bytes / row));
      const std::function<pattern()> made = [=] { return make(rows); };
      const auto data = make_lazy<mm_product>(made, order, n);
      const std::string full_name = "mm/" + name + (order == layout::columns ? " F" : " C") +
                                    " n=" + std::to_string(n) + "/" + set.name + "/d";
      for (const int threads : {1, 2}) {
        auto measured = comparison<mm_product>(full_name, threads, data);
        measured.add("nevrad", run_nevrad).add("loop", run_loop);
        // The peer multiplies by a dense matrix on one thread.
        if (threads == 1) measured.add("eigen", run_eigen).add_compute_limit();
        measured.add_read_limit();
      }
      if (n != 8 && n != 32) continue;
      const auto parts = make_lazy<phases>(made, order, n);
      comparison<phases>("mm-phases" + full_name.substr(2), 1, parts)
          .add("copy", run_copy)
          .add("sort", run_sort)
          .add("find in order", run_check)
          .add("scale", run_scale)
          .add("pack", run_pack)
          .add("scale, pack and product", run_driver)
          .add("whole", run_whole)
          .add_read_limit();
    }
  }
}

int side_for(int rows) { return std::max(4, static_cast<int>(std::cbrt(rows))); }

const registration all([] {
  for (const working_set set : {in_l3, outside}) {
    compare_products("7-point", set, [](int rows) { return stencil7(side_for(rows)); }, 7);
    compare_products("27-point", set, [](int rows) { return stencil27(side_for(rows)); }, 27);
  }
  compare_products("uniform 16", outside, [](int rows) { return uniform_random(rows, 16); }, 16);
  compare_products("power law", outside, [](int rows) { return power_law(rows, 16); }, 16);
});

}  // namespace
