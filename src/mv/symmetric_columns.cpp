#include "mv/column_walk.h"
#include "mv/symmetric.h"
#include "mv/symmetric_lines.h"
#include "mv/thread_vectors.h"
#include "mv/vectors.h"

namespace nevrad {

namespace {

// Adds the diagonal term of column c to v and returns what lies on the kept side of it. A diagonal
// of ones was added to y beforehand, so that a stored one is dropped here.
template <sym_mode Mode, diagonal Ones, class T>
NEVRAD_INLINE column_segment
diag_step(const compressed_view<T>& a, std::int32_t c, const T* x, T* v, T alpha) {
  constexpr bool upper = side_of(Mode) == triangle::upper;
  const column_segment column = column_at(a, c);
  const std::int32_t target = c + a.base;
  std::int64_t p = find_not_below<side_of(Mode)>(a.indices, column, target);
  const bool found = p < column.last && a.indices[p] == target;
  if constexpr (Ones == diagonal::stored) {
    if (found) {
      const T element = conj_if<terms_of(Mode).diagonal>(a.values[p]);
      v[c] = multiply_add(v[c], multiply_fused(element, alpha), x[c]);
    }
  } else if constexpr (upper) {
    if (p > column.first && a.indices[p - 1] == target) --p;
  }
  if constexpr (upper) return {column.first, p};
  return {found ? p + 1 : p, column.last};
}

// v_c += alpha (a_c . x), v += alpha x_c a_c over the kept side of column c: mirrored terms in a
// first sweep, gathered ones in a second.
template <sym_mode Mode, diagonal Ones, class T>
void sym_mv_column(const compressed_view<T>& a, std::int32_t c, const T* x, T* v, T alpha) {
  const column_segment segment = diag_step<Mode, Ones>(a, c, x, v, alpha);
  if (segment.empty()) return;
  scatter_segment<terms_of(Mode).mirror>(a, segment, v, multiply_fused(x[c], alpha));
  v[c] = multiply_add(v[c], alpha, gather_segment<terms_of(Mode).gather>(a, segment, x));
}

// Columns are handed out in ascending order, but in a Hermitian lower triangle from the last down.
template <sym_mode Mode, class Body>
void for_each_column_on_team(int budget, std::int32_t columns, const Body& body) {
  if constexpr (side_of(Mode) == triangle::upper) {
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, columns, body);
  } else if constexpr (!is_hermitian(Mode)) {
    for_each_dispatched_on_team<dispatch::dynamic, 8>(budget, columns, body);
  } else {
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, columns,
                                                     [&](int thread, std::int32_t i) {
                                                       body(thread, columns - 1 - i);
                                                     });
  }
}

}  // namespace

template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_columns_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const int budget = current_thread_budget();
  const std::int32_t rows = a.rows;
  prepare_y_on_team<Ones>(budget, rows, x, y, alpha, beta);
  const thread_vectors<T> vectors = thread_vectors_alloc<T>(budget, rows);
  if (!vectors) return alloc_failed;
  for_each_column_on_team<Mode>(budget, rows, [&](int thread, std::int32_t c) {
    sym_mv_column<Mode, Ones>(a, c, x, vectors[thread], alpha);
  });
  add_thread_vectors(budget, rows, y, vectors);
  return success;
}

template <sym_mode Mode, diagonal Ones, class T>
status sym_mv_short_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  if (current_thread_budget() >= 2) {
    return sym_mv_columns_driver<Mode, Ones>(a, x, y, alpha, beta);
  }
  sym_mv_all_lines<column_form(Mode, Ones)>(alpha, a, x, beta, y);
  return success;
}

#define NEVRAD_INSTANTIATE_FORM(T, mode, ones)                                                     \
  template status sym_mv_columns_driver<sym_mode::mode, diagonal::ones>(const compressed_view<T>&, \
                                                                        const T*, T*, T, T);       \
  template status sym_mv_short_columns<sym_mode::mode, diagonal::ones>(const compressed_view<T>&,  \
                                                                       const T*, T*, T, T);
#define NEVRAD_INSTANTIATE_MODE(T, mode)   \
  NEVRAD_INSTANTIATE_FORM(T, mode, stored) \
  NEVRAD_INSTANTIATE_FORM(T, mode, unit)
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
#undef NEVRAD_INSTANTIATE_FORM

}  // namespace nevrad
