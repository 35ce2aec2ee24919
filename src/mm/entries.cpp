// Exported products of a sparse with a dense matrix.
#include "frame/exports.h"
#include "mm/policy.h"
#include "mm/tables.h"

namespace nevrad {

namespace {

// What the two storages differ in: the table, the copy, and that columns choose the budget.
template <compression Kind, class T>
status multiply(int transa,
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
  constexpr bool by_rows = Kind == compression::rows;
  if (check_four_pointers(val, indx, pntrb, pntre) != success) return null_pointer;
  if (check_three_pointers(matdescra, b, c) != success) return null_pointer;
  const auto operation = static_cast<unsigned>(transa);
  if (check_op(operation) != success) return invalid_value;
  const mm_row<T>* const row =
      by_rows ? find_row(csrmm_table<T>, matdescra) : find_row(cscmm_table<T>, matdescra);
  if (row == nullptr) return invalid_value;
  if (check_dense_dims(m, n, k, ldb, ldc, operation, row->one_based) != success) {
    return invalid_value;
  }
  if (check_square(row->structure, m, k) != success) return invalid_value;
  if constexpr (!by_rows) {
    const status policy = apply_mm_thread_policy(pntre[k - 1] - pntrb[0], m, k);
    if (policy != success) return policy;
  }
  const mm_kernel<T> kernel = row->kernels.at[operation];
  if (kernel == nullptr) return not_supported;

  matrix_operand<T> a;
  const auto base = static_cast<unsigned>(row->one_based);
  const status taken = a.take(Kind, base, m, k, pntrb, pntre, indx, val);
  if (taken != success) return taken;
  return kernel(a.record(), {b, n, ldb, c, ldc, alpha, beta});
}

}  // namespace

#define NEVRAD_MM_ENTRY(letter, T, storage, kind)                                              \
  NEVRAD_ENTRY(orv_sparse_##letter##storage##mm, (multiply<compression::kind, T>),             \
               (value, int, transa), (value, int, m), (value, int, n), (value, int, k),        \
               (value, T, alpha), (array, const char, matdescra), (array, const T, val),       \
               (array, const int, indx), (array, const int, pntrb), (array, const int, pntre), \
               (array, const T, b), (value, int, ldb), (value, T, beta), (array, T, c),        \
               (value, int, ldc))
#define NEVRAD_MM_ENTRIES(letter, T)    \
  NEVRAD_MM_ENTRY(letter, T, csr, rows) \
  NEVRAD_MM_ENTRY(letter, T, csc, columns)
NEVRAD_FOR_EACH_TYPE(NEVRAD_MM_ENTRIES)
#undef NEVRAD_MM_ENTRIES
#undef NEVRAD_MM_ENTRY

}  // namespace nevrad
