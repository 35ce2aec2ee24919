#include "mm/general.h"

#include "matrix/sorted_rows.h"
#include "mm/drivers.h"

namespace nevrad {

namespace {

// Runs the driver on A itself when its rows are known to ascend, else sorted. Column
// blocks rely on the order, and so does the order of summation.
template <class T>
status run_sorted(mm_kernel<T> driver, const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  if (a.sorted != 0) return driver(a, dense);
  sorted_rows<T> sorted;
  const status result = sorted.sort(a);
  if (result != success) return result;
  return driver(sorted.get(), dense);
}

// Runs the driver on the copy that `transpose` makes of A. A transposition leaves rows sorted; the
// test stands all the same.
template <class T>
status run_transposed(status (*transpose)(const compressed_matrix<T>&, owned_matrix<T>**),
                      mm_kernel<T> driver,
                      const compressed_matrix<T>& a,
                      const mm_operands<T>& dense) {
  scoped_matrix<T> transposed;
  const status result = transpose(a, transposed.out());
  if (result != success) return result;
  return run_sorted(driver, *transposed, dense);
}

}  // namespace

template <class T>
status mm_cols_sorted(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_sorted(mm_cols_parallel<T>, a, dense);
}

template <class T>
status mm_cols_transposed(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed(csr_transpose_parallel<T>, mm_cols_parallel<T>, a, dense);
}

template <class T>
status mm_cols_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed(csr_conj_transpose_parallel<T>, mm_cols_parallel<T>, a, dense);
}

template <class T>
status mm_rows_sorted(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_sorted(mm_rows_parallel<T>, a, dense);
}

template <class T>
status mm_rows_transposed(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed(csr_transpose_parallel<T>, mm_rows_parallel<T>, a, dense);
}

template <class T>
status mm_rows_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed(csr_conj_transpose_parallel<T>, mm_rows_parallel<T>, a, dense);
}

#define NEVRAD_INSTANTIATE_ONE(name, T) \
  template status name(const compressed_matrix<T>&, const mm_operands<T>&);
#define NEVRAD_INSTANTIATE(letter, T)           \
  NEVRAD_INSTANTIATE_ONE(mm_cols_sorted, T)     \
  NEVRAD_INSTANTIATE_ONE(mm_cols_transposed, T) \
  NEVRAD_INSTANTIATE_ONE(mm_rows_sorted, T)     \
  NEVRAD_INSTANTIATE_ONE(mm_rows_transposed, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)           \
  NEVRAD_INSTANTIATE_ONE(mm_cols_conjugated, T) \
  NEVRAD_INSTANTIATE_ONE(mm_rows_conjugated, T)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
