#include "mv/columns.h"

#include "frame/regions.h"
#include "matrix/transpose.h"
#include "mv/general.h"

namespace nevrad {

namespace {

template <class T, class RowKernel>
status run_columns_as_rows(const compressed_view<T>& a,
                           const T* x,
                           T* y,
                           T alpha,
                           T beta,
                           RowKernel kernel) {
  compressed_view<T> by_rows;
  csc_view_as_csr(&a, &by_rows);
  const int budget = current_thread_budget();
  part_bounds part;
  partition_by_nnz(by_rows.end, by_rows.rows, budget, part.at);
  for_each_part_on_team(budget, [&](int t) {
    kernel(alpha, by_rows, x, beta, y, part.at[t], part.at[t + 1]);
  });
  return success;
}

}  // namespace

template <class T>
status csc_mv_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return run_columns_as_rows(a, x, y, alpha, beta, csr_mv_long_rows<T>);
}

template <class T>
status csc_mv_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return run_columns_as_rows(a, x, y, alpha, beta, csr_mv_long_rows_conj<T>);
}

#define NEVRAD_INSTANTIATE(letter, T) \
  template status csc_mv_transposed(const compressed_view<T>&, const T*, T*, T, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T) \
  template status csc_mv_conj_transposed(const compressed_view<T>&, const T*, T*, T, T);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
