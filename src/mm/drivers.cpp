#include "mm/drivers.h"

#include "arith/dense.h"
#include "frame/regions.h"
#include "mm/columns_in_place.h"
#include "mm/panels.h"
#include "mm/rows_in_place.h"
#include "mm/sweeps.h"

#include <algorithm>
#include <atomic>

namespace nevrad {

namespace {

// Mean entries of a row in a block from which the entries are copied into blocks.
constexpr std::int64_t blocks_from_mean_row = 32;

template <class T>
bool rows_are_long(const compressed_matrix<T>& a) {
  const std::int64_t pairs = std::int64_t{a.rows} * block_count(a.cols, mm_block_cols);
  return csr_entries(a) >= blocks_from_mean_row * pairs;
}

template <class T>
std::int32_t entries_between(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  return hi > lo ? a.end[hi - 1] - a.begin[lo] : 0;
}

// Runs body(first row, last row) for each part of the rows, cut by entries, on a team of the
// budget; answers with a failure of one of them, if any.
template <class T, class Body>
status for_row_parts(const compressed_matrix<T>& a, int budget, const Body& body) {
  part_bounds part;
  partition_by_nnz(a.end, a.rows, budget, part.at, a.base);
  std::atomic<status> failure{success};
  for_each_part_on_team(budget, [&](int t) {
    const status result = body(part.at[t], part.at[t + 1]);
    if (result != success) failure.store(result, std::memory_order_relaxed);
  });
  return failure.load(std::memory_order_relaxed);
}

// Cuts rows lo to hi - 1 into blocks and runs sweep(blocks, count). Rows without entries have none,
// and nothing to do.
template <class T, class Sweep>
status cut_and_sweep(const rows_in_order<T>& a,
                     std::int32_t lo,
                     std::int32_t hi,
                     const Sweep& sweep) {
  scoped_matrix<T> blocks;
  std::int32_t count = 0;
  const status built =
      column_blocks_build(a.take(lo, hi), lo, hi, mm_block_cols, blocks.out(), &count);
  return built != success || blocks.get() == nullptr ? built : sweep(blocks.get(), count);
}

// Rows lo to hi - 1 of C times beta, for those that get nothing else.
template <class T>
void scale_rows_of_columns(const mm_operands<T>& o, std::int32_t lo, std::int32_t hi) {
  for (std::int32_t j = 0; j < o.n; ++j) dense_scale(hi - lo, line_at(o.c, j, o.ldc) + lo, o.beta);
}
template <class T>
void scale_rows(const mm_operands<T>& o, std::int32_t lo, std::int32_t hi) {
  for (std::int32_t i = lo; i < hi; ++i) dense_scale(o.n, line_at(o.c, i, o.ldc), o.beta);
}

// Runs multiply(part, first row, last row) for each part of the rows, with the entries in place,
// and scale(first row, last row) where there are none or memory for blocks of them is short. It is
// probed beforehand: the allocator's locks and pages are not for a team to share.
template <class T, class Multiply, class Scale>
status for_row_parts_in_place(const compressed_matrix<T>& a,
                              int budget,
                              const Multiply& multiply,
                              const Scale& scale) {
  part_bounds part;
  partition_by_nnz(a.end, a.rows, budget, part.at, a.base);
  bool multiplied[max_thread_budget];
  status result = success;
  for (int t = 0; t < budget; ++t) {
    const std::int32_t rows = part.at[t + 1] - part.at[t];
    const std::int32_t entries = entries_between(a, part.at[t], part.at[t + 1]);
    const bool any = entries != 0;
    const bool there =
        any && probe_column_blocks<T>(rows, entries, block_count(a.cols, mm_block_cols));
    if (any && !there) result = alloc_failed;
    multiplied[t] = there;
  }
  for_each_part_on_team(budget, [&](int t) {
    if (multiplied[t]) {
      multiply(t, part.at[t], part.at[t + 1]);
    } else {
      scale(part.at[t], part.at[t + 1]);
    }
  });
  return result;
}

// Column-major on parts of the rows, with the entries in place.
template <class T>
status mm_cols_in_place(const rows_in_order<T>& a,
                        const mm_operands<T>& o,
                        const column_panels<T>& panels,
                        int budget) {
  return for_row_parts_in_place(
      a.shape(), budget,
      [&](int t, std::int32_t lo, std::int32_t hi) {
        multiply_columns_in_place(a, lo, hi, o, panels.of_part(t));
      },
      [&](std::int32_t lo, std::int32_t hi) { scale_rows_of_columns(o, lo, hi); });
}

// Column-major over blocks: C is scaled and B packed.
template <class T>
status mm_cols_blocked(const rows_in_order<T>& a,
                       const mm_operands<T>& o,
                       const T* store,
                       std::int32_t lo,
                       std::int32_t hi) {
  scale_rows_of_columns(o, lo, hi);
  return cut_and_sweep(a, lo, hi, [&](const column_block<T>* blocks, std::int32_t count) {
    return sweep_cols(blocks, count, o.b, store, a.shape().cols, o.n, o.ldb, o.c + lo, o.ldc,
                      o.alpha);
  });
}

// Row-major on parts of the rows, B and the entries in place.
template <class T>
status mm_rows_in_place(const rows_in_order<T>& a, const mm_operands<T>& o, int budget) {
  return for_row_parts_in_place(
      a.shape(), budget,
      [&](int /*part*/, std::int32_t lo, std::int32_t hi) { multiply_rows_in_place(a, lo, hi, o); },
      [&](std::int32_t lo, std::int32_t hi) { scale_rows(o, lo, hi); });
}

template <class T>
status mm_rows_blocked(const rows_in_order<T>& a,
                       const mm_operands<T>& o,
                       const T* store,
                       std::int32_t lo,
                       std::int32_t hi) {
  scale_rows(o, lo, hi);
  return cut_and_sweep(a, lo, hi, [&](const column_block<T>* blocks, std::int32_t count) {
    return sweep_rows(blocks, count, store, o.n, a.shape().cols, line_at(o.c, lo, o.ldc), o.ldc,
                      o.alpha);
  });
}

// The whole of B in panels, or in place.
template <class T>
status mm_rows_packed(const rows_in_order<T>& a, const mm_operands<T>& o, int budget) {
  const compressed_matrix<T>& shape = a.shape();
  const auto scaled = [&](status result) {
    dense_scale_lines(shape.rows, o.n, o.beta, o.c, o.ldc);
    return result;
  };
  if (!rows_are_long(shape)) {
    const bool room = probe_panel_store<T>(shape.cols, o.n);
    return room ? mm_rows_in_place(a, o, budget) : scaled(alloc_failed);
  }
  const scratch<T> store = panel_store<T>(shape.cols, o.n);
  if (!store) return scaled(alloc_failed);
  pack_rows_all(shape.cols, o.b, o.n, o.ldb, store.get());
  return for_row_parts(shape, budget, [&](std::int32_t lo, std::int32_t hi) {
    return mm_rows_blocked(a, o, store.get(), lo, hi);
  });
}

// One widest panel of B at a time, or B in place. Real types take beta on the way, complex ones
// scale C first.
template <class T>
status mm_rows_serial_chunked(const rows_in_order<T>& a, const mm_operands<T>& o) {
  constexpr std::int32_t chunk = mm_chunk<T>;
  const std::int32_t rows = a.shape().rows;
  const std::int32_t cols = a.shape().cols;
  if (!rows_are_long(a.shape())) {
    if (!probe_panel_store<T>(cols, chunk)) return alloc_failed;
    multiply_rows_in_place(a, 0, rows, o);
    return success;
  }
  const scratch<T> store = panel_store<T>(cols, chunk);
  if (!store) return alloc_failed;
  const compressed_matrix<T> block = a.take(0, rows);
  if constexpr (is_complex<T>) dense_scale_lines(rows, o.n, o.beta, o.c, o.ldc);
  for (std::int32_t j = 0; j < o.n; j += std::min(chunk, o.n - j)) {
    const std::int32_t width = std::min(chunk, o.n - j);
    pack_rows_all(cols, o.b + j, width, o.ldb, store.get());
    status swept = success;
    if constexpr (is_complex<T>) {
      swept = sweep_rows(&block, 1, store.get(), width, cols, o.c + j, o.ldc, o.alpha);
    } else {
      swept = sweep_rows_beta(&block, 1, store.get(), width, cols, o.c + j, o.ldc, o.alpha, o.beta);
    }
    if (swept != success) return swept;
  }
  return success;
}

}  // namespace

template <class T>
void dense_scale_lines(std::int32_t lines, std::int32_t length, T beta, T* c, std::int32_t ldc) {
  for_each_chunk_on_default_team(lines, [=](std::int32_t i) {
    dense_scale(length, line_at(c, i, ldc), beta);
  });
}

template <class T>
status mm_cols_parallel(const rows_in_order<T>& a, const mm_operands<T>& o) {
  const int budget = current_thread_budget();
  if (budget == 1) return mm_cols_serial(a, o);
  const compressed_matrix<T>& shape = a.shape();
  const scratch<T> store = panel_store<T>(shape.cols, o.n);
  if (!store) {
    dense_scale_lines(o.n, shape.rows, o.beta, o.c, o.ldc);
    return alloc_failed;
  }
  const bool blocked = rows_are_long(shape);
  const column_panels<T> panels(shape, o, store.get(), budget);
  if (blocked || panels.shared()) {
    const auto pack = blocked ? pack_cols_all<T> : pack_cols_chunks<T>;
    pack(shape.cols, o.b, o.n, o.ldb, store.get());
  }
  if (!blocked) return mm_cols_in_place(a, o, panels, budget);
  return for_row_parts(shape, budget, [&](std::int32_t lo, std::int32_t hi) {
    return mm_cols_blocked(a, o, store.get(), lo, hi);
  });
}

template <class T>
status mm_cols_serial(const rows_in_order<T>& a, const mm_operands<T>& o) {
  const compressed_matrix<T>& shape = a.shape();
  const scratch<T> store = panel_store<T>(shape.cols, o.n);
  if (!store) {
    dense_scale_lines(o.n, shape.rows, o.beta, o.c, o.ldc);
    return alloc_failed;
  }
  const column_panels<T> panels(shape, o, store.get(), 1);
  if (shape.cols <= mm_block_cols) {
    multiply_columns_in_place(a, 0, shape.rows, o, panels);
    return success;
  }
  if (!rows_are_long(shape)) return mm_cols_in_place(a, o, panels, 1);
  pack_cols_all(shape.cols, o.b, o.n, o.ldb, store.get());
  return mm_cols_blocked(a, o, store.get(), 0, shape.rows);
}

template <class T>
status mm_rows_parallel(const rows_in_order<T>& a, const mm_operands<T>& o) {
  const int budget = current_thread_budget();
  const compressed_matrix<T>& shape = a.shape();
  if (budget == 1) {
    if (shape.sorted != 0) return mm_rows_serial(a, o);
    sorted_rows<T> sorted;
    const status result = sorted.sort_when_taken(shape);
    return result != success ? result : mm_rows_serial(sorted.in_order(), o);
  }
  if (!rows_go_direct(shape.rows, shape.cols, csr_entries(shape), budget)) {
    return mm_rows_packed(a, o, budget);
  }
  return for_row_parts(shape, budget, [&](std::int32_t lo, std::int32_t hi) {
    mm_rows_direct(a, lo, hi, o);
    return status{success};
  });
}

template <class T>
status mm_rows_serial(const rows_in_order<T>& a, const mm_operands<T>& o) {
  const compressed_matrix<T>& shape = a.shape();
  if (rows_go_direct(shape.rows, shape.cols, csr_entries(shape), 1)) {
    mm_rows_direct(a, 0, shape.rows, o);
    return success;
  }
  return shape.cols > mm_block_cols ? mm_rows_packed(a, o, 1) : mm_rows_serial_chunked(a, o);
}

#define NEVRAD_INSTANTIATE_ONE(name, T) \
  template status name(const rows_in_order<T>&, const mm_operands<T>&);
#define NEVRAD_INSTANTIATE(letter, T)                                               \
  template void dense_scale_lines(std::int32_t, std::int32_t, T, T*, std::int32_t); \
  NEVRAD_INSTANTIATE_ONE(mm_cols_parallel, T)                                       \
  NEVRAD_INSTANTIATE_ONE(mm_cols_serial, T)                                         \
  NEVRAD_INSTANTIATE_ONE(mm_rows_parallel, T)                                       \
  NEVRAD_INSTANTIATE_ONE(mm_rows_serial, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
