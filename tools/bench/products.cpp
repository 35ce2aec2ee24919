// Products with a vector or a dense matrix.
#include "entries.h"
#include "operands.h"
#include "rsb_peer.h"
#include "task.h"

namespace tools {

namespace {

template <class T>
struct product_data {
  request wanted;
  description d;
  bool by_columns;
  int m, k, n;
  matrix<T> lines;  // rows of what is stored, or columns: from zero, for the peers
  stored<T> own;
  int rows_x, rows_y;
  array<T> x, y, expected;

  product_data(const request& request, const matrix<T>& a)
      : wanted(request),
        d(request.descriptor),
        by_columns(request.entry.starts_with("csc")),
        m(static_cast<int>(a.rows())),
        k(static_cast<int>(a.cols())),
        n(request.entry.ends_with("mm") ? request.rhs : 1) {
    const matrix<T> part = stored_part(a, d);
    lines = by_columns ? matrix<T>(part.transpose()) : part;
    lines.makeCompressed();
    own = stored<T>(lines, d.one_based ? 1 : 0);
    const matrix<T> full = expand(part, d, request.transa);
    rows_x = static_cast<int>(full.cols());
    rows_y = static_cast<int>(full.rows());
    x = bench::draw_many<T>(at(rows_x) * at(n), 2);
    y = array<T>(at(rows_y) * at(n));
    expected = array<T>(y.size());
    with_layout(d.one_based, [&](auto layout) {
      dense_map<T, layout>(expected.data(), rows_y, n).noalias() =
          full * dense_map<T, layout>(x.data(), rows_x, n);
    });
    flops = multiply_add_flops<T>() * static_cast<double>(full.nonZeros()) * n;
  }

  double flops = 0;
  double bytes() const {
    return own.bytes() + static_cast<double>((x.size() + y.size()) * sizeof(T));
  }
  double error() const { return bench::relative_difference(y, expected); }
};

template <class T>
void run_library(product_data<T>& p) {
  using call = entries<T>;
  const std::string& entry = p.wanted.entry;
  const int transa = p.wanted.transa;
  const char* const d = p.d.text.c_str();
  const T* const val = p.own.values.data();
  const int* const indx = p.own.indices.data();
  const int* const begin = p.own.begin.data();
  const T* const x = p.x.data();
  T* const y = p.y.data();
  if (p.wanted.entry.ends_with("mm")) {
    const int ldb = p.d.one_based ? p.rows_x : p.n;
    const int ldc = p.d.one_based ? p.rows_y : p.n;
    const auto product = p.by_columns ? call::cscmm : call::csrmm;
    expect_success(
        product(transa, p.m, p.n, p.k, T{1}, d, val, indx, begin, begin + 1, x, ldb, T{0}, y, ldc));
  } else if (entry == "csrgemv") {
    const auto product = p.d.one_based ? call::csrgemv_one_based : call::csrgemv_zero_based;
    expect_success(product(transa, p.m, val, begin, indx, x, y));
  } else if (entry == "csrsymv") {
    const auto product = p.d.one_based ? call::csrsymv_one_based : call::csrsymv_zero_based;
    expect_success(product(p.d.upper ? 1 : 0, p.m, val, begin, indx, x, y));
  } else {
    const auto product = p.by_columns ? call::cscmv : call::csrmv;
    expect_success(product(transa, p.m, p.k, T{1}, d, val, indx, begin, begin + 1, x, T{0}, y));
  }
}

// The library's arrays from zero, as the peer sees them.
template <class T, int Order>
auto as_eigen(const product_data<T>& p) {
  return Eigen::Map<const Eigen::SparseMatrix<T, Order, int>>(p.m, p.k, p.lines.nonZeros(),
                                                              p.lines.outerIndexPtr(),
                                                              p.lines.innerIndexPtr(),
                                                              p.lines.valuePtr());
}

template <class T, int Order, int Layout>
void run_eigen_general(product_data<T>& p) {
  const auto a = as_eigen<T, Order>(p);
  const Eigen::Map<const dense<T, Layout>> x(p.x.data(), p.rows_x, p.n);
  dense_map<T, Layout> y(p.y.data(), p.rows_y, p.n);
  if (p.wanted.transa == 0) {
    y.noalias() = a * x;
  } else if (p.wanted.transa == 1) {
    y.noalias() = a.transpose() * x;
  } else {
    y.noalias() = a.adjoint() * x;
  }
}

template <class T, int Order, int Side>
void run_eigen_symmetric(product_data<T>& p) {
  const Eigen::Map<const dense<T, Eigen::ColMajor>> x(p.x.data(), p.rows_x, p.n);
  dense_map<T, Eigen::ColMajor> y(p.y.data(), p.rows_y, p.n);
  y.noalias() = as_eigen<T, Order>(p).template selfadjointView<Side>() * x;
}

// Eigen, where it has the same product on the same arrays.
template <class T, int Order>
void add_eigen(task& made, const std::shared_ptr<product_data<T>>& p) {
  std::function<void()> run;
  const bool column_major = p->d.one_based || p->n == 1;
  if (p->d.structure == 'G') {
    with_layout(column_major, [&](auto layout) {
      constexpr int chosen = layout;
      run = [p] { run_eigen_general<T, Order, chosen>(*p); };
    });
  } else if (column_major && p->wanted.transa == 0 && !p->d.unit &&
             (p->d.structure == 'H' || (p->d.structure == 'S' && !is_complex<T>))) {
    if (p->d.upper) {
      run = [p] { run_eigen_symmetric<T, Order, Eigen::Upper>(*p); };
    } else {
      run = [p] { run_eigen_symmetric<T, Order, Eigen::Lower>(*p); };
    }
  }
  if (run) made.contestants.push_back({"eigen", run, [p] { return p->error(); }, {}});
}

}  // namespace

template <class T>
task make_product(const request& wanted, const matrix<T>& a) {
  const auto p = std::make_shared<product_data<T>>(wanted, a);
  task made;
  made.contestants.push_back({"nevrad", [p] { run_library(*p); }, [p] { return p->error(); }, {}});
  if (p->by_columns) {
    add_eigen<T, Eigen::ColMajor>(made, p);
  } else {
    add_eigen<T, Eigen::RowMajor>(made, p);
  }
#ifdef NEVRAD_HAVE_RSB
  if (p->d.structure == 'G' && !p->by_columns) {
    const auto rsb = std::make_shared<rsb_matrix<T>>(p->lines);
    const auto run = [p, rsb] {
      rsb->multiply(p->wanted.transa, p->n, p->d.one_based, p->x.data(), p->rows_x, p->y.data(),
                    p->rows_y);
    };
    made.contestants.push_back({"librsb", run, [p] { return p->error(); }, {}});
  }
#endif
  made.bytes = p->bytes();
  made.flops = p->flops;
  made.tolerance = bench::rounding_tolerance<T>;
  return made;
}

template task make_product(const request&, const matrix<float>&);
template task make_product(const request&, const matrix<double>&);
template task make_product(const request&, const matrix<std::complex<float>>&);
template task make_product(const request&, const matrix<std::complex<double>>&);

}  // namespace tools
