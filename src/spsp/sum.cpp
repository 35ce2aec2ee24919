#include "spsp/sum.h"

#include "frame/regions.h"
#include "spsp/request.h"
#include "spsp/sum_rows.h"

namespace nevrad {

template <class T>
status csradd_driver(int request,
                     const compressed_matrix<T>& A,
                     const compressed_matrix<T>& B,
                     T* c,
                     std::int32_t* jc,
                     std::int32_t* ic,
                     std::int32_t nzmax,
                     T beta) {
  if (check_output_arrays(request, &A, &B, c, jc, ic) != success) return invalid_value;
  const int budget = current_thread_budget();
  if (budget < 2) return csradd_serial(request, A, B, c, jc, ic, nzmax, beta);

  const scratch<std::int32_t> part = alloc_bounds(budget);
  if (!part) return alloc_failed;
  const std::int32_t count = partition_by_fours(A.rows, budget, part.get());
  if (request != request_values) {
    for_each_chunk_on_default_team(count, [&](int chunk) {
      csradd_count(A, B, ic + 1, part[chunk], part[chunk + 1]);
    });
    sum_counts(ic, A.rows, 1);
  }
  // This test stands here for the pattern alone too, where one thread makes none.
  if (entries_between(ic, A.rows) > nzmax) return invalid_value;
  if (request != request_pattern) {
    for_each_chunk_on_default_team(count, [&](int chunk) {
      csradd_fill(A, B, c, jc, ic, part[chunk], part[chunk + 1], beta);
    });
  }
  return success;
}

template <conjugation C, class T>
status csradd_transposed(int request,
                         const compressed_matrix<T>& A,
                         const compressed_matrix<T>& B,
                         T* c,
                         std::int32_t* jc,
                         std::int32_t* ic,
                         std::int32_t nzmax,
                         T beta) {
  if (check_output_arrays(request, &A, &B, c, jc, ic) != success) return invalid_value;
  scoped_matrix<T> transposed;
  const status made = transposed_copy<C>(B, transposed);
  if (made != success) return made;
  return csradd_driver(request, A, *transposed, c, jc, ic, nzmax, beta);
}

template <class T>
status csradd_serial(int request,
                     const compressed_matrix<T>& A,
                     const compressed_matrix<T>& B,
                     T* c,
                     std::int32_t* jc,
                     std::int32_t* ic,
                     std::int32_t nzmax,
                     T beta) {
  if (request == request_everything) return csradd_merge_checked(A, B, c, jc, ic, nzmax, beta);
  if (request == request_pattern) {
    csradd_count(A, B, ic + 1, 0, A.rows);
    sum_counts(ic, A.rows, 1);
    return success;
  }
  if (entries_between(ic, A.rows) > nzmax) return invalid_value;
  csradd_fill(A, B, c, jc, ic, 0, A.rows, beta);
  return success;
}

#define NEVRAD_INSTANTIATE_ONE(name, T)                                                   \
  template status name(int, const compressed_matrix<T>&, const compressed_matrix<T>&, T*, \
                       std::int32_t*, std::int32_t*, std::int32_t, T);
#define NEVRAD_INSTANTIATE(letter, T)                           \
  NEVRAD_INSTANTIATE_ONE(csradd_driver, T)                      \
  NEVRAD_INSTANTIATE_ONE(csradd_transposed<conjugation::no>, T) \
  NEVRAD_INSTANTIATE_ONE(csradd_serial, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T) NEVRAD_INSTANTIATE_ONE(csradd_transposed<conjugation::yes>, T)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
