// The transpose of a matrix by rows, by rows: what conversions and sorting are made of. Every run
// allocates its result.
#include "support/compare.h"

#include "matrix/transpose.h"

#include <Eigen/SparseCore>

namespace {

using namespace bench;

using peer_matrix = Eigen::SparseMatrix<double, Eigen::RowMajor, int>;

struct transposition {
  csr<double> a;
  nevrad::compressed_matrix<double> view{};
  nevrad::scoped_matrix<double> own;
  peer_matrix peer;
  std::function<double(int i, int p, int& column)> entry_of_result;

  static constexpr double tolerance = 0;

  explicit transposition(const std::function<pattern()>& make) : a(make()) {
    view.rows = a.rows;
    view.cols = a.cols;
    view.begin = a.begin.data();
    view.end = a.begin.data() + 1;
    view.indices = a.indices.data();
    view.values = a.values.data();
  }

  // Entries read and written, pointers of both.
  double bytes() const { return 24.0 * static_cast<double>(a.entries()) + 8.0 * a.rows; }
  static double flops() { return 0; }
  void reset() { entry_of_result = nullptr; }

  // The share of entries of A that are not where they belong: the rows of A, walked in order, fill
  // the rows of the result from the left.
  double error() const {
    array<int> next(static_cast<std::size_t>(a.cols), 0);
    double wrong = 0;
    for (int i = 0; i < a.rows; ++i) {
      for (int p = a.begin[at(i)]; p < a.begin[at(i + 1)]; ++p) {
        int column = -1;
        const int j = a.indices[at(p)];
        const double value = entry_of_result(j, next[at(j)]++, column);
        if (column != i || value != a.values[at(p)]) wrong += 1;
      }
    }
    return wrong / static_cast<double>(a.entries());
  }
  static std::size_t at(int i) { return static_cast<std::size_t>(i); }
};

void run_nevrad(transposition& d) {
  nevrad::owned_csr_free(d.own.release());
  nevrad::csr_transpose(d.view, d.own.out());
  d.entry_of_result = [&d](int i, int p, int& column) {
    const int position = d.own->begin[i] + p;
    column = d.own->indices[position];
    return d.own->values[position];
  };
}

void run_eigen(transposition& d) {
  d.peer = peer_matrix();
  d.peer = d.a.as_eigen().transpose();
  d.entry_of_result = [&d](int i, int p, int& column) {
    const int position = d.peer.outerIndexPtr()[i] + p;
    column = d.peer.innerIndexPtr()[position];
    return d.peer.valuePtr()[position];
  };
}

const registration all([] {
  const auto compare = [](const std::string& name, const std::function<pattern()>& make) {
    comparison<transposition>("matrix/transpose/" + name + "/d", 1, make_lazy<transposition>(make))
        .add("nevrad", run_nevrad)
        .add("eigen", run_eigen);
  };
  compare("7-point outside", [] { return stencil7(110); });
  compare("7-point L3", [] { return stencil7(40); });
  compare("27-point outside", [] { return stencil27(62); });
  compare("27-point L3", [] { return stencil27(28); });
  compare("uniform 7 outside", [] { return uniform_random(1000000, 7); });
  compare("power law outside", [] { return power_law(500000, 10); });
});

}  // namespace
