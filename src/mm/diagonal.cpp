#include "mm/diagonal.h"

#include "frame/checks.h"
#include "frame/regions.h"
#include "mm/diagonal_lines.h"

namespace nevrad {

namespace {

template <class T>
using diag_update = void (*)(std::int32_t length,
                             const T* b,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             const T* diag_values,
                             std::int32_t lo,
                             std::int32_t hi,
                             T beta);

template <class T>
scratch<T> diag_array(const owned_matrix<T>& a) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(a.rows);
  return scratch<T>(rounded_aligned_alloc(cache_line, bytes));
}

// diag_values[i] = alpha * A(i, i), or its conjugate's product, for lines first to last - 1.
template <conjugation C, class T>
void diag_collect(const owned_matrix<T>& a,
                  T alpha,
                  T* diag_values,
                  std::int32_t first,
                  std::int32_t last) {
  for (std::int32_t i = first; i < last; ++i) {
    T found = zero<T>();
    for (std::int32_t p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      if (a.indices[p] - a.base == i) found = multiply_fused(alpha, conj_if<C>(a.values[p]));
    }
    diag_values[i] = found;
  }
}

// Cuts `count` lines into chunks and runs update(first, last) on each. Answers 2 when memory is
// short.
template <class Update>
status split_lines(std::int32_t count, const Update& update) {
  const int budget = current_thread_budget();
  if (budget <= 1) {
    update(0, count);
    return success;
  }
  const scratch<std::int32_t> bounds(
      plain_alloc((static_cast<std::uint64_t>(budget) + 1) * sizeof(std::int32_t)));
  if (!bounds) return alloc_failed;
  const std::int32_t chunks = partition_by_fours(count, budget, bounds.get());
  for_each_chunk_on_default_team(chunks, [&](int t) { update(bounds[t], bounds[t + 1]); });
  return success;
}

// `count` lines of `length` elements. Answers 1 for a null.
template <class T>
status split_diag(std::int32_t count,
                  std::int32_t length,
                  const T* b,
                  std::int32_t ldb,
                  T* c,
                  std::int32_t ldc,
                  const T* diag_values,
                  diag_update<T> update,
                  T beta) {
  if (check_three_pointers(b, c, diag_values) != success || update == nullptr) return null_pointer;
  return split_lines(count, [=](std::int32_t first, std::int32_t last) {
    update(length, b, ldb, c, ldc, diag_values, first, last, beta);
  });
}

template <class T>
status split_unit(std::int32_t count,
                  std::int32_t length,
                  const T* b,
                  std::int32_t ldb,
                  T* c,
                  std::int32_t ldc,
                  T alpha,
                  T beta) {
  if (check_two_pointers(b, c) != success) return null_pointer;
  return split_lines(count, [=](std::int32_t first, std::int32_t last) {
    unit_update(length, b, ldb, c, ldc, first, last, alpha, beta);
  });
}

template <conjugation C, class T>
status diag_parallel(const owned_matrix<T>& a,
                     std::int32_t count,
                     std::int32_t length,
                     const T* b,
                     std::int32_t ldb,
                     T* c,
                     std::int32_t ldc,
                     diag_update<T> update,
                     T alpha,
                     T beta) {
  const scratch<T> diag_values = diag_array(a);
  if (!diag_values) return alloc_failed;
  for_static_blocks_on_team(current_thread_budget(), a.rows,
                            [&](std::int32_t first, std::int32_t last) {
                              diag_collect<C>(a, alpha, diag_values.get(), first, last);
                            });
  return split_diag(count, length, b, ldb, c, ldc, diag_values.get(), update, beta);
}

}  // namespace

template <class T>
status diag_mm_cols_serial(const owned_matrix<T>& a,
                           const T* b,
                           std::int32_t n,
                           std::int32_t ldb,
                           T* c,
                           std::int32_t ldc,
                           T alpha,
                           T beta) {
  const scratch<T> diag_values = diag_array(a);
  if (!diag_values) return alloc_failed;
  diag_collect<conjugation::no>(a, alpha, diag_values.get(), 0, a.rows);
  diag_update_cols(a.rows, b, ldb, c, ldc, diag_values.get(), 0, n, beta);
  return success;
}

template <class T>
status diag_mm_rows_serial(const owned_matrix<T>& a,
                           const T* b,
                           std::int32_t n,
                           std::int32_t ldb,
                           T* c,
                           std::int32_t ldc,
                           T alpha,
                           T beta) {
  const scratch<T> diag_values = diag_array(a);
  if (!diag_values) return alloc_failed;
  diag_collect<conjugation::no>(a, alpha, diag_values.get(), 0, a.rows);
  diag_update_rows(n, b, ldb, c, ldc, diag_values.get(), 0, a.rows, beta);
  return success;
}

template <class T>
status unit_mm_cols_serial(const owned_matrix<T>& a,
                           const T* b,
                           std::int32_t n,
                           std::int32_t ldb,
                           T* c,
                           std::int32_t ldc,
                           T alpha,
                           T beta) {
  unit_update(a.rows, b, ldb, c, ldc, 0, n, alpha, beta);
  return success;
}

template <class T>
status unit_mm_rows_serial(const owned_matrix<T>& a,
                           const T* b,
                           std::int32_t n,
                           std::int32_t ldb,
                           T* c,
                           std::int32_t ldc,
                           T alpha,
                           T beta) {
  unit_update(n, b, ldb, c, ldc, 0, a.rows, alpha, beta);
  return success;
}

template <conjugation C, class T>
status diag_mm_cols_parallel(const owned_matrix<T>& a,
                             const T* b,
                             std::int32_t n,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             T alpha,
                             T beta) {
  return diag_parallel<C>(a, n, a.rows, b, ldb, c, ldc, diag_update_cols<T>, alpha, beta);
}

template <conjugation C, class T>
status diag_mm_rows_parallel(const owned_matrix<T>& a,
                             const T* b,
                             std::int32_t n,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             T alpha,
                             T beta) {
  return diag_parallel<C>(a, a.rows, n, b, ldb, c, ldc, diag_update_rows<T>, alpha, beta);
}

template <class T>
status unit_mm_cols_parallel(const owned_matrix<T>& a,
                             const T* b,
                             std::int32_t n,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             T alpha,
                             T beta) {
  return split_unit(n, a.rows, b, ldb, c, ldc, alpha, beta);
}

template <class T>
status unit_mm_rows_parallel(const owned_matrix<T>& a,
                             const T* b,
                             std::int32_t n,
                             std::int32_t ldb,
                             T* c,
                             std::int32_t ldc,
                             T alpha,
                             T beta) {
  return split_unit(a.rows, n, b, ldb, c, ldc, alpha, beta);
}

#define NEVRAD_INSTANTIATE_ONE(name, T)                                                  \
  template status name(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, \
                       std::int32_t, T, T);
#define NEVRAD_INSTANTIATE(letter, T)                                \
  NEVRAD_INSTANTIATE_ONE(diag_mm_cols_serial, T)                     \
  NEVRAD_INSTANTIATE_ONE(diag_mm_rows_serial, T)                     \
  NEVRAD_INSTANTIATE_ONE(unit_mm_cols_serial, T)                     \
  NEVRAD_INSTANTIATE_ONE(unit_mm_rows_serial, T)                     \
  NEVRAD_INSTANTIATE_ONE(diag_mm_cols_parallel<conjugation::no>, T)  \
  NEVRAD_INSTANTIATE_ONE(diag_mm_rows_parallel<conjugation::no>, T)  \
  NEVRAD_INSTANTIATE_ONE(diag_mm_cols_parallel<conjugation::yes>, T) \
  NEVRAD_INSTANTIATE_ONE(diag_mm_rows_parallel<conjugation::yes>, T) \
  NEVRAD_INSTANTIATE_ONE(unit_mm_cols_parallel, T)                   \
  NEVRAD_INSTANTIATE_ONE(unit_mm_rows_parallel, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
