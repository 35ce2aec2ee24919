#include "mv/general.h"

#include "frame/regions.h"
#include "mv/long_rows.h"
#include "mv/short_rows.h"

namespace nevrad {

namespace {

// Mean entries a row from which the long-row kernel runs.
constexpr float long_rows_from = 10.0F;

}  // namespace

template <class T>
status csr_mv_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  // The raw last entry of `end`, base included: a one-based matrix counts one entry more.
  const float mean_row = static_cast<float>(a.end[a.rows - 1]) / static_cast<float>(a.rows);
  const int budget = current_thread_budget();
  part_bounds part;
  partition_by_nnz(a.end, a.rows, budget, part.at);
  const auto kernel = mean_row < long_rows_from ? csr_mv_short_rows<T> : csr_mv_long_rows<T>;
  for_each_part_on_team(budget,
                        [&](int t) { kernel(alpha, a, x, beta, y, part.at[t], part.at[t + 1]); });
  return success;
}

template <class T>
status csr_mv_short_rows(const T& alpha,
                         const compressed_view<T>& a,
                         const T* x,
                         const T& beta,
                         T* y,
                         std::int32_t row_begin,
                         std::int32_t row_end) {
  short_rows(alpha, a, x, beta, y, row_begin, row_end);
  return success;
}

template <class T>
status csr_mv_long_rows(const T& alpha,
                        const compressed_view<T>& a,
                        const T* x,
                        const T& beta,
                        T* y,
                        std::int32_t row_begin,
                        std::int32_t row_end) {
  long_rows<conjugation::no>(alpha, a, x, beta, y, row_begin, row_end);
  return success;
}

template <class T>
status csr_mv_long_rows_conj(const T& alpha,
                             const compressed_view<T>& a,
                             const T* x,
                             const T& beta,
                             T* y,
                             std::int32_t row_begin,
                             std::int32_t row_end) {
  long_rows<conjugation::yes>(alpha, a, x, beta, y, row_begin, row_end);
  return success;
}

#define NEVRAD_INSTANTIATE(letter, T)                                                            \
  template status csr_mv_driver(const compressed_view<T>&, const T*, T*, T, T);                  \
  template status csr_mv_short_rows(const T&, const compressed_view<T>&, const T*, const T&, T*, \
                                    std::int32_t, std::int32_t);                                 \
  template status csr_mv_long_rows(const T&, const compressed_view<T>&, const T*, const T&, T*,  \
                                   std::int32_t, std::int32_t);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                            \
  template status csr_mv_long_rows_conj(const T&, const compressed_view<T>&, const T*, const T&, \
                                        T*, std::int32_t, std::int32_t);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
