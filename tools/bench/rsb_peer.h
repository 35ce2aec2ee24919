// librsb as a peer, where it is installed: a matrix in its own recursive blocks, made once.
#pragma once

#ifdef NEVRAD_HAVE_RSB

#include "operands.h"

#include <omp.h>
#include <rsb.h>

namespace tools {

inline void expect_rsb(rsb_err_t error) {
  if (error != RSB_ERR_NO_ERROR) throw std::runtime_error("librsb failed");
}

template <class T>
inline constexpr rsb_type_t rsb_type = RSB_NUMERICAL_TYPE_DOUBLE;
template <>
inline constexpr rsb_type_t rsb_type<float> = RSB_NUMERICAL_TYPE_FLOAT;
template <>
inline constexpr rsb_type_t rsb_type<std::complex<float>> = RSB_NUMERICAL_TYPE_FLOAT_COMPLEX;
template <>
inline constexpr rsb_type_t rsb_type<std::complex<double>> = RSB_NUMERICAL_TYPE_DOUBLE_COMPLEX;

template <class T>
class rsb_matrix {
 public:
  explicit rsb_matrix(const matrix<T>& a) {
    // Once for the process; its threads follow the count that all contestants are given.
    static const rsb_err_t started = rsb_lib_init(RSB_NULL_INIT_OPTIONS);
    expect_rsb(started);
    rsb_err_t error = RSB_ERR_NO_ERROR;
    made_ = rsb_mtx_alloc_from_csr_const(a.valuePtr(), a.outerIndexPtr(), a.innerIndexPtr(),
                                         static_cast<rsb_nnz_idx_t>(a.nonZeros()), rsb_type<T>,
                                         static_cast<rsb_coo_idx_t>(a.rows()),
                                         static_cast<rsb_coo_idx_t>(a.cols()), 1, 1,
                                         RSB_FLAG_NOFLAGS, &error);
    expect_rsb(error);
  }
  rsb_matrix(const rsb_matrix&) = delete;
  rsb_matrix& operator=(const rsb_matrix&) = delete;
  ~rsb_matrix() { rsb_mtx_free(made_); }

  // y = op(A) x with n columns (column_major) or rows of n elements.
  void multiply(int op, int n, bool column_major, const T* x, int rows_x, T* y, int rows_y) const {
    const rsb_int_t threads = omp_get_max_threads();
    if (threads != threads_) {
      expect_rsb(rsb_lib_set_opt(RSB_IO_WANT_EXECUTING_THREADS, &threads));
      threads_ = threads;
    }
    constexpr rsb_trans_t operations[] = {RSB_TRANSPOSITION_N, RSB_TRANSPOSITION_T,
                                          RSB_TRANSPOSITION_C};
    const T one{1};
    const T zero{0};
    if (n == 1) {
      expect_rsb(rsb_spmv(operations[op], &one, made_, x, 1, &zero, y, 1));
      return;
    }
    const auto order =
        column_major ? RSB_FLAG_WANT_COLUMN_MAJOR_ORDER : RSB_FLAG_WANT_ROW_MAJOR_ORDER;
    expect_rsb(rsb_spmm(operations[op], &one, made_, n, order, x, column_major ? rows_x : n, &zero,
                        y, column_major ? rows_y : n));
  }

 private:
  rsb_mtx_t* made_ = nullptr;
  mutable rsb_int_t threads_ = 0;
};

}  // namespace tools

#endif
