#include "mm/diagonal.h"

#include "frame/checks.h"
#include "frame/regions.h"
#include "mm/diagonal_lines.h"

#include <algorithm>

namespace nevrad {

namespace {

// Lines of `length` elements, as many as a split has to cut.
template <class T>
dense_lines<T> lines_of(const mm_operands<T>& o, std::int32_t length) {
  return {length, o.b, o.ldb, o.c, o.ldc, o.beta};
}

// Room for the diagonal, not needed by rows, nor for a matrix that holds nothing else. Untouched,
// it costs nothing.
template <class T>
scratch<T> diag_room(const compressed_matrix<T>& a) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(a.rows);
  return scratch<T>(rounded_aligned_alloc(cache_line, bytes));
}

// alpha * A(i, i), or its conjugate's product.
template <conjugation C, class T>
struct scaled_diagonal {
  const compressed_matrix<T>& a;
  T alpha;
  NEVRAD_INLINE T operator()(std::int32_t i) const {
    T found = zero<T>();
    const std::int32_t last = a.end[i] - a.base;
    for (std::int32_t p = a.begin[i] - a.base; p < last; ++p) {
      if (a.indices[p] - a.base == i) found = multiply_fused(alpha, conj_if<C>(a.values[p]));
    }
    return found;
  }
};

// One entry a line, on the diagonal: the values are the diagonal. Lines lo to hi - 1.
template <class T>
bool holds_just_its_diagonal(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  std::int32_t other = a.end[hi - 1] ^ (hi + a.base);
  for (std::int32_t i = lo; i < hi; ++i) other |= (a.begin[i] ^ (i + a.base));
  if (other != 0) return false;
  for (std::int32_t i = lo; i < hi; ++i) other |= (a.indices[i] ^ (i + a.base));
  return other == 0;
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

template <class T>
status split_unit(std::int32_t count, const dense_lines<T>& lines, T alpha) {
  if (check_two_pointers(lines.b, lines.c) != success) return null_pointer;
  return split_lines(count, [&](std::int32_t first, std::int32_t last) {
    unit_update(lines, first, last, alpha);
  });
}

// Whether the caller's thread does it all, whatever the budget is, or chunks of the lines are
// shared.
enum class sharing : bool { none, chunks };

template <sharing Shared, class Update>
status run_diag(std::int32_t count, const Update& update) {
  if constexpr (Shared == sharing::chunks) return split_lines(count, update);
  update(0, count);
  return success;
}

template <sharing Shared, conjugation C, class T>
status diag_cols(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  const scratch<T> room = diag_room(a);
  if (!room) return alloc_failed;
  const scaled_diagonal<C, T> diag{a, dense.alpha};
  const dense_lines<T> lines = lines_of(dense, a.rows);
  if (!(is_complex<T> && C == conjugation::yes) && holds_just_its_diagonal(a, 0, a.rows)) {
    return run_diag<Shared>(dense.n, [&](std::int32_t first, std::int32_t last) {
      diag_update_cols(lines, diag_scaled<T>{a.values, dense.alpha}, first, last);
    });
  }
  const int team = Shared == sharing::chunks ? current_thread_budget() : 1;
  for_static_blocks_on_team(team, a.rows, [&](std::int32_t first, std::int32_t last) {
    for (std::int32_t i = first; i < last; ++i) room[i] = diag(i);
  });
  return run_diag<Shared>(dense.n, [&](std::int32_t first, std::int32_t last) {
    diag_update_cols(lines, diag_array<T>{room.get()}, first, last);
  });
}

template <sharing Shared, conjugation C, class T>
status diag_rows(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  const scratch<T> room = diag_room(a);
  if (!room) return alloc_failed;
  const scaled_diagonal<C, T> diag{a, dense.alpha};
  const dense_lines<T> lines = lines_of(dense, dense.n);
  constexpr std::int32_t at_once = 512;
  const auto value = [&](std::int32_t i) {
    // What the next rows hold comes in evenly with the lines of these.
    constexpr auto words = static_cast<std::int32_t>(cache_line / sizeof(std::int32_t));
    if (!fixed_hints && i % words == 0) {
      prefetch<cache::level1>(a.begin + i, at_once * sizeof(std::int32_t));
      prefetch<cache::level1>(a.indices + i, at_once * sizeof(std::int32_t));
    }
    return multiply_fused(dense.alpha, conj_if<C>(a.values[i]));
  };
  // Some rows at a time, so that what they hold is looked at while their lines come in.
  return run_diag<Shared>(a.rows, [&](std::int32_t first, std::int32_t last) {
    for (std::int32_t i = first; i < last; i += at_once) {
      const std::int32_t stop = i + std::min(at_once, last - i);
      if (holds_just_its_diagonal(a, i, stop)) {
        diag_update_rows(lines, value, i, stop);
      } else {
        diag_update_rows(lines, diag, i, stop);
      }
    }
  });
}

}  // namespace

template <class T>
status diag_mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_cols<sharing::none, conjugation::no>(a, dense);
}

template <class T>
status diag_mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_rows<sharing::none, conjugation::no>(a, dense);
}

template <class T>
status unit_mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  unit_update(lines_of(dense, a.rows), 0, dense.n, dense.alpha);
  return success;
}

template <class T>
status unit_mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  unit_update(lines_of(dense, dense.n), 0, a.rows, dense.alpha);
  return success;
}

template <conjugation C, class T>
status diag_mm_cols_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_cols<sharing::chunks, C>(a, dense);
}

template <conjugation C, class T>
status diag_mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_rows<sharing::chunks, C>(a, dense);
}

template <class T>
status unit_mm_cols_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return split_unit(dense.n, lines_of(dense, a.rows), dense.alpha);
}

template <class T>
status unit_mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return split_unit(a.rows, lines_of(dense, dense.n), dense.alpha);
}

#define NEVRAD_INSTANTIATE_ONE(name, T) \
  template status name(const compressed_matrix<T>&, const mm_operands<T>&);
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
