// Sparse vector operations: a packed vector of nnz elements, at random places of a dense vector
// twice as long, in ascending order.
#include "support/compare.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace bench;

template <class T>
struct calls;

#define NEVRAD_VECTOR_CALLS(letter, T)                                       \
  static constexpr auto axpyi = orv_sparse_##letter##axpyi;                  \
  [[maybe_unused]] static constexpr auto gthr = orv_sparse_##letter##gthr;   \
  [[maybe_unused]] static constexpr auto gthrz = orv_sparse_##letter##gthrz; \
  [[maybe_unused]] static constexpr auto sctr = orv_sparse_##letter##sctr;
template <>
struct calls<float> {
  NEVRAD_VECTOR_CALLS(s, float)
  [[maybe_unused]] static constexpr auto roti = orv_sparse_sroti;
  static constexpr auto dotu = orv_sparse_sdoti;
};
template <>
struct calls<double> {
  NEVRAD_VECTOR_CALLS(d, double)
  [[maybe_unused]] static constexpr auto roti = orv_sparse_droti;
  static constexpr auto dotu = orv_sparse_ddoti;
};
template <>
struct calls<std::complex<float>> {
  NEVRAD_VECTOR_CALLS(c, std::complex<float>)
  static constexpr auto dotu = orv_sparse_cdotui_sub;
  static constexpr auto dotc = orv_sparse_cdotci_sub;
};
template <>
struct calls<std::complex<double>> {
  NEVRAD_VECTOR_CALLS(z, std::complex<double>)
  static constexpr auto dotu = orv_sparse_zdotui_sub;
  static constexpr auto dotc = orv_sparse_zdotci_sub;
};
#undef NEVRAD_VECTOR_CALLS

// a b and conj(a) b as a user spells them, without the repair of NaN that operators make.
template <class T>
T times(T a, T b) {
  if constexpr (is_complex<T>) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
  } else {
    return a * b;
  }
}
template <class T>
T conj_times(T a, T b) {
  return times(std::conj(a), b);
}

// The operands of all operations at one size.
template <class T>
struct packed {
  int nnz;
  int column[2];
  array<int> indx;
  array<T> x;
  array<T> y;
  T result{};

  static constexpr T alpha = static_cast<T>(0.75);

  explicit packed(int n)
      : nnz(n),
        column{0, n},
        indx(static_cast<std::size_t>(n)),
        x(indx.size()),
        y(2 * indx.size()) {
    std::mt19937_64 random(3);
    for (std::size_t i = 0; i < indx.size(); ++i) {
      indx[i] = static_cast<int>(2 * i + (random() & 1U));
    }
    refill();
  }

  // Old values are functions of the place, so that none need be kept.
  static T old_value(std::size_t i, int kind) {
    return draw_at(static_cast<double>((i * 37 + static_cast<std::size_t>(kind)) % 1024));
  }
  static T draw_at(double step) {
    const double part = 0.5 + step / 1024;
    if constexpr (is_complex<T>) {
      using real = typename T::value_type;
      return {static_cast<real>(part), static_cast<real>(1 - part / 2)};
    } else {
      return static_cast<T>(part);
    }
  }
  void refill() {
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = old_value(i, 1);
    for (std::size_t i = 0; i < y.size(); ++i) y[i] = old_value(i, 2);
    result = T{};
  }
};

// What an operation does, as data of a comparison: the expected values follow from the old ones.
template <class T, class Operation>
struct vector_run {
  std::shared_ptr<packed<T>> p;

  static constexpr double tolerance = rounding_tolerance<T>;

  explicit vector_run(const lazy<packed<T>>& operands) : p(&operands.get(), [operands](auto*) {}) {}

  // Every element and index once; y is touched in every line.
  double bytes() const {
    return static_cast<double>(sizeof(T) + sizeof(int)) * p->nnz +
           static_cast<double>(sizeof(T)) * static_cast<double>(p->y.size());
  }
  double flops() const { return Operation::flops * (is_complex<T> ? 4.0 : 1.0) * p->nnz; }
  void reset() { p->refill(); }

  double error() const {
    double worst = 0;
    T sum{};
    for (std::size_t i = 0; i < p->x.size(); ++i) {
      const auto j = static_cast<std::size_t>(p->indx[i]);
      T x = packed<T>::old_value(i, 1);
      T y = packed<T>::old_value(j, 2);
      Operation::apply(x, y, sum);
      worst = std::max(worst, static_cast<double>(std::abs(p->x[i] - x) + std::abs(p->y[j] - y)));
    }
    // A sum of n positive terms of size 1 is exact to n roundings, in whatever order.
    worst = std::max(worst, static_cast<double>(std::abs(p->result - sum)) / p->nnz);
    return worst;
  }
};

struct axpyi {
  static constexpr double flops = 2;
  template <class T>
  static void apply(T& x, T& y, T& /*sum*/) {
    y += times(packed<T>::alpha, x);
  }
};
struct gthr {
  static constexpr double flops = 0;
  template <class T>
  static void apply(T& x, T& y, T& /*sum*/) {
    x = y;
  }
};
struct gthrz {
  static constexpr double flops = 0;
  template <class T>
  static void apply(T& x, T& y, T& /*sum*/) {
    x = y;
    y = T{};
  }
};
struct sctr {
  static constexpr double flops = 0;
  template <class T>
  static void apply(T& x, T& y, T& /*sum*/) {
    y = x;
  }
};
struct roti {
  static constexpr double flops = 6;
  template <class T>
  static void apply(T& x, T& y, T& /*sum*/) {
    const T u = x;
    x = static_cast<T>(0.6) * u + static_cast<T>(0.8) * y;
    y = static_cast<T>(0.6) * y - static_cast<T>(0.8) * u;
  }
};
struct dotu {
  static constexpr double flops = 2;
  template <class T>
  static void apply(T& x, T& y, T& sum) {
    sum += times(x, y);
  }
};
struct dotc {
  static constexpr double flops = 2;
  template <class T>
  static void apply(T& x, T& y, T& sum) {
    sum += conj_times(x, y);
  }
};

// The loop that a user would write.
template <class T, class Operation>
void run_loop(vector_run<T, Operation>& run) {
  packed<T>& p = *run.p;
  T* const x = p.x.data();
  T* const y = p.y.data();
  const int* const indx = p.indx.data();
  const int nnz = p.nnz;
  T sum{};
  for (int i = 0; i < nnz; ++i) Operation::apply(x[i], y[indx[i]], sum);
  p.result = sum;
}

// A stored reference would be written back by the moves; they are spelled out.
template <class T>
void run_loop(vector_run<T, gthr>& run) {
  packed<T>& p = *run.p;
  T* const x = p.x.data();
  const T* const y = p.y.data();
  const int* const indx = p.indx.data();
  const int nnz = p.nnz;
  for (int i = 0; i < nnz; ++i) x[i] = y[indx[i]];
}

// The same with the documented rounding, one chain of fused steps: it cannot be faster than their
// latency, a cycle more than that of a plain addition on many cores.
template <class T>
void run_fused_loop(packed<T>& p) {
  const T* const x = p.x.data();
  const T* const y = p.y.data();
  const int* const indx = p.indx.data();
  const int nnz = p.nnz;
  T sum{};
  for (int i = 0; i < nnz; ++i) sum = std::fma(x[i], y[indx[i]], sum);
  p.result = sum;
}

template <class T>
auto eigen_indices(const packed<T>& p) {
  return Eigen::Map<const Eigen::ArrayXi>(p.indx.data(), p.nnz);
}
template <class T>
using eigen_vector = Eigen::Matrix<T, Eigen::Dynamic, 1>;
template <class T>
auto eigen_dense(array<T>& v) {
  return Eigen::Map<eigen_vector<T>>(v.data(), static_cast<Eigen::Index>(v.size()));
}
// The peer maps compressed matrices only: the packed vector is one column of such a matrix.
template <class T>
auto eigen_packed(const packed<T>& p) {
  return Eigen::Map<const Eigen::SparseMatrix<T>>(static_cast<int>(p.y.size()), 1, p.nnz, p.column,
                                                  p.indx.data(), p.x.data());
}

template <class T, class Operation, class Ours, class Peer>
void compare_operation(const std::string& name,
                       const lazy<packed<T>>& operands,
                       int nnz,
                       int threads,
                       Ours ours,
                       Peer peer) {
  using data = vector_run<T, Operation>;
  comparison<data> compared("vector/" + name + "/" + std::to_string(nnz) + "/" + type_letter<T>,
                            threads, lazy<data>([=] { return std::make_unique<data>(operands); }));
  if (nnz > 1000000) compared.repeat(5);
  compared.add("nevrad", [=](data& d) { ours(*d.p); });
  if constexpr (!std::is_same_v<Peer, std::nullptr_t>) {
    compared.add("eigen", [=](data& d) { peer(*d.p); });
  }
  if (threads == 1) compared.add("loop", [](data& d) { run_loop(d); });
  if constexpr (std::is_same_v<Operation, dotu> && !is_complex<T>) {
    if (threads == 1) compared.add("fused loop", [](data& d) { run_fused_loop(*d.p); });
  }
  compared.add_read_limit();
}

template <class T>
void compare_axpyi(const lazy<packed<T>>& operands, int nnz, int threads) {
  compare_operation<T, axpyi>(
      "axpyi", operands, nnz, threads,
      [](packed<T>& p) { calls<T>::axpyi(p.nnz, p.alpha, p.x.data(), p.indx.data(), p.y.data()); },
      [](packed<T>& p) { eigen_dense(p.y) += p.alpha * eigen_packed(p).col(0); });
}

template <class T>
void compare_dotu(const lazy<packed<T>>& operands, int nnz, int threads) {
  const auto ours = [](packed<T>& p) {
    calls<T>::dotu(p.nnz, p.x.data(), p.indx.data(), p.y.data(), &p.result);
  };
  if constexpr (is_complex<T>) {
    compare_operation<T, dotu>("dotui", operands, nnz, threads, ours, nullptr);
    compare_operation<T, dotc>(
        "dotci", operands, nnz, threads,
        [](packed<T>& p) {
          calls<T>::dotc(p.nnz, p.x.data(), p.indx.data(), p.y.data(), &p.result);
        },
        [](packed<T>& p) { p.result = eigen_packed(p).col(0).dot(eigen_dense(p.y)); });
  } else {
    compare_operation<T, dotu>("doti", operands, nnz, threads, ours, [](packed<T>& p) {
      p.result = eigen_packed(p).col(0).dot(eigen_dense(p.y));
    });
  }
}

template <class T>
void compare_moves(const lazy<packed<T>>& operands, int nnz) {
  compare_operation<T, gthr>(
      "gthr", operands, nnz, 1,
      [](packed<T>& p) { calls<T>::gthr(p.nnz, p.y.data(), p.x.data(), p.indx.data()); },
      [](packed<T>& p) { eigen_dense(p.x) = eigen_dense(p.y)(eigen_indices(p)); });
  compare_operation<T, gthrz>(
      "gthrz", operands, nnz, 1,
      [](packed<T>& p) { calls<T>::gthrz(p.nnz, p.y.data(), p.x.data(), p.indx.data()); }, nullptr);
  compare_operation<T, sctr>(
      "sctr", operands, nnz, 1,
      [](packed<T>& p) { calls<T>::sctr(p.nnz, p.x.data(), p.indx.data(), p.y.data()); },
      [](packed<T>& p) { eigen_dense(p.y)(eigen_indices(p)) = eigen_dense(p.x); });
}

template <class T>
void compare_roti(const lazy<packed<T>>& operands, int nnz) {
  compare_operation<T, roti>(
      "roti", operands, nnz, 1,
      [](packed<T>& p) {
        calls<T>::roti(p.nnz, p.x.data(), p.indx.data(), p.y.data(), static_cast<T>(0.6),
                       static_cast<T>(0.8));
      },
      nullptr);
}

template <class T>
void compare_sums(int nnz) {
  const auto operands = make_lazy<packed<T>>(nnz);
  compare_axpyi<T>(operands, nnz, 1);
  compare_dotu<T>(operands, nnz, 1);
}

const registration all([] {
  for (const int nnz : {100, 10000, 1000000, 10000000}) {
    const auto operands = make_lazy<packed<double>>(nnz);
    compare_axpyi<double>(operands, nnz, 1);
    compare_dotu<double>(operands, nnz, 1);
    compare_moves<double>(operands, nnz);
    compare_roti<double>(operands, nnz);
    if (nnz < 1000000) continue;
    compare_axpyi<double>(operands, nnz, 2);
    compare_dotu<double>(operands, nnz, 2);
  }
  for (const int nnz : {10000, 1000000}) {
    compare_sums<float>(nnz);
    compare_sums<std::complex<float>>(nnz);
    compare_sums<std::complex<double>>(nnz);
  }
});

}  // namespace
