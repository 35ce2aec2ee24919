// Triangular products on row storage.
#include "mv/triangular.h"

#include "matrix/transpose.h"
#include "mv/chunked.h"
#include "mv/triangular_lines.h"

namespace nevrad {

namespace {

template <class T>
using tri_row_kernel = void (*)(const T& alpha,
                                const compressed_view<T>& a,
                                const T* x,
                                const T& beta,
                                T* y,
                                std::int32_t row_begin,
                                std::int32_t row_end);

template <class T>
status tri_mv_driver(const compressed_view<T>& a,
                     const T* x,
                     T* y,
                     tri_row_kernel<T> rows,
                     T alpha,
                     T beta) {
  const int budget = current_thread_budget();
  if (budget < 2) {
    rows(alpha, a, x, beta, y, 0, a.rows);
    return success;
  }
  const auto parts = static_cast<std::uint64_t>(budget);
  const scratch<std::int32_t> chunks(plain_alloc((parts + 1) * sizeof(std::int32_t)));
  if (!chunks) return alloc_failed;
  const std::int32_t n = partition_by_fours(a.rows, budget, chunks.get());
  for_each_chunk_on_default_team(n, [&](int c) {
    rows(alpha, a, x, beta, y, chunks[c], chunks[c + 1]);
  });
  return success;
}

}  // namespace

template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return tri_mv_driver(a, x, y, tri_mv_rows<Side, Ones, T>, alpha, beta);
}

template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  compressed_view<T> by_columns;
  csr_view_as_csc(&a, &by_columns);
  tri_mv_columns_driver<opposite(Side), Ones>(by_columns, x, y, alpha, beta);
  return success;
}

template <triangle Side, diagonal Ones, class T>
status tri_mv_rows_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  compressed_view<T> by_columns;
  csr_view_as_csc(&a, &by_columns);
  constexpr line_kernel<T> tri_mv_lines_conj =
      tri_mv_lines_scatter<Side, Ones, conjugation::yes, complex_sum::separate, origin::base, T>;
  return chunked_mv_driver(by_columns, x, y, tri_mv_lines_conj, alpha, beta);
}

#define NEVRAD_INSTANTIATE_KERNEL(T, kernel)                                                       \
  template status kernel<triangle::lower, diagonal::stored>(const compressed_view<T>&, const T*,   \
                                                            T*, T, T);                             \
  template status kernel<triangle::lower, diagonal::unit>(const compressed_view<T>&, const T*, T*, \
                                                          T, T);                                   \
  template status kernel<triangle::upper, diagonal::stored>(const compressed_view<T>&, const T*,   \
                                                            T*, T, T);                             \
  template status kernel<triangle::upper, diagonal::unit>(const compressed_view<T>&, const T*, T*, \
                                                          T, T);
#define NEVRAD_INSTANTIATE(letter, T)              \
  NEVRAD_INSTANTIATE_KERNEL(T, tri_mv_rows_driver) \
  NEVRAD_INSTANTIATE_KERNEL(T, tri_mv_rows_transposed)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T) NEVRAD_INSTANTIATE_KERNEL(T, tri_mv_rows_conj_transposed)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_KERNEL

}  // namespace nevrad
