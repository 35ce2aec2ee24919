#include "mm/sweeps.h"

#include "mm/line_kernels.h"
#include "mm/panel_kernels.h"
#include "mm/panels.h"

namespace nevrad {

template <class T>
status sweep_cols(const column_block<T>* blocks,
                  std::int32_t count,
                  const T* b,
                  const T* store,
                  std::int32_t h,
                  std::int32_t n,
                  std::int32_t ldb,
                  T* c,
                  std::int32_t ldc,
                  T alpha) {
  if (check_four_pointers(blocks, store, c, b) != success) return null_pointer;
  const block_list<T> source(blocks, count);
  std::int32_t j = for_each_panel<T>(n, [&](auto w, std::int32_t at) {
    T* const target = c + static_cast<std::int64_t>(at) * ldc;
    panel_kernel_cols<w()>(source, panel_at(store, at, h), target, ldc, &alpha);
  });
  for (; j < n; ++j) {
    line_kernel(source, b + static_cast<std::int64_t>(j) * ldb,
                c + static_cast<std::int64_t>(j) * ldc, ldc, &alpha, 1);
  }
  return success;
}

template <class T>
status sweep_rows(const column_block<T>* blocks,
                  std::int32_t count,
                  const T* store,
                  std::int32_t n,
                  std::int32_t h,
                  T* c,
                  std::int32_t ldc,
                  T alpha) {
  if (check_three_pointers(blocks, store, c) != success) return null_pointer;
  const block_list<T> source(blocks, count);
  std::int32_t j = for_each_panel<T>(n, [&](auto w, std::int32_t at) {
    panel_kernel_rows<w()>(source, panel_at(store, at, h), c + at, ldc, &alpha);
  });
  for (; j < n; ++j) line_kernel(source, panel_at(store, j, h), c + j, ldc, &alpha, 0);
  return success;
}

template <class T>
status sweep_rows_beta(const column_block<T>* blocks,
                       std::int32_t count,
                       const T* store,
                       std::int32_t n,
                       std::int32_t h,
                       T* c,
                       std::int32_t ldc,
                       T alpha,
                       T beta) {
  if (check_three_pointers(blocks, store, c) != success) return null_pointer;
  const block_list<T> source(blocks, count);
  std::int32_t j = for_each_panel<T>(n, [&](auto w, std::int32_t at) {
    panel_kernel_rows_beta<w()>(source, panel_at(store, at, h), c + at, ldc, &alpha, &beta);
  });
  for (; j < n; ++j) line_kernel_beta(source, panel_at(store, j, h), c + j, ldc, &alpha, &beta, 0);
  return success;
}

#define NEVRAD_INSTANTIATE(letter, T)                                                        \
  template status sweep_cols(const column_block<T>*, std::int32_t, const T*, const T*,       \
                             std::int32_t, std::int32_t, std::int32_t, T*, std::int32_t, T); \
  template status sweep_rows(const column_block<T>*, std::int32_t, const T*, std::int32_t,   \
                             std::int32_t, T*, std::int32_t, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                           \
  template status sweep_rows_beta(const column_block<T>*, std::int32_t, const T*, std::int32_t, \
                                  std::int32_t, T*, std::int32_t, T, T);
NEVRAD_FOR_EACH_REAL(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
