#include "spsp/product.h"

#include "frame/regions.h"
#include "spsp/product_rows.h"

namespace nevrad {

namespace {

// The constructors of dependent types write through these pointers; lint does not see it.
// NOLINTBEGIN(readability-non-const-parameter)
template <class T>
status one_pass_ascending(const compressed_matrix<T>& A,
                          const compressed_matrix<T>& B,
                          T* c,
                          std::int32_t* jc,
                          std::int32_t* ic,
                          std::int32_t* marker,
                          T* work,
                          std::int32_t nzmax) {
  dense_row<T> row(B.cols, marker, work);
  std::int64_t pos = 0;
  for (std::int32_t i = 0; i < A.rows; ++i) {
    row.csrmultcsr_accumulate_row(A, i, B);
    pos = row.write(B.base, c, jc, pos, nzmax);
    if (pos < 0) return invalid_value;
    ic[i + 1] = static_cast<std::int32_t>(B.base + pos);
  }
  return success;
}

template <class T>
status one_pass_by_first_touch(const compressed_matrix<T>& A,
                               const compressed_matrix<T>& B,
                               T* c,
                               std::int32_t* jc,
                               std::int32_t* ic,
                               std::int32_t* marker,
                               std::int32_t nzmax) {
  // Room for the length of a row, which is kept elsewhere: the call still fails where it did when
  // this memory is not to be had.
  const scratch<std::int32_t> found(rounded_aligned_alloc(cache_line, sizeof(std::int32_t)));
  if (!found) return alloc_failed;
  first_touch_rows<T> rows(B, marker, c, jc);
  std::int64_t pos = 0;
  for (std::int32_t i = 0; i < A.rows; ++i) {
    pos = rows.csrmultcsr_accumulate_row_list(A, i, pos, nzmax);
    if (pos < 0) return invalid_value;
    ic[i + 1] = static_cast<std::int32_t>(B.base + pos);
  }
  return success;
}

// NOLINTEND(readability-non-const-parameter)

template <class T>
scratch<T> dense_rows(std::uint64_t size) {
  return scratch<T>(rounded_aligned_alloc(cache_line, size));
}

template <class T>
status csrmultcsr_one_pass(const compressed_matrix<T>& A,
                           const compressed_matrix<T>& B,
                           T* c,
                           std::int32_t* jc,
                           std::int32_t* ic,
                           std::int32_t* marker,
                           std::int32_t nzmax) {
  const auto work = dense_rows<T>(sizeof(T) * static_cast<std::uint64_t>(B.cols));
  if (!work) return alloc_failed;
  ic[0] = B.base;
  if (nzmax < first_touch_from) {
    return one_pass_ascending(A, B, c, jc, ic, marker, work.get(), nzmax);
  }
  return one_pass_by_first_touch(A, B, c, jc, ic, marker, nzmax);
}

}  // namespace

template <class T>
status csrmultcsr_driver(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax) {
  const int budget = current_thread_budget();
  if (budget == 1) return csrmultcsr_serial(request, A, B, c, jc, ic, nzmax);

  const scratch<std::int32_t> part = alloc_bounds(budget);
  if (!part) return alloc_failed;
  const std::int32_t count = partition_by_fours(A.rows, budget, part.get());
  const auto cols = static_cast<std::uint64_t>(B.cols);
  const auto chunks = static_cast<std::uint64_t>(count);
  std::uint64_t work_size = 0;
  if (checked_multiply(cols, chunks * sizeof(T), &work_size) != success) return alloc_failed;
  const scratch<std::int32_t> marker(plain_alloc(cols * chunks * sizeof(std::int32_t)));
  if (!marker) return alloc_failed;
  // A chunk's stretches follow from its number, so no race depends on the team.
  const auto stretch = [&](auto* array, int chunk) {
    return array + static_cast<std::int64_t>(B.cols) * chunk;
  };

  if (request != request_values) {
    for_each_chunk_on_default_team(count, [&](int chunk) {
      csrmultcsr_count_rows(A, B, ic + 1, part[chunk], part[chunk + 1],
                            stretch(marker.get(), chunk));
    });
    sum_counts(ic, A.rows, B.base);
    if (request == request_pattern) return success;
  }
  if (entries_between(ic, A.rows) > nzmax) return invalid_value;
  const auto work = dense_rows<T>(work_size);
  if (!work) return alloc_failed;
  for_each_chunk_on_default_team(count, [&](int chunk) {
    csrmultcsr_fill_rows(A, B, c, jc, ic, part[chunk], part[chunk + 1],
                         stretch(marker.get(), chunk), stretch(work.get(), chunk));
  });
  return success;
}

template <conjugation C, class T>
status csrmultcsr_transposed(int request,
                             const compressed_matrix<T>& A,
                             const compressed_matrix<T>& B,
                             T* c,
                             std::int32_t* jc,
                             std::int32_t* ic,
                             std::int32_t nzmax) {
  scoped_matrix<T> transposed;
  const status made = transposed_copy<C>(A, transposed);
  if (made != success) return made;
  return csrmultcsr_driver(request, *transposed, B, c, jc, ic, nzmax);
}

template <class T>
status csrmultcsr_serial(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax) {
  const auto cols = static_cast<std::uint64_t>(B.cols);
  const scratch<std::int32_t> marker(plain_alloc(cols * sizeof(std::int32_t)));
  if (!marker) return alloc_failed;
  if (request == request_everything) {
    return csrmultcsr_one_pass(A, B, c, jc, ic, marker.get(), nzmax);
  }
  if (request == request_pattern) {
    csrmultcsr_count_rows(A, B, ic + 1, 0, A.rows, marker.get());
    sum_counts(ic, A.rows, B.base);
    return success;
  }
  if (entries_between(ic, A.rows) > nzmax) return invalid_value;
  const auto work = dense_rows<T>(cols * sizeof(T));
  if (!work) return alloc_failed;
  csrmultcsr_fill_rows(A, B, c, jc, ic, 0, A.rows, marker.get(), work.get());
  return success;
}

#define NEVRAD_INSTANTIATE_ONE(name, T)                                                   \
  template status name(int, const compressed_matrix<T>&, const compressed_matrix<T>&, T*, \
                       std::int32_t*, std::int32_t*, std::int32_t);
#define NEVRAD_INSTANTIATE(letter, T)                               \
  NEVRAD_INSTANTIATE_ONE(csrmultcsr_driver, T)                      \
  NEVRAD_INSTANTIATE_ONE(csrmultcsr_transposed<conjugation::no>, T) \
  NEVRAD_INSTANTIATE_ONE(csrmultcsr_serial, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T) \
  NEVRAD_INSTANTIATE_ONE(csrmultcsr_transposed<conjugation::yes>, T)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
