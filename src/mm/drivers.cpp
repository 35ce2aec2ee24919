#include "mm/drivers.h"

#include "arith/dense.h"
#include "frame/regions.h"
#include "matrix/sorted_rows.h"
#include "mm/direct.h"
#include "mm/panels.h"
#include "mm/sweeps.h"

#include <algorithm>
#include <atomic>

namespace nevrad {

namespace {

// Cuts rows lo to hi - 1 by columns, then runs sweep(source...) over blocks or over segments,
// whichever is faster. Rows without entries have neither, and nothing to do.
template <class T, class Sweep>
status cut_and_sweep(const owned_matrix<T>& a,
                     std::int32_t lo,
                     std::int32_t hi,
                     const Sweep& sweep) {
  if (segments_pay(a, lo, hi)) {
    row_segments<T> segments;
    const status built = segments.build(a, lo, hi);
    return built != success || segments.empty() ? built : sweep(segments);
  }
  scoped_matrix<T> blocks;
  std::int32_t count = 0;
  const status built = column_blocks_build(a, lo, hi, mm_block_cols, blocks.out(), &count);
  return built != success || blocks.get() == nullptr ? built : sweep(blocks.get(), count);
}

// Runs body(first row, last row) for each part of the rows, cut by entries, on a team of the
// budget; answers with a failure of one of them, if any.
template <class Body>
status for_row_parts(int budget, const part_bounds& part, const Body& body) {
  std::atomic<status> failure{success};
  for_each_part_on_team(budget, [&](int t) {
    const status result = body(part.at[t], part.at[t + 1]);
    if (result != success) failure.store(result, std::memory_order_relaxed);
  });
  return failure.load(std::memory_order_relaxed);
}

// The density by which a row-major path is chosen, in single precision as all of it.
template <class T, class Count>
double single_density(const owned_matrix<T>& a, Count elements) {
  const float density = static_cast<float>(a.end[a.rows - 1]) / static_cast<float>(elements);
  return static_cast<double>(density);
}

// The number of elements in 32 bits, wrapped around: for a large matrix it only picks a path.
template <class T>
std::int32_t wrapped_elements(const owned_matrix<T>& a) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a.rows) *
                                   static_cast<std::uint32_t>(a.cols));
}

// The whole of B in panels, on one thread, over blocks. C is scaled first.
template <class T>
status mm_rows_serial_blocked(const owned_matrix<T>& a,
                              const T* b,
                              std::int32_t n,
                              std::int32_t ldb,
                              T* c,
                              std::int32_t ldc,
                              T alpha,
                              T beta) {
  dense_scale_lines(a.rows, n, beta, c, ldc);
  const scratch<T> store = panel_store<T>(a.cols, n);
  if (!store) return alloc_failed;
  pack_rows_all(a.cols, b, n, ldb, store.get());
  return cut_and_sweep(a, 0, a.rows, [&](const auto&... source) {
    return sweep_rows(source..., store.get(), n, a.cols, c, ldc, alpha);
  });
}

// One widest panel of B at a time. Real types take beta on the way, complex ones scale C first.
template <class T>
status mm_rows_serial_chunked(const owned_matrix<T>& a,
                              const T* b,
                              std::int32_t n,
                              std::int32_t ldb,
                              T* c,
                              std::int32_t ldc,
                              T alpha,
                              T beta) {
  constexpr std::int32_t chunk = mm_chunk<T>;
  const scratch<T> store = panel_store<T>(a.cols, chunk);
  if (!store) return alloc_failed;
  if constexpr (is_complex<T>) dense_scale_lines(a.rows, n, beta, c, ldc);
  for (std::int32_t j = 0; j < n; j += std::min(chunk, n - j)) {
    const std::int32_t width = std::min(chunk, n - j);
    pack_rows_all(a.cols, b + j, width, ldb, store.get());
    status swept = success;
    if constexpr (is_complex<T>) {
      swept = sweep_rows(&a, 1, store.get(), width, a.cols, c + j, ldc, alpha);
    } else {
      swept = sweep_rows_beta(&a, 1, store.get(), width, a.cols, c + j, ldc, alpha, beta);
    }
    if (swept != success) return swept;
  }
  return success;
}

}  // namespace

template <class T>
void dense_scale_lines(std::int32_t lines, std::int32_t length, T beta, T* c, std::int32_t ldc) {
  for_each_chunk_on_default_team(lines, [=](std::int32_t i) {
    dense_scale(length, c + static_cast<std::int64_t>(i) * ldc, beta);
  });
}

template <class T>
status mm_cols_parallel(const owned_matrix<T>& a,
                        const T* b,
                        std::int32_t n,
                        std::int32_t ldb,
                        T* c,
                        std::int32_t ldc,
                        T alpha,
                        T beta) {
  const int budget = current_thread_budget();
  if (budget == 1) return mm_cols_serial(a, b, n, ldb, c, ldc, alpha, beta);
  part_bounds part;
  partition_by_nnz(a.end, a.rows, budget, part.at);
  dense_scale_lines(n, a.rows, beta, c, ldc);
  const scratch<T> store = panel_store<T>(a.cols, n);
  if (!store) return alloc_failed;
  pack_cols_all(a.cols, b, n, ldb, store.get());
  return for_row_parts(budget, part, [&](std::int32_t lo, std::int32_t hi) {
    return cut_and_sweep(a, lo, hi, [&](const auto&... source) {
      return sweep_cols(source..., b, store.get(), a.cols, n, ldb, c + lo, ldc, alpha);
    });
  });
}

template <class T>
status mm_cols_serial(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta) {
  dense_scale_lines(n, a.rows, beta, c, ldc);
  const scratch<T> store = panel_store<T>(a.cols, n);
  if (!store) return alloc_failed;
  pack_cols_all(a.cols, b, n, ldb, store.get());
  const auto sweep = [&](const auto&... source) {
    return sweep_cols(source..., b, store.get(), a.cols, n, ldb, c, ldc, alpha);
  };
  if (a.cols <= mm_block_cols) return sweep(&a, std::int32_t{1});
  return cut_and_sweep(a, 0, a.rows, sweep);
}

template <class T>
status mm_rows_parallel(const owned_matrix<T>& a,
                        const T* b,
                        std::int32_t n,
                        std::int32_t ldb,
                        T* c,
                        std::int32_t ldc,
                        T alpha,
                        T beta) {
  const int budget = current_thread_budget();
  if (budget == 1) {
    if (a.sorted != 0) return mm_rows_serial(a, b, n, ldb, c, ldc, alpha, beta);
    sorted_rows<T> sorted;
    const status result = sorted.sort(a);
    if (result != success) return result;
    return mm_rows_serial(sorted.get(), b, n, ldb, c, ldc, alpha, beta);
  }
  part_bounds part;
  partition_by_nnz(a.end, a.rows, budget, part.at);
  const double density = single_density(a, static_cast<std::int64_t>(a.rows) * a.cols);
  if (density > mm_dense_cut) {
    dense_scale_lines(a.rows, n, beta, c, ldc);
    const scratch<T> store = panel_store<T>(a.cols, n);
    if (!store) return alloc_failed;
    pack_rows_all(a.cols, b, n, ldb, store.get());
    return for_row_parts(budget, part, [&](std::int32_t lo, std::int32_t hi) {
      T* const rows = c + static_cast<std::int64_t>(lo) * ldc;
      return cut_and_sweep(a, lo, hi, [&](const auto&... source) {
        return sweep_rows(source..., store.get(), n, a.cols, rows, ldc, alpha);
      });
    });
  }
  for_each_part_on_team(budget, [&](int t) {
    mm_rows_direct(a, part.at[t], part.at[t + 1], b, n, ldb, c, ldc, alpha, beta);
  });
  return success;
}

template <class T>
status mm_rows_serial(const owned_matrix<T>& a,
                      const T* b,
                      std::int32_t n,
                      std::int32_t ldb,
                      T* c,
                      std::int32_t ldc,
                      T alpha,
                      T beta) {
  const std::int32_t nnz = a.end[a.rows - 1];
  const double density = single_density(a, wrapped_elements(a));
  const bool repack = (density > mm_sparse_cut && nnz > mm_large_nnz) || density >= mm_dense_cut;
  if (!repack) {
    mm_rows_direct(a, 0, a.rows, b, n, ldb, c, ldc, alpha, beta);
    return success;
  }
  const auto path = a.cols > mm_block_cols ? mm_rows_serial_blocked<T> : mm_rows_serial_chunked<T>;
  return path(a, b, n, ldb, c, ldc, alpha, beta);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                              \
  template void dense_scale_lines(std::int32_t, std::int32_t, T, T*, std::int32_t);                \
  template status mm_cols_parallel(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t,   \
                                   T*, std::int32_t, T, T);                                        \
  template status mm_cols_serial(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, \
                                 std::int32_t, T, T);                                              \
  template status mm_rows_parallel(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t,   \
                                   T*, std::int32_t, T, T);                                        \
  template status mm_rows_serial(const owned_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, \
                                 std::int32_t, T, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
