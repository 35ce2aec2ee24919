#include "mv/scatter.h"

#include "frame/regions.h"
#include "matrix/transpose.h"
#include "mv/moving_lines.h"
#include "mv/runs.h"

namespace nevrad {

namespace {

// Bytes ahead of the read position, all to be kept: to level 1 in the first half of a trip, to
// level 2 in the second. The plain and the conjugated form differ in one distance, on purpose.
template <conjugation C>
struct scatter_table {
  static constexpr int indices_near = 1024;
  static constexpr int values_near = 512;
  static constexpr int indices_far = C == conjugation::no ? 1024 : 4096;
  static constexpr int values_far = 4096;
};

template <conjugation C, class T>
void scatter_lines(const compressed_view<T>& a,
                   const T* x,
                   T* acc,
                   std::int32_t line_begin,
                   std::int32_t line_end) {
  using table = scatter_table<C>;
  const auto hint = [](const T* values, const std::int32_t* indices, int half) {
    if constexpr (fixed_hints) {
      if (half == 0) {
        prefetch<cache::level1>(indices, table::indices_near);
        prefetch<cache::level1>(values, table::values_near);
      } else {
        prefetch<cache::level2>(indices, table::indices_far);
        prefetch<cache::level2>(values, table::values_far);
      }
    }
  };
  const std::int32_t offset = a.begin[0];
  const auto one_line = [&](std::int32_t i) NEVRAD_INLINED {
    const std::int64_t first = a.begin[i] - offset;
    const entry_run<T> line = {a.values + first, a.indices + first, a.end[i] - a.begin[i]};
    scatter_run<C, remainder::by_one>(acc - offset, line, x[i], hint);
  };
  if constexpr (is_complex<T>) {
    for (std::int32_t i = line_begin; i < line_end; ++i) one_line(i);
  } else {
    const auto factors = [&](std::int32_t i) { return load<4>(x + i); };
    const auto nothing = [](std::int32_t) {};
    scatter_in_blocks<kept::all>(a, offset, acc, line_begin, line_end,
                                 half_hints<decltype(hint)>{hint}, factors, nothing, nothing,
                                 one_line);
  }
}

// A cleared vector of `count` elements for each of `budget` threads, one behind the other.
template <class T>
scratch<T> cleared_buffers(std::int32_t count, int budget) {
  return scratch<T>(plain_zeroed_alloc(static_cast<std::uint64_t>(count),
                                       static_cast<std::uint64_t>(budget) * sizeof(T)));
}

template <conjugation C, class T>
status scatter_on_team(int budget, const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const std::int32_t count = a.rows;
  part_bounds part;
  partition_by_nnz(a.end, a.cols, budget, part.at);
  const scratch<T> buffers = cleared_buffers<T>(count, budget);
  if (!buffers) return alloc_failed;
  for_each_part_on_team(budget, [&](int t) {
    T* const own = buffers.get() + static_cast<std::int64_t>(t) * count;
    scatter_lines<C>(a, x, own, part.at[t], part.at[t + 1]);
  });
  mv_reduce_buffers(budget, count, buffers.get(), y, alpha, beta);
  return success;
}

template <class T>
status scatter_on_caller(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const std::int32_t count = a.rows;
  const scratch<T> sums = cleared_buffers<T>(count, 1);
  if (!sums) return alloc_failed;
  mv_scatter_lines(a, x, sums.get(), 0, a.cols);
  for (std::int32_t i = 0; i < count; ++i) {
    if constexpr (is_complex<T>) {
      y[i] = add(multiply_fused(beta, y[i]), multiply_fused(alpha, sums[i]));
    } else {
      y[i] = fma(y[i], beta, sums[i] * alpha);
    }
  }
  return success;
}

}  // namespace

template <class T>
status mv_scatter_driver(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  const int budget = current_thread_budget();
  if (budget < 2) return scatter_on_caller(a, x, y, alpha, beta);
  return scatter_on_team<conjugation::no>(budget, a, x, y, alpha, beta);
}

template <class T>
status csr_mv_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  compressed_view<T> by_columns;
  csr_view_as_csc(&a, &by_columns);
  return mv_scatter_driver(by_columns, x, y, alpha, beta);
}

template <class T>
status csr_mv_conj_transposed(const compressed_view<T>& a, const T* x, T* y, T alpha, T beta) {
  compressed_view<T> by_columns;
  csr_view_as_csc(&a, &by_columns);
  return scatter_on_team<conjugation::yes>(current_thread_budget(), by_columns, x, y, alpha, beta);
}

template <class T>
void mv_scatter_lines(const compressed_view<T>& a,
                      const T* x,
                      T* acc,
                      std::int32_t line_begin,
                      std::int32_t line_end) {
  scatter_lines<conjugation::no>(a, x, acc, line_begin, line_end);
}

template <class T>
void mv_scatter_lines_conj(const compressed_view<T>& a,
                           const T* x,
                           T* acc,
                           std::int32_t line_begin,
                           std::int32_t line_end) {
  scatter_lines<conjugation::yes>(a, x, acc, line_begin, line_end);
}

template <class T>
void mv_reduce_buffers(int threads, std::int32_t count, const T* buffers, T* y, T alpha, T beta) {
  for_static_blocks_on_team(threads, count, [=](std::int32_t first, std::int32_t last) {
    for (std::int32_t i = first; i < last; ++i) {
      T sum = zero<T>();
      for (int t = 0; t < threads; ++t) {
        sum = add(sum, buffers[static_cast<std::int64_t>(t) * count + i]);
      }
      if constexpr (is_complex<T>) {
        y[i] = add(multiply_fused(y[i], beta), multiply_fused(sum, alpha));
      } else {
        y[i] = fma(alpha, sum, y[i] * beta);
      }
    }
  });
}

#define NEVRAD_INSTANTIATE(letter, T)                                                   \
  template status mv_scatter_driver(const compressed_view<T>&, const T*, T*, T, T);     \
  template status csr_mv_transposed(const compressed_view<T>&, const T*, T*, T, T);     \
  template void mv_scatter_lines(const compressed_view<T>&, const T*, T*, std::int32_t, \
                                 std::int32_t);                                         \
  template void mv_reduce_buffers(int, std::int32_t, const T*, T*, T, T);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

#define NEVRAD_INSTANTIATE(letter, T)                                                        \
  template status csr_mv_conj_transposed(const compressed_view<T>&, const T*, T*, T, T);     \
  template void mv_scatter_lines_conj(const compressed_view<T>&, const T*, T*, std::int32_t, \
                                      std::int32_t);
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
