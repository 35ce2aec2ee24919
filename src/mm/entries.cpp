// Exported products of a sparse with a dense matrix.
#include "frame/exports.h"
#include "mm/tables.h"

namespace nevrad {

namespace {

template <class T>
status csrmm(int transa,
             int m,
             int n,
             int k,
             T alpha,
             const char* matdescra,
             const T* val,
             const int* indx,
             const int* pntrb,
             const int* pntre,
             const T* b,
             int ldb,
             T beta,
             T* c,
             int ldc) {
  if (check_four_pointers(val, indx, pntrb, pntre) != success) return null_pointer;
  if (check_three_pointers(matdescra, b, c) != success) return null_pointer;
  const auto operation = static_cast<unsigned>(transa);
  if (check_op(operation) != success) return invalid_value;
  const mm_row<T>* const row = find_row(csrmm_table<T>, matdescra);
  if (row == nullptr) return invalid_value;
  if (check_dense_dims(m, n, k, ldb, ldc, operation, row->one_based) != success) {
    return invalid_value;
  }
  if (check_square(row->structure, m, k) != success) return invalid_value;
  const mm_kernel<T> kernel = row->kernels.at[operation];
  if (kernel == nullptr) return not_supported;

  matrix_handle<T> handle{};
  const status copied = owned_csr_from_arrays(&handle, static_cast<unsigned>(row->one_based), m, k,
                                              pntrb, pntre, indx, val);
  if (copied != success) return copied;
  const scoped_matrix<T> a(handle.matrix);
  return kernel(*a, b, n, ldb, c, ldc, alpha, beta);
}

}  // namespace

#define NEVRAD_MM_ENTRIES(letter, T)                                                            \
  NEVRAD_ENTRY(orv_sparse_##letter##csrmm, csrmm<T>, (value, int, transa), (value, int, m),     \
               (value, int, n), (value, int, k), (value, T, alpha),                             \
               (array, const char, matdescra), (array, const T, val), (array, const int, indx), \
               (array, const int, pntrb), (array, const int, pntre), (array, const T, b),       \
               (value, int, ldb), (value, T, beta), (array, T, c), (value, int, ldc))
NEVRAD_FOR_EACH_TYPE(NEVRAD_MM_ENTRIES)
#undef NEVRAD_MM_ENTRIES

}  // namespace nevrad
