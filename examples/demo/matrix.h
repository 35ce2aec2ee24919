// The matrices of the demo: compressed rows, zero-based, as the peer library's container holds
// them.
#pragma once

#include <Eigen/SparseCore>

#include <complex>
#include <string>
#include <type_traits>
#include <variant>

namespace demo {

using complex = std::complex<double>;

template <class T>
using matrix = Eigen::SparseMatrix<T, Eigen::RowMajor, int>;
using any_matrix = std::variant<matrix<double>, matrix<complex>>;

template <class T>
inline constexpr bool is_complex = std::is_same_v<T, complex>;

struct problem {
  std::string title;
  any_matrix a;
};

// Reads a Matrix Market file (coordinate format; real, integer or complex; symmetric storage is
// expanded). Throws std::runtime_error with a message for the user when the file cannot be read,
// is broken, or holds no system of equations.
problem read_market_file(const std::string& path);

// -div(k grad u) on a cube of side^3 points by finite volumes, u = 0 outside, with a coefficient k
// that varies by a factor of about 50: symmetric, positive definite, 7 entries a row.
problem make_diffusion(int side);

}  // namespace demo
