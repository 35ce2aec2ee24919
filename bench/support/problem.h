// Systems of equations to solve and matrices to measure on: compressed rows, zero-based, as the
// peer library's container holds them, from Matrix Market files and from a generator.
#pragma once

#include "support/matrices.h"

#include <Eigen/SparseCore>

#include <complex>
#include <functional>
#include <string>
#include <variant>

namespace bench {

using complex = std::complex<double>;

template <class T>
using matrix = Eigen::SparseMatrix<T, Eigen::RowMajor, int>;
using any_matrix = std::variant<matrix<double>, matrix<complex>>;

struct problem {
  std::string title;
  any_matrix a;
};

// What a Matrix Market file's banner and size line say, in lower case.
struct market_header {
  std::string field;
  std::string symmetry;
  int rows = 0;
  int cols = 0;
  long entries = 0;
};

// An entry of a file, in the file's order: its place, from 0, and whether it is stored as zero.
using market_visitor = std::function<void(int row, int col, bool zero)>;

// Goes through a Matrix Market file in coordinate format (real, integer, complex or pattern) and
// hands each entry that it stores to `visit`. Throws std::runtime_error with a message for the user
// when the file cannot be read or is broken.
market_header scan_market_file(const std::string& path, const market_visitor& visit);

// Reads a Matrix Market file (coordinate format; real, integer or complex; symmetric storage is
// expanded, entries of the same place are added). Throws std::runtime_error with a message for the
// user when the file cannot be read, is broken, or holds no values.
problem read_market_file(const std::string& path);

// The same for a system of equations: refuses a matrix that is not square, or that has a row or a
// column without a nonzero entry.
problem read_market_system(const std::string& path);

// -div(k grad u) on a cube of side^3 points by finite volumes, u = 0 outside, with a coefficient k
// that varies by a factor of about 50: symmetric, positive definite, 7 entries a row.
problem make_diffusion(int side);

}  // namespace bench
