#include "mm/general.h"

#include "matrix/sorted_rows.h"
#include "mm/drivers.h"
#include "mm/line_products.h"

namespace nevrad {

namespace {

// Runs the driver on A itself when its rows are known to ascend, else so that it takes them sorted.
// Column blocks rely on the order, and so does the order of summation.
template <class T>
status run_sorted(mm_driver<T> driver, const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  if (a.sorted != 0) return driver(a, dense);
  sorted_rows<T> sorted;
  const status result = sorted.sort_when_taken(a);
  if (result != success) return result;
  return driver(sorted.in_order(), dense);
}

// Runs the driver on the copy that a transposition makes of A, unless the product can go straight
// from A. A transposition leaves rows sorted; the test stands all the same.
template <conjugation C, class T>
status run_transposed(dense_layout layout,
                      mm_driver<T> driver,
                      const compressed_matrix<T>& a,
                      const mm_operands<T>& dense) {
  status result = success;
  if (multiply_transposed(a, C, layout, dense, &result)) return result;
  scoped_matrix<T> transposed;
  if constexpr (C == conjugation::yes) {
    result = csr_conj_transpose_parallel(a, transposed.out());
  } else {
    result = csr_transpose_parallel(a, transposed.out());
  }
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
  return run_transposed<conjugation::no>(dense_layout::column_major, mm_cols_parallel<T>, a, dense);
}

template <class T>
status mm_cols_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed<conjugation::yes>(dense_layout::column_major, mm_cols_parallel<T>, a,
                                          dense);
}

template <class T>
status mm_rows_sorted(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_sorted(mm_rows_parallel<T>, a, dense);
}

template <class T>
status mm_rows_transposed(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed<conjugation::no>(dense_layout::row_major, mm_rows_parallel<T>, a, dense);
}

template <class T>
status mm_rows_conjugated(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return run_transposed<conjugation::yes>(dense_layout::row_major, mm_rows_parallel<T>, a, dense);
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
