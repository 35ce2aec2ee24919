// Solves with one or many right-hand sides.
#include "entries.h"
#include "operands.h"
#include "task.h"

namespace tools {

namespace {

// The named triangle, or the diagonal, with a diagonal that outweighs its row and its column by
// one: the solution stays of the size of the right-hand side, and every diagonal entry is stored.
template <class T>
matrix<T> dominant_part(const matrix<T>& a, const description& d) {
  matrix<T> part = stored_part(a, d);
  array<double> weight(at(static_cast<int>(a.rows())), 1.0);
  for (int i = 0; i < part.rows(); ++i) {
    for (typename matrix<T>::InnerIterator entry(part, i); entry; ++entry) {
      const auto size = static_cast<double>(std::abs(entry.value()));
      if (entry.col() == i) continue;
      weight[at(i)] += size;
      weight[at(static_cast<int>(entry.col()))] += size;
    }
  }
  // A unit diagonal does not outweigh: the others shrink instead.
  if (d.unit) {
    for (int i = 0; i < part.rows(); ++i) {
      for (typename matrix<T>::InnerIterator entry(part, i); entry; ++entry) {
        const double larger = std::max(weight[at(i)], weight[at(static_cast<int>(entry.col()))]);
        entry.valueRef() *= real_element<T>(1 / larger);
      }
    }
  }
  matrix<T> diagonal(part.rows(), part.cols());
  diagonal.setIdentity();
  for (int i = 0; i < part.rows(); ++i) {
    diagonal.coeffRef(i, i) = real_element<T>(d.unit ? 1.0 : weight[at(i)]);
  }
  matrix<T> old = matrix<T>(part.template triangularView<Eigen::Lower>())
                      .template triangularView<Eigen::Upper>();
  part = part - old + diagonal;
  part.makeCompressed();
  return part;
}

template <class T>
struct solve_data {
  request wanted;
  description d;
  bool by_columns;
  int m, n;
  matrix<T> lines;
  stored<T> own;
  matrix<T> full;
  array<T> x, y;

  solve_data(const request& request, const matrix<T>& a)
      : wanted(request),
        d(request.descriptor),
        by_columns(request.entry.starts_with("csc")),
        m(static_cast<int>(a.rows())),
        n(request.entry.ends_with("sm") ? request.rhs : 1) {
    const matrix<T> part = dominant_part(a, d);
    lines = by_columns ? matrix<T>(part.transpose()) : part;
    lines.makeCompressed();
    own = stored<T>(lines, d.one_based ? 1 : 0);
    full = expand(part, d, request.transa);
    x = bench::draw_many<T>(at(m) * at(n), 2);
    y = array<T>(x.size());
  }

  double bytes() const {
    return own.bytes() + static_cast<double>((x.size() + y.size()) * sizeof(T));
  }

  // |op(A) y - x| / |x|, largest elements
  double error() const {
    array<T> back(x.size());
    with_layout(d.one_based || n == 1, [&](auto layout) {
      const Eigen::Map<const dense<T, layout>> solved(y.data(), m, n);
      dense_map<T, layout>(back.data(), m, n).noalias() = full * solved;
    });
    return bench::relative_difference(back, x);
  }
};

template <class T>
void run_library(solve_data<T>& p) {
  using call = entries<T>;
  const int transa = p.wanted.transa;
  const char* const d = p.d.text.c_str();
  const T* const val = p.own.values.data();
  const int* const indx = p.own.indices.data();
  const int* const begin = p.own.begin.data();
  const T* const x = p.x.data();
  T* const y = p.y.data();
  if (p.wanted.entry.ends_with("sm")) {
    const int ld = p.d.one_based ? p.m : p.n;
    const auto solve = p.by_columns ? call::cscsm : call::csrsm;
    expect_success(solve(transa, p.m, p.n, T{1}, d, val, indx, begin, begin + 1, x, ld, y, ld));
  } else if (p.wanted.entry == "csrtrsv") {
    const auto solve = p.d.one_based ? call::csrtrsv_one_based : call::csrtrsv_zero_based;
    expect_success(solve(p.d.upper ? 1 : 0, transa, p.d.unit ? 1 : 0, p.m, val, begin, indx, x, y));
  } else {
    const auto solve = p.by_columns ? call::cscsv : call::csrsv;
    expect_success(solve(transa, p.m, T{1}, d, val, indx, begin, begin + 1, x, y));
  }
}

// The peer solves in place: it pays one copy, as the library reads one array and writes another.
template <class T, int Order, unsigned Mode>
void run_eigen(solve_data<T>& p) {
  const Eigen::Map<const Eigen::SparseMatrix<T, Order, int>> a(p.m, p.m, p.lines.nonZeros(),
                                                               p.lines.outerIndexPtr(),
                                                               p.lines.innerIndexPtr(),
                                                               p.lines.valuePtr());
  dense_map<T, Eigen::ColMajor> y(p.y.data(), p.m, p.n);
  y = Eigen::Map<const dense<T, Eigen::ColMajor>>(p.x.data(), p.m, p.n);
  if (p.wanted.transa == 0) {
    a.template triangularView<Mode>().solveInPlace(y);
  } else {
    constexpr unsigned other = Mode ^ (Eigen::Upper | Eigen::Lower);
    a.transpose().template triangularView<other>().solveInPlace(y);
  }
}

template <class T, int Order>
void add_eigen(task& made, const std::shared_ptr<solve_data<T>>& p) {
  const bool column_major = p->d.one_based || p->n == 1;
  if (!column_major || p->d.structure != 'T' || (is_complex<T> && p->wanted.transa == 2)) return;
  constexpr void (*runs[])(
      solve_data<T>&) = {run_eigen<T, Order, Eigen::Lower>, run_eigen<T, Order, Eigen::UnitLower>,
                         run_eigen<T, Order, Eigen::Upper>, run_eigen<T, Order, Eigen::UnitUpper>};
  const auto run = runs[(p->d.upper ? 2 : 0) + (p->d.unit ? 1 : 0)];
  made.contestants.push_back({"eigen", [p, run] { run(*p); }, [p] { return p->error(); }, {}});
}

}  // namespace

template <class T>
task make_solve(const request& wanted, const matrix<T>& a) {
  const auto p = std::make_shared<solve_data<T>>(wanted, a);
  task made;
  made.contestants.push_back({"nevrad", [p] { run_library(*p); }, [p] { return p->error(); }, {}});
  if (p->by_columns) {
    add_eigen<T, Eigen::ColMajor>(made, p);
  } else {
    add_eigen<T, Eigen::RowMajor>(made, p);
  }
  made.bytes = p->bytes();
  made.flops = multiply_add_flops<T>() * static_cast<double>(p->full.nonZeros()) * p->n;
  made.tolerance = bench::rounding_tolerance<T>;
  return made;
}

template task make_solve(const request&, const matrix<float>&);
template task make_solve(const request&, const matrix<double>&);
template task make_solve(const request&, const matrix<std::complex<float>>&);
template task make_solve(const request&, const matrix<std::complex<double>>&);

}  // namespace tools
