#include "mm/general.h"

#include "matrix/sorted_rows.h"
#include "mm/drivers.h"

namespace nevrad {

namespace {

// Runs the driver on A itself when its rows are known to ascend, else sorted. Column
// blocks rely on the order, and so does the order of summation.
template <class T>
status run_sorted(mm_kernel<T> driver,
                  const owned_matrix<T>& a,
                  const T* b,
                  std::int32_t n,
                  std::int32_t ldb,
                  T* c,
                  std::int32_t ldc,
                  T alpha,
                  T beta) {
  if (a.sorted != 0) return driver(a, b, n, ldb, c, ldc, alpha, beta);
  sorted_rows<T> sorted;
  const status result = sorted.sort(a);
  if (result != success) return result;
  return driver(sorted.get(), b, n, ldb, c, ldc, alpha, beta);
}

// Runs the driver on the copy that `transpose` makes of A. A transposition leaves rows sorted; the
// test stands all the same.
template <class T>
status run_transposed(status (*transpose)(const compressed_matrix<T>&, owned_matrix<T>**),
                      mm_kernel<T> driver,
                      const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta) {
  scoped_matrix<T> transposed;
  const status result = transpose(a, transposed.out());
  if (result != success) return result;
  return run_sorted(driver, *transposed, b, n, ldb, c, ldc, alpha, beta);
}

}  // namespace

template <class T>
status mm_cols_sorted(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta) {
  return run_sorted(mm_cols_parallel<T>, a, b, n, ldb, c, ldc, alpha, beta);
}

template <class T>
status mm_cols_transposed(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta) {
  return run_transposed(csr_transpose_parallel<T>, mm_cols_parallel<T>, a, b, n, ldb, c, ldc, alpha,
                        beta);
}

template <class T>
status mm_cols_conjugated(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta) {
  return run_transposed(csr_conj_transpose_parallel<T>, mm_cols_parallel<T>, a, b, n, ldb, c, ldc,
                        alpha, beta);
}

template <class T>
status mm_rows_sorted(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta) {
  return run_sorted(mm_rows_parallel<T>, a, b, n, ldb, c, ldc, alpha, beta);
}

template <class T>
status mm_rows_transposed(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta) {
  return run_transposed(csr_transpose_parallel<T>, mm_rows_parallel<T>, a, b, n, ldb, c, ldc, alpha,
                        beta);
}

template <class T>
status mm_rows_conjugated(const owned_matrix<T>& a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          T alpha,
                          T beta) {
  return run_transposed(csr_conj_transpose_parallel<T>, mm_rows_parallel<T>, a, b, n, ldb, c, ldc,
                        alpha, beta);
}

#define NEVRAD_INSTANTIATE_ONE(name, T)                                                  \
  template status name(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, \
                       std::int32_t, T, T);
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
