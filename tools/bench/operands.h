// The operands that a case works on, as the library and its peers see them.
#pragma once

#include "support/problem.h"
#include "support/results.h"
#include "task.h"

#include "nevrad.h"

#include <memory>
#include <string>
#include <utility>

namespace tools {

using bench::array;
using bench::is_complex;
using bench::matrix;

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

inline void expect_success(orv_sparse_status_t status) {
  if (status != ORV_SPARSE_STATUS_SUCCESS) {
    throw std::runtime_error("the library answered with status " + std::to_string(status));
  }
}

// The letters of a descriptor.
struct description {
  explicit description(const std::string& text)
      : text(text),
        structure(text[0]),
        upper(text[1] == 'U'),
        unit(text[2] == 'U'),
        one_based(text[3] == 'F') {}

  std::string text;
  char structure;
  bool upper;
  bool unit;
  bool one_based;  // dense operands are column-major then, and row-major otherwise
};

// Compressed lines in arrays of their own, from zero or from one.
template <class T>
struct stored {
  array<int> begin;
  array<int> indices;
  array<T> values;

  stored() = default;
  stored(const matrix<T>& lines, int base)
      : begin(lines.outerIndexPtr(), lines.outerIndexPtr() + lines.outerSize() + 1),
        indices(lines.innerIndexPtr(), lines.innerIndexPtr() + lines.nonZeros()),
        values(lines.valuePtr(), lines.valuePtr() + lines.nonZeros()) {
    for (int& b : begin) b += base;
    for (int& i : indices) i += base;
  }

  double bytes() const {
    return static_cast<double>(values.size() * (sizeof(T) + sizeof(int)) +
                               begin.size() * sizeof(int));
  }
};

// The part of a matrix that the descriptor says is stored, unit diagonals included: the solves want
// them there.
template <class T>
matrix<T> stored_part(const matrix<T>& a, const description& d) {
  matrix<T> part = a;
  if (d.structure == 'D') {
    part = matrix<T>(a.template triangularView<Eigen::Lower>())
               .template triangularView<Eigen::Upper>();
  } else if (d.structure != 'G' && d.upper) {
    part = a.template triangularView<Eigen::Upper>();
  } else if (d.structure != 'G') {
    part = a.template triangularView<Eigen::Lower>();
  }
  part.makeCompressed();
  return part;
}

// The general matrix that a stored part stands for, operation included.
template <class T>
matrix<T> expand(const matrix<T>& part, const description& d, int transa) {
  matrix<T> full = part;
  if (d.structure != 'G' && d.unit) {
    matrix<T> ones(part.rows(), part.cols());
    ones.setIdentity();
    matrix<T> diagonal = matrix<T>(part.template triangularView<Eigen::Lower>())
                             .template triangularView<Eigen::Upper>();
    full = full - diagonal + ones;
  }
  if (d.structure == 'S' || d.structure == 'H') {
    matrix<T> strict = d.upper ? matrix<T>(full.template triangularView<Eigen::StrictlyUpper>())
                               : matrix<T>(full.template triangularView<Eigen::StrictlyLower>());
    matrix<T> other = strict.transpose();
    if (d.structure == 'H') other = strict.adjoint();
    full = full + other;
  }
  if (transa == 1) full = matrix<T>(full.transpose());
  if (transa == 2) full = matrix<T>(full.adjoint());
  full.makeCompressed();
  return full;
}

// Dense operands: n columns or rows with a tight leading dimension.
template <class T, int Layout>
using dense = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Layout>;
template <class T, int Layout>
using dense_map = Eigen::Map<dense<T, Layout>>;

// Calls body with the layout as a constant. Eigen wants a single row to be row-major.
template <class Body>
void with_layout(bool column_major, const Body& body) {
  if (column_major) {
    body(std::integral_constant<int, Eigen::ColMajor>{});
  } else {
    body(std::integral_constant<int, Eigen::RowMajor>{});
  }
}

// max |a_i - b_i| / max |b_i| of the entries that either sparse matrix has.
template <class T>
double sparse_difference(const matrix<T>& a, const matrix<T>& b) {
  const matrix<T> difference = a - b;
  const auto largest = [](const matrix<T>& of) {
    double found = 0;
    for (Eigen::Index p = 0; p < of.nonZeros(); ++p) {
      const auto size = static_cast<double>(std::abs(of.valuePtr()[p]));
      if (!(size <= found)) found = size;
    }
    return found;
  };
  const double size = largest(b);
  return size == 0 ? largest(difference) : largest(difference) / size;
}

// A real number as an element.
template <class T>
T real_element(double value) {
  return T(static_cast<typename Eigen::NumTraits<T>::Real>(value));
}

// The customary counts: a product and a sum, of numbers that are real or complex.
template <class T>
double multiply_add_flops() {
  return is_complex<T> ? 8.0 : 2.0;
}

}  // namespace tools
