// Sums and products of sparse matrices.
#include "entries.h"
#include "operands.h"
#include "task.h"

#include <random>

namespace tools {

namespace {

// A dense product of n columns from a second factor of up to four entries a row.
template <class T>
matrix<T> thin_factor(int rows, int columns) {
  std::mt19937_64 random(5);
  std::uniform_int_distribution<int> column(0, columns - 1);
  std::vector<Eigen::Triplet<T>> entries;
  for (int i = 0; i < rows; ++i) {
    for (int e = 0; e < std::min(4, columns); ++e) {
      entries.emplace_back(i, column(random), bench::draw<T>(random));
    }
  }
  matrix<T> made(rows, columns);
  made.setFromTriplets(entries.begin(), entries.end());
  return made;
}

template <class T>
struct sparse_data {
  request wanted;
  int m, n, k = 0;
  matrix<T> a, b, expected, peer_result;
  stored<T> a_own, b_own;
  array<T> c;  // values, or the dense product by columns
  array<int> jc, ic;
  int rows_c;
  double products = 0;

  sparse_data(const request& request, const matrix<T>& given)
      : wanted(request),
        m(static_cast<int>(given.rows())),
        n(static_cast<int>(given.cols())),
        a(given) {
    const bool sum = request.entry == "csradd";
    rows_c = request.transa == 0 || sum ? m : n;
    // A second operand of the right shape: the matrix itself or its transpose.
    if (sum) {
      b = request.transa == 0 ? a : matrix<T>(a.transpose());
      k = n;
    } else if (request.entry == "csrmultd") {
      b = thin_factor<T>(request.transa == 0 ? n : m, request.rhs);
      k = request.rhs;
    } else {
      b = request.transa == 0 && m != n ? matrix<T>(a.transpose()) : a;
      k = static_cast<int>(b.cols());
    }
    b.makeCompressed();
    a_own = stored<T>(a, 1);
    b_own = stored<T>(b, 1);
    run_eigen();
    expected = peer_result;
    count_products();
    if (request.entry == "csrmultd") {
      c = array<T>(at(rows_c) * at(k));
    } else {
      ic = array<int>(at(rows_c) + 1);
      // The size of the result first, by the library's own protocol.
      const int room = std::numeric_limits<int>::max();
      expect_success(run_request(1, room));
      c = array<T>(at(ic.back() - 1));
      jc = array<int>(c.size());
    }
  }

  void count_products() {
    if (wanted.entry == "csradd") {
      products = static_cast<double>(b.nonZeros());
      return;
    }
    for (int i = 0; i < m; ++i) {
      for (typename matrix<T>::InnerIterator entry(a, i); entry; ++entry) {
        const auto row = static_cast<int>(wanted.transa == 0 ? entry.col() : entry.row());
        products += b.outerIndexPtr()[row + 1] - b.outerIndexPtr()[row];
      }
    }
  }

  orv_sparse_status_t run_request(int what, int room) {
    using call = entries<T>;
    if (wanted.entry == "csradd") {
      return call::csradd(wanted.transa, what, 0, m, n, a_own.values.data(), a_own.indices.data(),
                          a_own.begin.data(), T{1}, b_own.values.data(), b_own.indices.data(),
                          b_own.begin.data(), c.data(), jc.data(), ic.data(), room);
    }
    return call::csrmultcsr(wanted.transa, what, 0, m, n, k, a_own.values.data(),
                            a_own.indices.data(), a_own.begin.data(), b_own.values.data(),
                            b_own.indices.data(), b_own.begin.data(), c.data(), jc.data(),
                            ic.data(), room);
  }

  void run_library() {
    if (wanted.entry == "csrmultd") {
      expect_success(entries<T>::csrmultd(wanted.transa, m, n, k, a_own.values.data(),
                                          a_own.indices.data(), a_own.begin.data(),
                                          b_own.values.data(), b_own.indices.data(),
                                          b_own.begin.data(), c.data(), rows_c));
    } else {
      expect_success(run_request(0, static_cast<int>(c.size())));
    }
  }

  void run_eigen() {
    if (wanted.entry == "csradd") {
      if (wanted.transa == 0) peer_result = a + b;
      if (wanted.transa == 1) peer_result = a + matrix<T>(b.transpose());
      if (wanted.transa == 2) peer_result = a + matrix<T>(b.adjoint());
    } else {
      if (wanted.transa == 0) peer_result = a * b;
      if (wanted.transa == 1) peer_result = matrix<T>(a.transpose()) * b;
      if (wanted.transa == 2) peer_result = matrix<T>(a.adjoint()) * b;
    }
  }

  double error() const {
    if (wanted.entry == "csrmultd") {
      const dense<T, Eigen::ColMajor> want = expected;
      array<T> flat(want.data(), want.data() + want.size());
      return bench::relative_difference(c, flat);
    }
    std::vector<Eigen::Triplet<T>> found;
    found.reserve(c.size());
    for (int i = 0; i < rows_c; ++i) {
      for (int p = ic[at(i)] - 1; p < ic[at(i + 1)] - 1; ++p) {
        found.emplace_back(i, jc[at(p)] - 1, c[at(p)]);
      }
    }
    matrix<T> got(expected.rows(), expected.cols());
    got.setFromTriplets(found.begin(), found.end());
    return sparse_difference<T>(got, expected);
  }

  double bytes() const {
    return a_own.bytes() + b_own.bytes() +
           static_cast<double>(c.size() * sizeof(T) + (jc.size() + ic.size()) * sizeof(int));
  }
};

}  // namespace

template <class T>
task make_sparse(const request& wanted, const matrix<T>& a) {
  const auto p = std::make_shared<sparse_data<T>>(wanted, a);
  task made;
  made.contestants.push_back({"nevrad", [p] { p->run_library(); }, [p] { return p->error(); }, {}});
  if (wanted.entry != "csrmultd") {
    made.contestants.push_back({"eigen",
                                [p] { p->run_eigen(); },
                                [p] { return sparse_difference<T>(p->peer_result, p->expected); },
                                {}});
  }
  made.bytes = p->bytes();
  made.flops = multiply_add_flops<T>() * p->products;
  made.tolerance = bench::rounding_tolerance<T>;
  return made;
}

template task make_sparse(const request&, const matrix<float>&);
template task make_sparse(const request&, const matrix<double>&);
template task make_sparse(const request&, const matrix<std::complex<float>>&);
template task make_sparse(const request&, const matrix<std::complex<double>>&);

}  // namespace tools
