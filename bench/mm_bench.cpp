// C = A B with a dense B, for a general matrix: ?csrmm in both layouts on one and two threads.
//
// A call as it is described copies A, sorts its rows by transposing twice, scales C, packs B, cuts
// A into blocks of columns and multiplies. "mm-phases" give each of these apart, and beside it what
// calls do in its place, each against the time in which the bytes that it moves can be read.
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
  nevrad::scoped_matrix<T> blocks;
  std::int32_t block_count = 0;
  nevrad::scratch<T> store;

  phases(const std::function<pattern()>& make, layout way, int columns)
      : mm_product(make, way, columns), store(nevrad::panel_store<T>(a.cols, n)) {
    copy(copied);
    nevrad::csr_sort_by_double_transpose(*copied, sorted.out());
    cut(blocks, block_count);
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
  void cut(nevrad::scoped_matrix<T>& into, std::int32_t& count) const {
    nevrad::column_blocks_build(*sorted, 0, a.rows, nevrad::mm_block_cols, into.out(), &count);
  }
  nevrad::mm_operands<T> operands() { return {b.data(), n, ldb(), c.data(), ldc(), 1, 0}; }

  double of_a() const { return 12.0 * static_cast<double>(a.entries()) + 4.0 * a.rows; }
  double of_b() const { return 8.0 * n * a.cols; }
  double of_c() const { return 8.0 * n * a.rows; }
};

// A phase: what it runs, and the bytes that it reads and writes at least.
struct copying {
  static void run(phases& p) {
    nevrad::scoped_matrix<T> copy;
    p.copy(copy);
  }
  static double bytes(const phases& p) { return 2 * p.of_a(); }
};
struct sorting {
  static void run(phases& p) {
    nevrad::scoped_matrix<T> sorted;
    nevrad::csr_sort_by_double_transpose(*p.copied, sorted.out());
  }
  // Counts, then moves, twice.
  static double bytes(const phases& p) {
    return 4 * p.of_a() + 8.0 * static_cast<double>(p.a.entries());
  }
};
struct looking_at_order {
  static void run(phases& p) {
    const bool ascend = nevrad::rows_ascend(*p.copied);
    ::benchmark::DoNotOptimize(ascend);
  }
  static double bytes(const phases& p) {
    return 4.0 * static_cast<double>(p.a.entries()) + 4.0 * p.a.rows;
  }
};
struct scaling {
  static void run(phases& p) {
    const int lines = p.by_columns() ? p.n : p.a.rows;
    const int length = p.by_columns() ? p.a.rows : p.n;
    nevrad::dense_scale_lines(lines, length, T{1}, p.c.data(), p.ldc());
  }
  static double bytes(const phases& p) { return 2 * p.of_c(); }
};
struct packing {
  static void run(phases& p) { p.pack(); }
  static double bytes(const phases& p) { return 2 * p.of_b(); }
};
struct cutting {
  static void run(phases& p) {
    nevrad::scoped_matrix<T> blocks;
    std::int32_t count = 0;
    p.cut(blocks, count);
  }
  static double bytes(const phases& p) { return 2 * p.of_a(); }
};

// Phases that compute the product.
struct multiplying {
  static constexpr bool computes = true;
  static double bytes(const phases& p) { return p.of_a() + p.of_b() + 2 * p.of_c(); }
};
// Over blocks and panels that are there.
struct sweeping : multiplying {
  static void run(phases& p) {
    const auto* const blocks = p.blocks.get();
    if (p.by_columns()) {
      nevrad::sweep_cols(blocks, p.block_count, p.b.data(), p.store.get(), p.a.cols, p.n, p.ldb(),
                         p.c.data(), p.ldc(), T{1});
    } else {
      nevrad::sweep_rows(blocks, p.block_count, p.store.get(), p.n, p.a.cols, p.c.data(), p.ldc(),
                         T{1});
    }
  }
};
// What a call runs on rows that are known to ascend: scaling, packing and multiplying at once.
struct multiplying_in_place : multiplying {
  static void run(phases& p) {
    const auto driver = p.by_columns() ? nevrad::mm_cols_parallel<T> : nevrad::mm_rows_parallel<T>;
    driver(*p.sorted, p.operands());
  }
};
struct calling : multiplying {
  static void run(phases& p) { run_nevrad(p); }
};

// One phase as the data of a comparison.
template <class Phase>
struct phase_data {
  static constexpr bool computes = requires { Phase::computes; };
  static constexpr double tolerance = mm_product::tolerance;

  lazy<phases> all;

  explicit phase_data(const lazy<phases>& data) : all(data) {}
  double bytes() const { return Phase::bytes(all.get()); }
  double flops() const { return computes ? all.get().flops() : 0; }
  void reset() { all.get().reset(); }
  double error() const { return computes ? all.get().error() : 0; }
};

template <class Phase>
void add_phase(const std::string& name, const std::string& set, const lazy<phases>& all) {
  using data = phase_data<Phase>;
  auto measured = comparison<data>("mm-phases/" + name + "/" + set + "/d", 1, make_lazy<data>(all));
  measured.add("nevrad", [](data& d) { Phase::run(d.all.get()); }).add_read_limit();
  if (data::computes) measured.add_compute_limit();
}

void add_phases(const std::string& name, const std::string& set, const lazy<phases>& all) {
  add_phase<copying>(name + " 1 copy", set, all);
  add_phase<sorting>(name + " 2 sort", set, all);
  add_phase<looking_at_order>(name + " 2 look at order instead", set, all);
  add_phase<scaling>(name + " 3 scale", set, all);
  add_phase<packing>(name + " 4 pack", set, all);
  add_phase<cutting>(name + " 5 cut", set, all);
  add_phase<sweeping>(name + " 6 product", set, all);
  add_phase<multiplying_in_place>(name + " 6 product in place, for 3 to 6", set, all);
  add_phase<calling>(name + " whole call", set, all);
}

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
      add_phases(name + (order == layout::columns ? " F" : " C") + " n=" + std::to_string(n),
                 set.name, make_lazy<phases>(made, order, n));
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
