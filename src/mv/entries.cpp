// Exported matrix-vector products.
#include "frame/exports.h"
#include "mv/policy.h"
#include "mv/tables.h"

namespace nevrad {

namespace {

// Entries per column on average from which a column counts as long.
constexpr double long_columns_from = 150.0;

// The descriptor-driven products. Only what the storage decides differs: the table, the dimension
// that pntrb and pntre run over, and the half of six slots.
template <compression Storage, class T>
status run_described(int transa,
                     int m,
                     int k,
                     T alpha,
                     const char* matdescra,
                     const T* val,
                     const int* indx,
                     const int* pntrb,
                     const int* pntre,
                     const T* x,
                     T beta,
                     T* y) {
  constexpr bool by_rows = Storage == compression::rows;
  if (check_three_pointers(matdescra, x, y) != success) return null_pointer;
  if (check_four_pointers(pntrb, pntre, indx, val) != success) return null_pointer;
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim2(m, k) != success) return invalid_value;
  std::int32_t base = 0;
  matrix_structure structure{};
  const mv_kernel<T>* kernels = nullptr;
  const auto find = by_rows ? find_csrmv_row<T> : find_cscmv_row<T>;
  if (find(matdescra, &base, &structure, &kernels) != success) return invalid_value;
  if (check_square(structure, m, k) != success) return invalid_value;

  const std::int32_t nnz = pntre[(by_rows ? m : k) - 1] - pntrb[0];
  const double density = matrix_density(nnz, m, k);
  const status policy = apply_mv_thread_policy(structure, nnz, density);
  if (policy != success) return policy;

  compressed_view<T> view;
  int slot = transa;
  if constexpr (by_rows) {
    view_csr_init(view, val, pntrb, pntre, indx, m, k, base);
  } else {
    view_csc_init(view, val, pntrb, pntre, indx, m, k, base);
    if (!(density * static_cast<double>(m) >= long_columns_from)) slot += 3;
  }
  const mv_kernel<T> kernel = kernels[slot];
  if (kernel == nullptr) return not_supported;
  return kernel(view, x, y, alpha, beta);
}

// A square matrix in three-array form on a row of csrmv_table, with alpha 1 and beta 0.
template <class T>
status run_fixed_row(const csrmv_row<T>& row,
                     int slot,
                     int m,
                     const T* a,
                     const int* ia,
                     const int* ja,
                     const T* x,
                     T* y) {
  const mv_kernel<T> kernel = row.kernels.at[slot];
  if (kernel == nullptr) return not_supported;
  compressed_view<T> view;
  view_csr_init(view, a, ia, ia + 1, ja, m, m, row.one_based);
  return kernel(view, x, y, one<T>(), zero<T>());
}

template <class T, int Row>
status csrgemv(int transa, int m, const T* a, const int* ia, const int* ja, const T* x, T* y) {
  if (check_three_pointers(a, ja, ia) != success) return null_pointer;
  if (check_two_pointers(x, y) != success) return null_pointer;
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim1(m) != success) return invalid_value;
  return run_fixed_row(csrmv_table<T>[Row], transa, m, a, ia, ja, x, y);
}

// Row is that of the lower triangle. Complex matrices are taken as symmetric, never as Hermitian.
template <class T, int Row>
status csrsymv(int uplo, int m, const T* a, const int* ia, const int* ja, const T* x, T* y) {
  if (check_three_pointers(a, ja, ia) != success) return null_pointer;
  if (check_two_pointers(x, y) != success) return null_pointer;
  if (check_flag(static_cast<unsigned>(uplo)) != success) return invalid_value;
  if (check_dim1(m) != success) return invalid_value;
  return run_fixed_row(csrmv_table<T>[Row + rows_a_triangle * uplo], 0, m, a, ia, ja, x, y);
}

}  // namespace

#define NEVRAD_DESCRIBED_ENTRY(name, storage, T)                                                \
  NEVRAD_ENTRY(name, (run_described<compression::storage, T>), (value, int, transa),            \
               (value, int, m), (value, int, k), (value, T, alpha),                             \
               (array, const char, matdescra), (array, const T, val), (array, const int, indx), \
               (array, const int, pntrb), (array, const int, pntre), (array, const T, x),       \
               (value, T, beta), (array, T, y))
#define NEVRAD_FIXED_ENTRY(name, body, selector, T)                                      \
  NEVRAD_ENTRY(name, body, (value, int, selector), (value, int, m), (array, const T, a), \
               (array, const int, ia), (array, const int, ja), (array, const T, x), (array, T, y))
#define NEVRAD_MV_ENTRIES(letter, T)                                                               \
  NEVRAD_DESCRIBED_ENTRY(orv_sparse_##letter##csrmv, rows, T)                                      \
  NEVRAD_DESCRIBED_ENTRY(orv_sparse_##letter##cscmv, columns, T)                                   \
  NEVRAD_FIXED_ENTRY(orv_sparse_##letter##csrgemv, (csrgemv<T, general_row_one_based>), transa, T) \
  NEVRAD_FIXED_ENTRY(orv_csparse_##letter##csrgemv, (csrgemv<T, general_row_zero_based>), transa,  \
                     T)                                                                            \
  NEVRAD_FIXED_ENTRY(orv_sparse_##letter##csrsymv, (csrsymv<T, symmetric_row_one_based>), uplo, T) \
  NEVRAD_FIXED_ENTRY(orv_csparse_##letter##csrsymv, (csrsymv<T, symmetric_row_zero_based>), uplo, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_MV_ENTRIES)
#undef NEVRAD_MV_ENTRIES
#undef NEVRAD_FIXED_ENTRY
#undef NEVRAD_DESCRIBED_ENTRY

}  // namespace nevrad
