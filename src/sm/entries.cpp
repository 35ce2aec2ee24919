// Exported solves with many right-hand sides.
#include "frame/exports.h"
#include "sm/tables.h"

namespace nevrad {

namespace {

template <compression Kind, class T>
status solve_many(int transa,
                  int m,
                  int n,
                  T alpha,
                  const char* matdescra,
                  const T* val,
                  const int* indx,
                  const int* pntrb,
                  const int* pntre,
                  const T* x,
                  int ldx,
                  T* y,
                  int ldy) {
  if (check_four_pointers(val, indx, pntrb, pntre) != success) return null_pointer;
  if (check_three_pointers(matdescra, x, y) != success) return null_pointer;
  const sm_row<T>* const row = find_row(sm_table<Kind, T>, matdescra);
  if (row == nullptr) return invalid_value;
  const auto operation = static_cast<unsigned>(transa);
  if (check_op(operation) != success) return invalid_value;
  if (check_dense_dims(m, n, m, ldy, ldx, operation, row->one_based) != success) {
    return invalid_value;
  }
  const sm_kernel<T> kernel = row->kernels.at[operation];
  if (kernel == nullptr) return not_supported;

  matrix_operand<T> a;
  const auto base = static_cast<unsigned>(row->one_based);
  const status taken = a.take(Kind, base, m, m, pntrb, pntre, indx, val);
  if (taken != success) return taken;
  return kernel(a.record(), x, n, ldx, y, ldy, alpha);
}

}  // namespace

#define NEVRAD_SM_ENTRY(name, kind, T)                                                           \
  NEVRAD_ENTRY(name, (solve_many<compression::kind, T>), (value, int, transa), (value, int, m),  \
               (value, int, n), (value, T, alpha), (array, const char, matdescra),               \
               (array, const T, val), (array, const int, indx), (array, const int, pntrb),       \
               (array, const int, pntre), (array, const T, x), (value, int, ldx), (array, T, y), \
               (value, int, ldy))
#define NEVRAD_SM_ENTRIES(letter, T)                   \
  NEVRAD_SM_ENTRY(orv_sparse_##letter##csrsm, rows, T) \
  NEVRAD_SM_ENTRY(orv_sparse_##letter##cscsm, columns, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_SM_ENTRIES)
#undef NEVRAD_SM_ENTRIES
#undef NEVRAD_SM_ENTRY

}  // namespace nevrad
