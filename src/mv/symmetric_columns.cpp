#include "frame/dispatched_chunks.h"
#include "mv/column_blocks.h"
#include "mv/symmetric.h"
#include "mv/symmetric_lines.h"
#include "mv/thread_vectors.h"
#include "mv/vectors.h"

namespace nevrad {

namespace {

// v_c += alpha (a_c . x), v += alpha x_c a_c over the kept side of column c: mirrored terms in a
// first sweep, gathered ones in a second. The diagonal comes ahead of both; ones were added to y
// beforehand.
template <sym_mode Mode, diagonal Ones, class T>
void sym_mv_column(const compressed_view<T>& a, std::int32_t c, const T* x, T* v, T alpha) {
  const auto [segment, on_diagonal] = kept_of_column<side_of(Mode), Ones>(a, c);
  if (on_diagonal != nullptr) {
    const T element = conj_if<terms_of(Mode).diagonal>(*on_diagonal);
    v[c] = multiply_add(v[c], multiply_fused(element, alpha), x[c]);
  }
  if (segment.empty()) return;
  scatter_segment<terms_of(Mode).mirror>(a, segment, v, multiply_fused(x[c], alpha));
  v[c] = multiply_add(v[c], alpha, gather_segment<terms_of(Mode).gather>(a, segment, x));
}

// Columns first to last - 1, for one thread after the other range.
template <sym_mode Mode, diagonal Ones, class T>
class column_worker {
 public:
  column_worker(const compressed_view<T>& a, const T* x, T* v, const T& alpha)
      : a_(a), x_(x), v_(v), alpha_(alpha) {}

  [[gnu::noinline]] void operator()(std::int32_t first, std::int32_t last) {
    const auto one_column = [&](std::int32_t c) {
      sym_mv_column<Mode, Ones>(a_, c, x_, v_, alpha_);
    };
    if constexpr (is_complex<T>) {
      for (std::int32_t c = first; c < last; ++c) one_column(c);
    } else {
      sym_mv_columns_in_blocks<Mode, Ones>(a_, first, last, x_, v_, alpha_, known_, one_column);
    }
  }

 private:
  const compressed_view<T>& a_;
  const T* x_;
  T* v_;
  const T& alpha_;
  column_shapes known_;
};

// Columns are handed out in ascending order, but in a Hermitian lower triangle from the last down.
template <sym_mode Mode, diagonal Ones, class T>
void for_each_column_on_team(int budget,
                             const compressed_view<T>& a,
                             const T* x,
                             const thread_vectors<T>& vectors,
                             const T& alpha) {
  constexpr bool descending = side_of(Mode) == triangle::lower && is_hermitian(Mode);
  const auto worker = [&](int thread) {
    return column_worker<Mode, Ones, T>(a, x, vectors[thread], alpha);
  };
  const auto one_column = [&](int thread, std::int32_t c) {
    sym_mv_column<Mode, Ones>(a, c, x, vectors[thread], alpha);
  };
  if constexpr (descending) {
    const auto from_last = [&](int thread, std::int32_t i) { one_column(thread, a.rows - 1 - i); };
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, a.rows, from_last);
  } else if (budget < 2) {
    worker(0)(0, a.rows);
  } else if constexpr (side_of(Mode) == triangle::upper) {
    for_each_dispatched_on_team<dispatch::guided, 1>(budget, a.rows, one_column);
  } else {
    for_each_dispatched_chunk_on_team<8>(budget, a.rows, worker);
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
  for_each_column_on_team<Mode, Ones>(budget, a, x, vectors, alpha);
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
