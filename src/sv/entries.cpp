// Exported triangular solves with one right-hand side.
#include "arith/products.h"
#include "frame/exports.h"
#include "sv/tables.h"

namespace nevrad {

namespace {

// An empty slot is an invalid value in this family, where others say that it is not supported.
template <class T>
status run_slot(const sv_kernel<T>* kernels,
                int transa,
                const compressed_view<T>& view,
                const T* x,
                T* y,
                T alpha) {
  const sv_kernel<T> kernel = kernels[transa];
  if (kernel == nullptr) return invalid_value;
  return kernel(view, x, y, alpha);
}

template <class T, compression Kind>
status solve(int transa,
             int m,
             T alpha,
             const char* matdescra,
             const T* val,
             const int* indx,
             const int* pntrb,
             const int* pntre,
             const T* x,
             T* y) {
  if (check_three_pointers(matdescra, x, y) != success) return null_pointer;
  if (check_four_pointers(pntrb, pntre, indx, val) != success) return null_pointer;
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim1(m) != success) return invalid_value;
  std::int32_t base = 0;
  const sv_kernel<T>* kernels = nullptr;
  const auto& table = Kind == compression::rows ? csrsv_table<T> : cscsv_table<T>;
  if (find_solve_row(table, matdescra, &base, &kernels) != success) return invalid_value;
  compressed_view<T> view;
  constexpr auto init = Kind == compression::rows ? view_csr_init<T> : view_csc_init<T>;
  init(view, val, pntrb, pntre, indx, m, m, base);
  return run_slot(kernels, transa, view, x, y, alpha);
}

template <class T, unsigned ZeroBased>
status csrtrsv(int uplo,
               int transa,
               int diag,
               int m,
               const T* a,
               const int* ia,
               const int* ja,
               const T* x,
               T* y) {
  if (check_three_pointers(a, ja, ia) != success) return null_pointer;
  if (check_two_pointers(x, y) != success) return null_pointer;
  const auto upper = static_cast<unsigned>(uplo);
  const auto unit = static_cast<unsigned>(diag);
  if (check_flag(upper) != success) return invalid_value;
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_flag(unit) != success) return invalid_value;
  if (check_dim1(m) != success) return invalid_value;
  const sv_row<T>& row = csrsv_table<T>[triangle_row(upper, unit, ZeroBased)];
  compressed_view<T> view;
  view_csr_init(view, a, ia, ia + 1, ja, m, m, row.one_based);
  return run_slot(row.kernels.at, transa, view, x, y, one<T>());
}

}  // namespace

#define NEVRAD_SV_ENTRIES(letter, T)                                                               \
  NEVRAD_ENTRY(orv_sparse_##letter##csrsv, (solve<T, compression::rows>), (value, int, transa),    \
               (value, int, m), (value, T, alpha), (array, const char, matdescra),                 \
               (array, const T, val), (array, const int, indx), (array, const int, pntrb),         \
               (array, const int, pntre), (array, const T, x), (array, T, y))                      \
  NEVRAD_ENTRY(orv_sparse_##letter##cscsv, (solve<T, compression::columns>), (value, int, transa), \
               (value, int, m), (value, T, alpha), (array, const char, matdescra),                 \
               (array, const T, val), (array, const int, indx), (array, const int, pntrb),         \
               (array, const int, pntre), (array, const T, x), (array, T, y))                      \
  NEVRAD_ENTRY(orv_sparse_##letter##csrtrsv, (csrtrsv<T, 0>), (value, int, uplo),                  \
               (value, int, transa), (value, int, diag), (value, int, m), (array, const T, a),     \
               (array, const int, ia), (array, const int, ja), (array, const T, x), (array, T, y)) \
  NEVRAD_ENTRY(orv_csparse_##letter##csrtrsv, (csrtrsv<T, 1>), (value, int, uplo),                 \
               (value, int, transa), (value, int, diag), (value, int, m), (array, const T, a),     \
               (array, const int, ia), (array, const int, ja), (array, const T, x), (array, T, y))
NEVRAD_FOR_EACH_TYPE(NEVRAD_SV_ENTRIES)
#undef NEVRAD_SV_ENTRIES

}  // namespace nevrad
