#include "mm/diagonal.h"

#include "frame/checks.h"
#include "frame/regions.h"
#include "mm/diagonal_lines.h"

namespace nevrad {

namespace {

template <class T>
using diag_update = void (*)(const dense_lines<T>& lines,
                             const T* diag_values,
                             std::int32_t lo,
                             std::int32_t hi);

// Lines of `length` elements, as many as a split has to cut.
template <class T>
dense_lines<T> lines_of(const mm_operands<T>& o, std::int32_t length) {
  return {length, o.b, o.ldb, o.c, o.ldc, o.beta};
}

template <class T>
scratch<T> diag_array(const compressed_matrix<T>& a) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(a.rows);
  return scratch<T>(rounded_aligned_alloc(cache_line, bytes));
}

// diag_values[i] = alpha * A(i, i), or its conjugate's product, for lines first to last - 1.
template <conjugation C, class T>
void diag_collect(const compressed_matrix<T>& a,
                  T alpha,
                  T* diag_values,
                  std::int32_t first,
                  std::int32_t last) {
  for (std::int32_t i = first; i < last; ++i) {
    T found = zero<T>();
    for (std::int32_t p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      if (a.indices[p] - a.base == i) found = multiply_fused(alpha, conj_if<C>(a.values[p]));
    }
    diag_values[i] = found;
  }
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

// `count` lines. Answers 1 for a null.
template <class T>
status split_diag(std::int32_t count,
                  const dense_lines<T>& lines,
                  const T* diag_values,
                  diag_update<T> update) {
  if (check_three_pointers(lines.b, lines.c, diag_values) != success || update == nullptr) {
    return null_pointer;
  }
  return split_lines(count, [&](std::int32_t first, std::int32_t last) {
    update(lines, diag_values, first, last);
  });
}

template <class T>
status split_unit(std::int32_t count, const dense_lines<T>& lines, T alpha) {
  if (check_two_pointers(lines.b, lines.c) != success) return null_pointer;
  return split_lines(count, [&](std::int32_t first, std::int32_t last) {
    unit_update(lines, first, last, alpha);
  });
}

template <class T>
status diag_serial(const compressed_matrix<T>& a,
                   std::int32_t count,
                   const dense_lines<T>& lines,
                   T alpha,
                   diag_update<T> update) {
  const scratch<T> diag_values = diag_array(a);
  if (!diag_values) return alloc_failed;
  diag_collect<conjugation::no>(a, alpha, diag_values.get(), 0, a.rows);
  update(lines, diag_values.get(), 0, count);
  return success;
}

template <conjugation C, class T>
status diag_parallel(const compressed_matrix<T>& a,
                     std::int32_t count,
                     const dense_lines<T>& lines,
                     T alpha,
                     diag_update<T> update) {
  const scratch<T> diag_values = diag_array(a);
  if (!diag_values) return alloc_failed;
  for_static_blocks_on_team(current_thread_budget(), a.rows,
                            [&](std::int32_t first, std::int32_t last) {
                              diag_collect<C>(a, alpha, diag_values.get(), first, last);
                            });
  return split_diag(count, lines, diag_values.get(), update);
}

}  // namespace

template <class T>
status diag_mm_cols_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_serial(a, dense.n, lines_of(dense, a.rows), dense.alpha, diag_update_cols<T>);
}

template <class T>
status diag_mm_rows_serial(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_serial(a, a.rows, lines_of(dense, dense.n), dense.alpha, diag_update_rows<T>);
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
  return diag_parallel<C>(a, dense.n, lines_of(dense, a.rows), dense.alpha, diag_update_cols<T>);
}

template <conjugation C, class T>
status diag_mm_rows_parallel(const compressed_matrix<T>& a, const mm_operands<T>& dense) {
  return diag_parallel<C>(a, a.rows, lines_of(dense, dense.n), dense.alpha, diag_update_rows<T>);
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
