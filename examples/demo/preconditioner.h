// Preconditioners: z = M^-1 r with an M that is near A and easy to solve with.
#pragma once

#include "krylov.h"

#include "support/problem.h"

#include "nevrad.h"

#include <Eigen/IterativeLinearSolvers>

#include <stdexcept>
#include <string>

namespace demo {

// A diagonal, given by its inverse.
template <class T>
class diagonal_scaling {
 public:
  diagonal_scaling(vector<T> inverse, int threads)
      : inverse_(std::move(inverse)), threads_(threads) {}

  void operator()(const T* r, T* z) const {
    for_elements(static_cast<int>(inverse_.size()), threads_,
                 [&](std::size_t i) { z[i] = inverse_[i] * r[i]; });
  }

 private:
  vector<T> inverse_;
  int threads_;
};

// Incomplete Cholesky factor L of S A S with as many entries as A's lower triangle, S a diagonal
// scaling (Lin and More 1999; the factor is Eigen's). An application is two triangular solves by
// the library, forward with L and backward with its conjugate transpose, on the same arrays.
template <class T>
class incomplete_cholesky {
 public:
  // Takes the lower triangle of a. factored() is false where A lets no such factor be found.
  explicit incomplete_cholesky(const matrix<T>& a) {
    const Eigen::SparseMatrix<T> by_columns = a;
    const Eigen::IncompleteCholesky<T, Eigen::Lower, Eigen::NaturalOrdering<int>> found(by_columns);
    factored_ = found.info() == Eigen::Success;
    if (!factored_) return;
    factor_ = found.matrixL();  // by rows, columns ascending
    factor_.makeCompressed();
    scale_.assign(found.scalingS().data(), found.scalingS().data() + a.rows());
  }

  bool factored() const { return factored_; }
  long entries() const { return static_cast<long>(factor_.nonZeros()); }

  void operator()(const T* r, T* z) const {
    for (std::size_t i = 0; i < scale_.size(); ++i) z[i] = scale_[i] * r[i];
    solve(0, z);
    solve(2, z);
    for (std::size_t i = 0; i < scale_.size(); ++i) z[i] *= scale_[i];
  }

 private:
  // op(L) z = z, in place. op: 0 none, 2 conjugate transpose.
  void solve(int op, T* z) const {
    const int n = static_cast<int>(factor_.rows());
    const int* const begin = factor_.outerIndexPtr();
    const int* const indices = factor_.innerIndexPtr();
    orv_sparse_status_t status = ORV_SPARSE_STATUS_SUCCESS;
    if constexpr (is_complex<T>) {
      status = orv_sparse_zcsrsv(op, n, 1.0, "TLNC", factor_.valuePtr(), indices, begin, begin + 1,
                                 z, z);
    } else {
      status = orv_sparse_dcsrsv(op, n, 1.0, "TLNC", factor_.valuePtr(), indices, begin, begin + 1,
                                 z, z);
    }
    if (status != ORV_SPARSE_STATUS_SUCCESS) {
      throw std::runtime_error("the triangular solve failed with status " + std::to_string(status));
    }
  }

  bool factored_ = false;
  matrix<T> factor_;
  vector<double> scale_;
};

}  // namespace demo
