// The driver of products whose line kernels add to a vector and apply alpha themselves.
#pragma once

#include "mv/vectors.h"

#include "matrix/record.h"

namespace nevrad {

// Adds lines line_begin up to but excluding line_end to y, which may be a private vector.
template <class T>
using line_kernel = void (*)(const T& alpha,
                             const compressed_view<T>& a,
                             const T* x,
                             T* y,
                             std::int32_t line_begin,
                             std::int32_t line_end);

// y = beta y plus what the kernel makes of all lines of a square matrix. On one thread y is scaled
// and the kernel runs on it. Otherwise chunks of lines run on the default team into vectors of
// their own, which are added to beta y in ascending order. Answers 2, with y untouched, when the
// scratch of budget * cols elements cannot be had.
template <class T>
status chunked_mv_driver(const compressed_view<T>& a,
                         const T* x,
                         T* y,
                         line_kernel<T> lines,
                         T alpha,
                         T beta) {
  const int budget = current_thread_budget();
  if (budget < 2) {
    dense_scale(a.rows, y, beta);
    lines(alpha, a, x, y, 0, a.rows);
    return success;
  }
  const std::int32_t count = a.cols;
  chunk_vectors<T> vectors;
  if (vectors.allocate(count, budget) != success) return alloc_failed;
  const std::int32_t n = partition_by_fours(count, budget, vectors.bounds.get());
  for_each_chunk_on_default_team(n, [&](int c) {
    lines(alpha, a, x, vectors.cleared(c), vectors.bounds[c], vectors.bounds[c + 1]);
  });
  for_static_blocks_on_team(n, a.rows, [&](std::int32_t first, std::int32_t last) {
    dense_scale(last - first, y + first, beta);
    add_vectors(first, last, y, n, vectors);
  });
  return success;
}

}  // namespace nevrad
