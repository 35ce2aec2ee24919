#include "spsp/dense_product.h"

#include "arith/lanes.h"
#include "frame/regions.h"
#include "spsp/request.h"

#include <string.h>

namespace nevrad {

namespace {

// Entries of a column of X that are updated at once. The four elements of C are read before any is
// written, so of equal row numbers within a group the last update alone survives.
constexpr int entries_a_group = 4;

template <class T>
T* column_of(T* c, std::int32_t ldc, std::int32_t j) {
  return c + static_cast<std::int64_t>(j) * ldc;
}

template <class T>
void clear_column(T* column, std::int32_t rows) {
  memset(static_cast<void*>(column), 0, sizeof(T) * static_cast<std::uint64_t>(rows));
}

// column += column r of X times v, in storage order.
template <conjugation C, class T>
NEVRAD_INLINE void add_scaled_column(const compressed_matrix<T>& X,
                                     std::int32_t r,
                                     lane<T> v,
                                     T* column) {
  const std::int32_t* indices = X.indices + X.begin[r];
  const T* values = X.values + X.begin[r];
  const std::int32_t length = X.begin[r + 1] - X.begin[r];
  for (std::int32_t groups = length / entries_a_group; groups > 0; --groups) {
    T* const at[] = {column + indices[0], column + indices[1], column + indices[2],
                     column + indices[3]};
    const lane<T> s0 = multiply_add<C>(load<1>(at[0]), load<1>(values), v);
    const lane<T> s1 = multiply_add<C>(load<1>(at[1]), load<1>(values + 1), v);
    const lane<T> s2 = multiply_add<C>(load<1>(at[2]), load<1>(values + 2), v);
    const lane<T> s3 = multiply_add<C>(load<1>(at[3]), load<1>(values + 3), v);
    store(at[0], s0);
    store(at[1], s1);
    store(at[2], s2);
    store(at[3], s3);
    indices += entries_a_group;
    values += entries_a_group;
  }
  for (std::int32_t rest = length > 0 ? length % entries_a_group : 0; rest > 0; --rest) {
    T* const at = column + *indices++;
    store(at, multiply_add<C>(load<1>(at), load<1>(values++), v));
  }
}

// A column is cleared when its turn comes, so that the additions find it in the cache.
template <conjugation C, class T>
int multiply_columns(const compressed_matrix<T>& X,
                     const compressed_matrix<T>& Y,
                     T* c,
                     std::int32_t ldc,
                     std::int32_t first,
                     std::int32_t last) {
  for (std::int32_t j = first; j < last; ++j) {
    T* const column = column_of(c, ldc, j);
    clear_column(column, X.rows);
    for (std::int32_t e = Y.begin[j]; e < Y.end[j]; ++e) {
      add_scaled_column<C>(X, Y.indices[e], load<1>(Y.values + e), column);
    }
  }
  return 0;
}

// work[j] = multiply-adds of column j of C.
template <class T>
void csrmultd_column_work(const compressed_matrix<T>& X,
                          const compressed_matrix<T>& Y,
                          int threads,
                          std::int64_t* work) {
  for_static_blocks_on_team(threads, Y.cols, [&](std::int32_t first, std::int32_t last) {
    for (std::int32_t j = first; j < last; ++j) {
      for (std::int32_t e = Y.begin[j]; e < Y.end[j]; ++e) {
        const std::int32_t r = Y.indices[e];
        work[j] += X.end[r] - X.begin[r];
      }
    }
  });
}

template <class T>
status clear_and_fail(std::int32_t rows, std::int32_t cols, T* c, std::int32_t ldc) {
  for (std::int32_t j = 0; j < cols; ++j) clear_column(column_of(c, ldc, j), rows);
  return alloc_failed;
}

template <class T>
status multiply_by_rows_of(const owned_matrix<T>& A,
                           const owned_matrix<T>& B,
                           T* c,
                           std::int32_t ldc,
                           column_kernel<T> kernel) {
  compressed_matrix<T> X;
  csr_view_as_csc(&A, &X);
  scoped_matrix<T> Y;
  const status made = csr_to_csc_parallel(&B, Y.out());
  if (made != success) return made;
  return csrmultd_driver(&X, Y.get(), c, ldc, kernel);
}

}  // namespace

template <class T>
int csrmultd_columns(const compressed_matrix<T>& X,
                     const compressed_matrix<T>& Y,
                     T* c,
                     std::int32_t ldc,
                     std::int32_t first,
                     std::int32_t last) {
  return multiply_columns<conjugation::no>(X, Y, c, ldc, first, last);
}

template <class T>
int csrmultd_columns_conj(const compressed_matrix<T>& X,
                          const compressed_matrix<T>& Y,
                          T* c,
                          std::int32_t ldc,
                          std::int32_t first,
                          std::int32_t last) {
  return multiply_columns<conjugation::yes>(X, Y, c, ldc, first, last);
}

template <class T>
status csrmultd_driver(const compressed_matrix<T>* X,
                       const compressed_matrix<T>* Y,
                       T* c,
                       std::int32_t ldc,
                       column_kernel<T> kernel) {
  if (X == nullptr || Y == nullptr || c == nullptr || kernel == nullptr) return null_pointer;
  const std::int32_t cols = Y->cols;
  const int budget = current_thread_budget();
  if (budget == 1) {
    kernel(*X, *Y, c, ldc, 0, cols);
    return success;
  }

  scratch<std::int64_t> work(
      plain_zeroed_alloc(static_cast<std::uint64_t>(cols), sizeof(std::int64_t)));
  if (!work) return clear_and_fail(X->rows, cols, c, ldc);
  csrmultd_column_work(*X, *Y, budget, work.get());
  for (std::int32_t j = 1; j < cols; ++j) work[j] += work[j - 1];

  const scratch<std::int32_t> part = alloc_bounds(budget);
  if (!part) return clear_and_fail(X->rows, cols, c, ldc);
  partition_by_nnz_wide(work.get(), cols, budget, part.get());
  work = scratch<std::int64_t>();
  for_each_part_on_team(budget, [&](int t) { kernel(*X, *Y, c, ldc, part[t], part[t + 1]); });
  return success;
}

template <class T>
status csrmultd_plain(const owned_matrix<T>& A, const owned_matrix<T>& B, T* c, std::int32_t ldc) {
  scoped_matrix<T> X;
  status made = csr_to_csc_parallel(&A, X.out());
  if (made != success) return made;
  scoped_matrix<T> Y;
  made = csr_to_csc_parallel(&B, Y.out());
  if (made != success) return made;
  return csrmultd_driver(X.get(), Y.get(), c, ldc, csrmultd_columns<T>);
}

template <class T>
status csrmultd_transposed(const owned_matrix<T>& A,
                           const owned_matrix<T>& B,
                           T* c,
                           std::int32_t ldc) {
  return multiply_by_rows_of(A, B, c, ldc, csrmultd_columns<T>);
}

template <class T>
status csrmultd_conjugated(const owned_matrix<T>& A,
                           const owned_matrix<T>& B,
                           T* c,
                           std::int32_t ldc) {
  return multiply_by_rows_of(A, B, c, ldc, csrmultd_columns_conj<T>);
}

#define NEVRAD_INSTANTIATE_KERNEL(name, T) \
  template status name(const owned_matrix<T>&, const owned_matrix<T>&, T*, std::int32_t);
#define NEVRAD_INSTANTIATE_COLUMNS(name, T)                                                     \
  template int name(const compressed_matrix<T>&, const compressed_matrix<T>&, T*, std::int32_t, \
                    std::int32_t, std::int32_t);
#define NEVRAD_INSTANTIATE(letter, T)                                                           \
  NEVRAD_INSTANTIATE_KERNEL(csrmultd_plain, T)                                                  \
  NEVRAD_INSTANTIATE_KERNEL(csrmultd_transposed, T)                                             \
  NEVRAD_INSTANTIATE_COLUMNS(csrmultd_columns, T)                                               \
  template status csrmultd_driver(const compressed_matrix<T>*, const compressed_matrix<T>*, T*, \
                                  std::int32_t, column_kernel<T>);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)               \
  NEVRAD_INSTANTIATE_KERNEL(csrmultd_conjugated, T) \
  NEVRAD_INSTANTIATE_COLUMNS(csrmultd_columns_conj, T)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_KERNEL
#undef NEVRAD_INSTANTIATE_COLUMNS

}  // namespace nevrad
