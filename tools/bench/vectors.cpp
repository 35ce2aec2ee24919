// Sparse vector operations, on a sparse vector of as many entries as the matrix has.
#include "entries.h"
#include "operands.h"
#include "task.h"

#include <numeric>
#include <random>

namespace tools {

namespace {

template <class T>
struct vector_data {
  request wanted;
  int nnz;
  array<int> indices;
  array<T> x, y, x_start, y_start, x_expected, y_expected;
  T result{}, expected{};

  // Every other place of a vector twice as long, in an order that is random within 4096 places:
  // neither a plain copy nor all misses.
  vector_data(const request& request, const matrix<T>& a)
      : wanted(request), nnz(static_cast<int>(a.nonZeros())), indices(at(nnz)) {
    if (nnz > std::numeric_limits<int>::max() / 4) throw refused("too many entries for a vector");
    std::mt19937_64 random(3);
    for (int i = 0; i < nnz; ++i) indices[at(i)] = 2 * i;
    constexpr int block = 4096;
    for (int first = 0; first < nnz; first += block) {
      std::shuffle(indices.begin() + first, indices.begin() + std::min(nnz, first + block), random);
    }
    x_start = bench::draw_many<T>(at(nnz), 1);
    y_start = bench::draw_many<T>(at(nnz) * 2, 2);
    reset();
    run_plain();
    x_expected = x;
    y_expected = y;
    expected = result;
    reset();
  }

  void reset() {
    x = x_start;
    y = y_start;
    result = T{};
  }

  static constexpr double cosine = 0.8;
  static constexpr double sine = 0.6;

  // As the header writes it down; sums in double precision.
  void run_plain() {
    const std::string& e = wanted.entry;
    std::complex<double> sum;
    for (int i = 0; i < nnz; ++i) {
      T& v = x[at(i)];
      T& u = y[at(indices[at(i)])];
      const T old = v;
      if (e == "axpyi") u += alpha() * v;
      if (e == "gthr" || e == "gthrz") v = u;
      if (e == "gthrz") u = T{};
      if (e == "sctr") u = v;
      if constexpr (is_complex<T>) {
        if (e == "dotui_sub") sum += std::complex<double>(v) * std::complex<double>(u);
        if (e == "dotci_sub") sum += std::conj(std::complex<double>(v)) * std::complex<double>(u);
      } else {
        if (e == "doti") sum += static_cast<double>(v) * static_cast<double>(u);
        if (e == "roti") {
          v = static_cast<T>(cosine) * v + static_cast<T>(sine) * u;
          u = static_cast<T>(cosine) * u - static_cast<T>(sine) * old;
        }
      }
    }
    if constexpr (is_complex<T>) {
      result = static_cast<T>(sum);
    } else {
      result = static_cast<T>(sum.real());
    }
  }

  // Small, so that thousands of runs on the same y stay in range.
  static T alpha() { return real_element<T>(1e-3); }

  void run_library() {
    using call = entries<T>;
    const std::string& e = wanted.entry;
    const int* const indx = indices.data();
    orv_sparse_status_t status = ORV_SPARSE_STATUS_NOT_SUPPORTED;
    if (e == "axpyi") status = call::axpyi(nnz, alpha(), x.data(), indx, y.data());
    if (e == "gthr") status = call::gthr(nnz, y.data(), x.data(), indx);
    if (e == "gthrz") status = call::gthrz(nnz, y.data(), x.data(), indx);
    if (e == "sctr") status = call::sctr(nnz, x.data(), indx, y.data());
    if constexpr (is_complex<T>) {
      if (e == "dotui_sub") status = call::dotui_sub(nnz, x.data(), indx, y.data(), &result);
      if (e == "dotci_sub") status = call::dotci_sub(nnz, x.data(), indx, y.data(), &result);
    } else {
      if (e == "doti") status = call::doti(nnz, x.data(), indx, y.data(), &result);
      if (e == "roti") {
        status =
            call::roti(nnz, x.data(), indx, y.data(), static_cast<T>(cosine), static_cast<T>(sine));
      }
    }
    if (status == ORV_SPARSE_STATUS_NOT_SUPPORTED) {
      throw refused(e + " does not exist in type " + wanted.type);
    }
    expect_success(status);
  }

  double error() const {
    if (wanted.entry.starts_with("dot")) {
      return static_cast<double>(std::abs(result - expected) / std::abs(expected));
    }
    return std::max(bench::relative_difference(x, x_expected),
                    bench::relative_difference(y, y_expected));
  }

  double flops() const {
    if (wanted.entry == "roti") return 6.0 * nnz;
    const bool moves = wanted.entry.starts_with("gthr") || wanted.entry == "sctr";
    return moves ? 0 : multiply_add_flops<T>() * nnz;
  }
};

}  // namespace

template <class T>
task make_vector(const request& wanted, const matrix<T>& a) {
  const auto p = std::make_shared<vector_data<T>>(wanted, a);
  p->run_library();  // refuses what the type does not have
  task made;
  made.contestants.push_back(
      {"nevrad", [p] { p->run_library(); }, [p] { return p->error(); }, [p] { p->reset(); }});
  // Elements, places, and every line of y once: half of its elements are touched.
  made.bytes = p->nnz * (3.0 * sizeof(T) + sizeof(int));
  made.flops = p->flops();
  // One chain of sums drifts with its length.
  made.tolerance = bench::rounding_tolerance<T> * std::max(1.0, std::sqrt(p->nnz) / 250);
  return made;
}

template task make_vector(const request&, const matrix<float>&);
template task make_vector(const request&, const matrix<double>&);
template task make_vector(const request&, const matrix<std::complex<float>>&);
template task make_vector(const request&, const matrix<std::complex<double>>&);

}  // namespace tools
