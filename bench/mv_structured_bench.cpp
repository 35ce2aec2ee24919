// y = op(A) x where A is not simply general by rows: transposed products, compressed columns, and
// symmetric and triangular matrices of which one triangle counts.
//
// Matrices are dense enough for the entries to keep two threads, where two are measured.
#include "support/compare.h"

#include <Eigen/SparseCore>

namespace {

using namespace bench;

using vector = Eigen::Matrix<double, Eigen::Dynamic, 1>;

// One matrix with equal values in mirrored places, whole and as its upper triangle.
struct structured {
  csr<double> whole;
  csr<double> upper;
  array<double> x;
  array<double> y;
  array<double> expected;
  double entry_count = 0;  // stored entries that a run reads

  static constexpr double tolerance = rounding_tolerance<double>;

  explicit structured(const std::function<pattern()>& make) : whole(make()) {
    upper.rows = upper.cols = whole.rows;
    upper.begin.push_back(0);
    for (int i = 0; i < whole.rows; ++i) {
      for (int p = whole.begin[at(i)]; p < whole.begin[at(i + 1)]; ++p) {
        const int j = whole.indices[at(p)];
        whole.values[at(p)] = value_at(std::min(i, j), std::max(i, j));
        if (j < i) continue;
        upper.indices.push_back(j);
        upper.values.push_back(whole.values[at(p)]);
      }
      upper.begin.push_back(static_cast<int>(upper.indices.size()));
    }
    x = draw_many<double>(at(whole.rows), 2);
    y.resize(x.size());
    expected.resize(x.size());
  }

  static std::size_t at(int i) { return static_cast<std::size_t>(i); }
  static double value_at(int i, int j) { return 0.5 + 1.0 / (1 + (i * 31 + j * 17) % 101); }

  double bytes() const { return 12.0 * entry_count + 20.0 * whole.rows; }
  double flops() const { return 2.0 * static_cast<double>(whole.entries()); }
  void reset() { std::fill(y.begin(), y.end(), 0.0); }
  double error() const { return relative_difference(y, expected); }
};

// The product of the whole matrix, which is its own transpose.
struct symmetric_data : structured {
  explicit symmetric_data(const std::function<pattern()>& make) : structured(make) {
    for (int i = 0; i < whole.rows; ++i) {
      for (int p = whole.begin[at(i)]; p < whole.begin[at(i + 1)]; ++p) {
        expected[at(i)] += whole.values[at(p)] * x[at(whole.indices[at(p)])];
      }
    }
    entry_count = static_cast<double>(whole.entries());
  }
};

// The product of the upper triangle.
struct triangular_data : structured {
  explicit triangular_data(const std::function<pattern()>& make, bool transposed)
      : structured(make) {
    for (int i = 0; i < whole.rows; ++i) {
      for (int p = upper.begin[at(i)]; p < upper.begin[at(i + 1)]; ++p) {
        const int j = upper.indices[at(p)];
        expected[at(transposed ? j : i)] += upper.values[at(p)] * x[at(transposed ? i : j)];
      }
    }
    entry_count = static_cast<double>(upper.entries());
  }
};

using entry = decltype(orv_sparse_dcsrmv)*;

void run(entry product, int op, const char* descra, const csr<double>& a, structured& d) {
  product(op, a.rows, a.cols, 1.0, descra, a.values.data(), a.indices.data(), a.begin.data(),
          a.begin.data() + 1, d.x.data(), 0.0, d.y.data());
}

auto by_rows(int op, const char* descra, csr<double> structured::* a) {
  return [=](structured& d) { run(orv_sparse_dcsrmv, op, descra, d.*a, d); };
}
auto by_columns(int op, const char* descra, csr<double> structured::* a) {
  return [=](structured& d) { run(orv_sparse_dcscmv, op, descra, d.*a, d); };
}

template <class Product>
auto eigen(const Product& product) {
  return [=](structured& d) {
    const Eigen::Map<const vector> x(d.x.data(), d.whole.cols);
    Eigen::Map<vector> y(d.y.data(), d.whole.rows);
    product(d, x, y);
  };
}

// The arrays of a matrix by rows, read as columns: its transpose.
auto as_columns(const csr<double>& a) {
  return Eigen::Map<const Eigen::SparseMatrix<double, Eigen::ColMajor, int>>(
      a.cols, a.rows, static_cast<int>(a.entries()), a.begin.data(), a.indices.data(),
      a.values.data());
}

void compare_forms(const std::string& where, int threads, const std::function<pattern()>& make) {
  const auto symmetric = make_lazy<symmetric_data>(make);
  const auto triangle = make_lazy<triangular_data>(make, false);
  const auto transposed_triangle = make_lazy<triangular_data>(make, true);
  const auto name = [&](const char* form) {
    return std::string("mv/") + form + "/" + where + "/d";
  };

  comparison<symmetric_data>(name("symmetric by rows"), threads, symmetric)
      .add("nevrad", by_rows(0, "SUNC", &structured::upper))
      .add("nevrad expanded", by_rows(0, "G00C", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = d.upper.as_eigen().template selfadjointView<Eigen::Upper>() * x;
           }));
  comparison<symmetric_data>(name("symmetric by columns"), threads, symmetric)
      .add("nevrad", by_columns(0, "SLNC", &structured::upper))
      .add("nevrad expanded", by_rows(0, "G00C", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = as_columns(d.upper).template selfadjointView<Eigen::Lower>() * x;
           }));
  comparison<symmetric_data>(name("symmetric in a full matrix"), threads, symmetric)
      .add("nevrad", by_rows(0, "SUNC", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = d.whole.as_eigen().template selfadjointView<Eigen::Upper>() * x;
           }));
  comparison<symmetric_data>(name("transposed by rows"), threads, symmetric)
      .add("nevrad", by_rows(1, "G00C", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = d.whole.as_eigen().transpose() * x;
           }));
  comparison<symmetric_data>(name("plain by columns"), threads, symmetric)
      .add("nevrad", by_columns(0, "G00C", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = as_columns(d.whole) * x;
           }));
  comparison<symmetric_data>(name("transposed by columns"), threads, symmetric)
      .add("nevrad", by_columns(1, "G00C", &structured::whole))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = as_columns(d.whole).transpose() * x;
           }));
  comparison<triangular_data>(name("triangle by rows"), threads, triangle)
      .add("nevrad", by_rows(0, "TUNC", &structured::upper))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = d.upper.as_eigen() * x;
           }));
  comparison<triangular_data>(name("triangle by rows, transposed"), threads, transposed_triangle)
      .add("nevrad", by_rows(1, "TUNC", &structured::upper))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = d.upper.as_eigen().transpose() * x;
           }));
  comparison<triangular_data>(name("triangle by columns"), threads, transposed_triangle)
      .add("nevrad", by_columns(0, "TLNC", &structured::upper))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = as_columns(d.upper) * x;
           }));
  comparison<triangular_data>(name("triangle by columns, transposed"), threads, triangle)
      .add("nevrad", by_columns(1, "TLNC", &structured::upper))
      .add("eigen", eigen([](structured& d, const auto& x, auto& y) {
             y.noalias() = as_columns(d.upper).transpose() * x;
           }));
}

const registration all([] {
  // 62^3 points: 6.2 million entries, 75 MB, and dense enough for two threads.
  for (const int threads : {1, 2}) {
    compare_forms("27-point outside", threads, [] { return stencil27(62); });
  }
  compare_forms("27-point L3", 1, [] { return stencil27(28); });
  compare_forms("7-point outside", 1, [] { return stencil7(110); });
  // Long rows: 300 entries on average.
  for (const int threads : {1, 2}) {
    compare_forms("band 300 outside", threads, [] { return band(20000, 150); });
  }
});

}  // namespace
