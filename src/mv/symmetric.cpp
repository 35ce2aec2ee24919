#include "mv/symmetric.h"

#include "mv/chunked.h"
#include "mv/symmetric_lines.h"

namespace nevrad {

namespace {

template <mirror_form Form, class T>
status sym_mv_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const int budget = current_thread_budget();
  const std::int32_t rows = a.rows;
  if (budget < 2) {
    sym_mv_all_lines<Form>(alpha, a, x, beta, y);
    return success;
  }
  chunk_vectors<T> vectors;
  if (vectors.allocate(rows, budget) != success) return alloc_failed;
  scale_on_team(budget, rows, y, beta);
  const std::int32_t n = partition_by_fours(rows, budget, vectors.bounds.get());
  for_each_chunk_on_default_team(n, [&](int c) {
    sym_mv_lines<Form>(alpha, a, x, vectors.cleared(c), vectors.bounds[c], vectors.bounds[c + 1]);
  });
  for_static_blocks_on_team(budget, rows, [&](std::int32_t first, std::int32_t last) {
    add_vectors(first, last, y, n, vectors);
  });
  return success;
}

}  // namespace

template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_rows(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  return sym_mv_driver<row_form(Mode, Ones)>(a, x, y, alpha, beta);
}

#define NEVRAD_INSTANTIATE_MODE(T, mode)                                                           \
  template status sym_mv_rows<sym_mode::mode, diagonal::stored>(const compressed_view<T>&,         \
                                                                const T*, T*, T, T);               \
  template status sym_mv_rows<sym_mode::mode, diagonal::unit>(const compressed_view<T>&, const T*, \
                                                              T*, T, T);
#define NEVRAD_INSTANTIATE(letter, T)         \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_upper) \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_lower)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                    \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_upper_conjugated) \
  NEVRAD_INSTANTIATE_MODE(T, symmetric_lower_conjugated) \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_upper)            \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_lower)            \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_upper_transposed) \
  NEVRAD_INSTANTIATE_MODE(T, hermitian_lower_transposed)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_MODE

}  // namespace nevrad
