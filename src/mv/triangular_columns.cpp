// Triangular products on column storage.
#include "mv/column_walk.h"
#include "mv/triangular.h"
#include "mv/triangular_lines.h"
#include "mv/vectors.h"

namespace nevrad {

namespace {

// The entries of column c that belong to the triangle; a stored diagonal is dropped where ones are
// told.
template <triangle Side, diagonal Ones, class T>
NEVRAD_INLINE column_segment triangle_of(const compressed_view<T>& a, std::int32_t c) {
  const std::int32_t target = c + a.base;
  column_segment segment = column_at(a, c);
  if constexpr (Side == triangle::lower) {
    segment.first = find_not_below<Side>(a.indices, segment, target);
    if constexpr (Ones == diagonal::unit) {
      if (!segment.empty() && a.indices[segment.first] == target) ++segment.first;
    }
  } else {
    segment.last = find_not_below<Side>(a.indices, segment, target + 1);
    if constexpr (Ones == diagonal::unit) {
      if (!segment.empty() && a.indices[segment.last - 1] == target) --segment.last;
    }
  }
  return segment;
}

template <triangle Side, diagonal Ones, class T>
NEVRAD_INLINE void tri_mv_column(const compressed_view<T>& a,
                                 std::int32_t c,
                                 const T* x,
                                 T* v,
                                 T alpha) {
  const column_segment segment = triangle_of<Side, Ones>(a, c);
  if (segment.empty()) return;
  scatter_segment<conjugation::no>(a, segment, v, multiply_fused(x[c], alpha));
}

template <triangle Side, diagonal Ones, conjugation C, class T>
void tri_mv_dot(const compressed_view<T>& a, std::int32_t c, const T* x, T* y, T alpha, T beta) {
  const T scaled = multiply_fused(y[c], beta);
  T sum = gather_segment<C>(a, triangle_of<Side, Ones>(a, c), x);
  if constexpr (Ones == diagonal::unit) sum = add(x[c], sum);
  y[c] = multiply_add(scaled, alpha, sum);
}

// Stored entries above which the columns of a lower triangle are handed out in blocks of one size.
constexpr std::int32_t most_entries_guided = 1999999;

template <triangle Side, class T, class Body>
void for_each_scattered_column_on_team(int budget, const compressed_view<T>& a, const Body& body) {
  if constexpr (Side == triangle::upper) {
    for_each_dispatched_on_team<dispatch::guided, 8>(budget, a.cols, body);
  } else if (csc_entries(a) > most_entries_guided) {
    for_each_dispatched_on_team<dispatch::dynamic, 1024>(budget, a.cols, body);
  } else {
    for_each_dispatched_on_team<dispatch::guided, 4>(budget, a.cols, body);
  }
}

// Without a call for each of the columns, which may be short.
template <triangle Side, diagonal Ones, class T>
[[gnu::noinline]] void tri_mv_all_columns(const compressed_view<T>& at, const T* x, T* v, T alpha) {
  const compressed_view<T> a = at;
  const auto one_column = [&](std::int32_t c) { tri_mv_column<Side, Ones>(a, c, x, v, alpha); };
  if constexpr (is_complex<T>) {
    for (std::int32_t c = 0; c < a.cols; ++c) one_column(c);
  } else {
    const auto factors = [&](std::int32_t c) {
      return multiply_fused(load<4>(x + c), broadcast<4>(to_lane(alpha)));
    };
    const auto nothing = [](std::int32_t) {};
    scatter_in_blocks<kept_on(opposite(Side), Ones)>(
        a, a.base, v, 0, a.cols, half_hints<scatter_pass_hints<conjugation::no>>{}, factors,
        nothing, nothing, one_column);
  }
}

// On one thread. A prepared y that is all +0 is as good as the cleared vector: columns are
// scattered into it, and the sums with it then only turn a -0. The vector is still asked for, as a
// call that cannot have it fails, but no page of it is touched.
template <triangle Side, diagonal Ones, class T>
status tri_mv_columns_on_caller(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const bool is_zero = prepare_y<Ones>(0, a.cols, x, y, alpha, beta);
  const thread_vectors<T> vectors =
      thread_vectors_alloc<T>(1, a.cols, is_zero ? clearing::no : clearing::yes);
  if (!vectors) return alloc_failed;
  if (is_zero) {
    tri_mv_all_columns<Side, Ones>(a, x, y, alpha);
    for (std::int32_t i = 0; i < a.cols; ++i) y[i] = add(zero<T>(), y[i]);
  } else {
    tri_mv_all_columns<Side, Ones>(a, x, vectors[0], alpha);
    add_thread_vectors(1, a.cols, y, vectors);
  }
  return success;
}

}  // namespace

template <triangle Side, diagonal Ones, class T>
status tri_mv_columns_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const int budget = current_thread_budget();
  if (budget < 2) return tri_mv_columns_on_caller<Side, Ones>(a, x, y, alpha, beta);
  prepare_y_on_team<Ones>(budget, a.cols, x, y, alpha, beta);
  const thread_vectors<T> vectors = thread_vectors_alloc<T>(budget, a.cols);
  if (!vectors) return alloc_failed;
  for_each_scattered_column_on_team<Side>(budget, a, [&](int thread, std::int32_t c) {
    tri_mv_column<Side, Ones>(a, c, x, vectors[thread], alpha);
  });
  add_thread_vectors(budget, a.cols, y, vectors);
  return success;
}

template <triangle Side, diagonal Ones, conjugation C, class T>
status tri_mv_dots_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const auto dot = [&](int /*thread*/, std::int32_t c) {
    tri_mv_dot<Side, Ones, C>(a, c, x, y, alpha, beta);
  };
  // No column depends on another, so the result does not show the schedule. Handing out blocks of
  // one size keeps breaking both threads' streams: slower than one thread.
  for_each_dispatched_on_team<dispatch::guided, 8>(current_thread_budget(), a.cols, dot);
  return success;
}

template <triangle Side, diagonal Ones, class T>
status tri_mv_short_columns(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  if (current_thread_budget() >= 2) {
    tri_mv_columns_driver<Side, Ones>(a, x, y, alpha, beta);
    return success;
  }
  dense_scale(a.rows, y, beta);
  tri_mv_lines_scatter<opposite(Side), Ones, conjugation::no, complex_sum::rotated,
                       origin::first_begin>(alpha, a, x, y, 0, a.cols);
  return success;
}

template <triangle Side, diagonal Ones, conjugation C, class T>
status tri_mv_short_dots(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  if (current_thread_budget() >= 2) return tri_mv_dots_driver<Side, Ones, C>(a, x, y, alpha, beta);
  dense_scale(a.rows, y, beta);
  tri_mv_lines_gather<opposite(Side), Ones, C>(alpha, a, x, y, 0, a.cols);
  return success;
}

#define NEVRAD_INSTANTIATE_FORM(T, ...) \
  template status __VA_ARGS__(const compressed_view<T>&, const T*, T*, T, T);
#define NEVRAD_INSTANTIATE_DOTS(T, side, ones, c)               \
  NEVRAD_INSTANTIATE_FORM(T, tri_mv_dots_driver<side, ones, c>) \
  NEVRAD_INSTANTIATE_FORM(T, tri_mv_short_dots<side, ones, c>)
#define NEVRAD_INSTANTIATE_COLUMNS(T, side, ones)               \
  NEVRAD_INSTANTIATE_FORM(T, tri_mv_columns_driver<side, ones>) \
  NEVRAD_INSTANTIATE_FORM(T, tri_mv_short_columns<side, ones>)  \
  NEVRAD_INSTANTIATE_DOTS(T, side, ones, conjugation::no)
#define NEVRAD_INSTANTIATE(letter, T)                              \
  NEVRAD_INSTANTIATE_COLUMNS(T, triangle::lower, diagonal::stored) \
  NEVRAD_INSTANTIATE_COLUMNS(T, triangle::lower, diagonal::unit)   \
  NEVRAD_INSTANTIATE_COLUMNS(T, triangle::upper, diagonal::stored) \
  NEVRAD_INSTANTIATE_COLUMNS(T, triangle::upper, diagonal::unit)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                             \
  NEVRAD_INSTANTIATE_DOTS(T, triangle::lower, diagonal::stored, conjugation::yes) \
  NEVRAD_INSTANTIATE_DOTS(T, triangle::lower, diagonal::unit, conjugation::yes)   \
  NEVRAD_INSTANTIATE_DOTS(T, triangle::upper, diagonal::stored, conjugation::yes) \
  NEVRAD_INSTANTIATE_DOTS(T, triangle::upper, diagonal::unit, conjugation::yes)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_COLUMNS
#undef NEVRAD_INSTANTIATE_DOTS
#undef NEVRAD_INSTANTIATE_FORM

}  // namespace nevrad
