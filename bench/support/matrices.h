// Matrices to measure on: compressed rows, zero-based, in arrays that every contestant shares.
#pragma once

#include <Eigen/SparseCore>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <new>
#include <random>
#include <vector>

namespace bench {

// Memory that begins on a cache line, or, from a few megabytes on, on a large page and asks for
// such pages, as kernels that give them to all (Debian's own does) would: where small pages happen
// to lie moves the bandwidth of an array by a fifth. NEVRAD_BENCH_PAGES=small in the environment
// leaves the kernel's own choice.
void* allocate_array(std::size_t bytes);
void release_array(void* p);

// No run is lucky or unlucky with its addresses.
template <class T>
struct placed_allocator {
  using value_type = T;

  placed_allocator() = default;
  template <class U>
  placed_allocator(const placed_allocator<U>& /*other*/) {}
  T* allocate(std::size_t n) { return static_cast<T*>(allocate_array(n * sizeof(T))); }
  void deallocate(T* p, std::size_t /*n*/) { release_array(p); }
  friend bool operator==(placed_allocator, placed_allocator) { return true; }
};

template <class T>
using array = std::vector<T, placed_allocator<T>>;

template <class T>
inline constexpr bool is_complex = false;
template <class R>
inline constexpr bool is_complex<std::complex<R>> = true;

// Numbers between 0.5 and 1.5: sums do not cancel, so results compare sharply.
template <class T>
T draw(std::mt19937_64& random) {
  std::uniform_real_distribution<double> uniform(0.5, 1.5);
  if constexpr (is_complex<T>) {
    using real = typename T::value_type;
    const auto re = static_cast<real>(uniform(random));
    return {re, static_cast<real>(uniform(random))};
  } else {
    return static_cast<T>(uniform(random));
  }
}

template <class T>
array<T> draw_many(std::size_t n, unsigned seed = 1) {
  std::mt19937_64 random(seed);
  array<T> v(n);
  for (T& element : v) element = draw<T>(random);
  return v;
}

// Where the elements of a matrix stand. Columns ascend in every row.
struct pattern {
  int rows = 0;
  int cols = 0;
  array<int> begin;  // rows + 1
  array<int> indices;

  std::size_t entries() const { return indices.size(); }
};

template <class T>
struct csr : pattern {
  array<T> values;

  csr() = default;
  explicit csr(pattern p) : pattern(std::move(p)), values(draw_many<T>(indices.size())) {}

  // The same arrays, as the peer sees them.
  auto as_eigen() const {
    return Eigen::Map<const Eigen::SparseMatrix<T, Eigen::RowMajor, int>>(
        rows, cols, static_cast<int>(entries()), begin.data(), indices.data(), values.data());
  }
};

// Couplings of a regular grid of side * side * side points with its neighbours: 6 of them and the
// point itself, or all 26 and itself. Fewer at the faces.
pattern stencil7(int side);
pattern stencil27(int side);

// Rows of the same length, columns uniform: every access to x outside the cache is a miss.
pattern uniform_random(int n, int row_length, unsigned seed = 7);

// Row lengths and columns by a power law, as links of a network have them: a few rows and columns
// hold a large share, most rows have a few entries. The mean comes out near mean_row.
pattern power_law(int n, int mean_row);

// One full row, one full column and the diagonal.
pattern arrow(int n);

// All elements within half_width of the diagonal.
pattern band(int n, int half_width);

// Working sets, in bytes of everything that one product touches. The nominal sizes here are 1 MiB
// of second-level cache a core and 32 MiB of shared last-level cache.
struct working_set {
  const char* name;
  double bytes;
};
inline constexpr working_set in_l2{"L2", 600e3};
inline constexpr working_set in_l3{"L3", 8e6};
inline constexpr working_set outside{"outside", 128e6};

// Bytes that y = A x moves at least: every value, index and row pointer once, x and y once.
template <class T>
double product_bytes(const pattern& a) {
  constexpr double entry = sizeof(T) + sizeof(int);
  return entry * static_cast<double>(a.entries()) + 4.0 * (a.rows + 1) +
         static_cast<double>(sizeof(T)) * (static_cast<double>(a.rows) + a.cols);
}

// Operations of y = A x: a product and a sum an entry, each four times as much work (rounded up
// from the usual 6 and 2 to the customary 8 an entry) in complex numbers.
template <class T>
double product_flops(const pattern& a) {
  return (is_complex<T> ? 8.0 : 2.0) * static_cast<double>(a.entries());
}

// Rows of a matrix with so many entries a row that y = A x touches the working set.
template <class T>
int rows_for(working_set set, double mean_row) {
  const double row = mean_row * (sizeof(T) + sizeof(int)) + 4.0 + 2.0 * sizeof(T);
  return static_cast<int>(set.bytes / row);
}

}  // namespace bench
