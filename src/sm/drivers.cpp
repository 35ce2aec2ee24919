#include "sm/drivers.h"

#include "frame/regions.h"
#include "sm/panels.h"

#include <atomic>

namespace nevrad {

namespace {

// Whether every row's columns stand in order, so that sorting would change nothing: the sort is
// stable.
template <class T>
bool rows_ascend(const compressed_matrix<T>& a) {
  for (std::int32_t i = 0; i < a.rows; ++i) {
    for (std::int64_t e = std::int64_t{a.begin[i]} + 1; e < a.end[i]; ++e) {
      if (a.indices[e] < a.indices[e - 1]) return false;
    }
  }
  return true;
}

template <triangle Side, class T>
status build_blocks(const compressed_matrix<T>& a, sm_blocks<T>& blocks) {
  if constexpr (Side == triangle::lower) {
    return sm_build_lower_blocks(a, a.rows, blocks);
  } else {
    return sm_build_upper_blocks(a, a.rows, blocks);
  }
}

// The sorted copy lives no longer than the blocks take to build.
template <triangle Side, class T>
status build_sorted_blocks(const compressed_matrix<T>& a, sm_blocks<T>& blocks) {
  if (a.sorted != 0 && a.sorted != 1) return invalid_value;
  if (csr_entries(a) < 1) return invalid_value;
  if (a.sorted == 1 || rows_ascend(a)) return build_blocks<Side>(a, blocks);
  scoped_matrix<T> sorted;
  const status made = csr_sort_by_double_transpose(a, sorted.out());
  if (made != success) return made;
  return build_blocks<Side>(*sorted, blocks);
}

}  // namespace

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_driver(const compressed_matrix<T>& a,
                 const T* x,
                 std::int32_t n,
                 std::int32_t ldx,
                 T* y,
                 std::int32_t ldy,
                 T alpha) {
  sm_blocks<T> blocks;
  const status built = build_sorted_blocks<Side>(a, blocks);
  if (built != success) return built;
  const int budget = current_thread_budget();
  if (budget == 1) {
    return sm_panels<Side, Diagonal, Layout>(blocks, x, n, ldx, y, ldy, alpha);
  }
  part_bounds part;
  const std::int32_t count = partition_by_fours(n, budget, part.at);
  std::atomic<status> result{success};
  for_each_part_on_team(budget, [&](int q) {
    if (q >= count) return;
    constexpr bool by_columns = Layout == dense_layout::column_major;
    const std::int64_t first = part.at[q];
    const status solved =
        sm_panels<Side, Diagonal, Layout>(blocks, x + first * (by_columns ? ldx : 1),
                                          part.at[q + 1] - part.at[q], ldx,
                                          y + first * (by_columns ? ldy : 1), ldy, alpha);
    result.fetch_or(solved, std::memory_order_relaxed);
  });
  return result.load(std::memory_order_relaxed);
}

#define NEVRAD_INSTANTIATE_KIND(T, side, kind, order)                                \
  template status sm_driver<triangle::side, diagonal::kind, dense_layout::order, T>( \
      const compressed_matrix<T>&, const T*, std::int32_t, std::int32_t, T*, std::int32_t, T);
#define NEVRAD_INSTANTIATE(letter, T)                     \
  NEVRAD_INSTANTIATE_KIND(T, upper, stored, column_major) \
  NEVRAD_INSTANTIATE_KIND(T, upper, unit, column_major)   \
  NEVRAD_INSTANTIATE_KIND(T, lower, stored, column_major) \
  NEVRAD_INSTANTIATE_KIND(T, lower, unit, column_major)   \
  NEVRAD_INSTANTIATE_KIND(T, upper, stored, row_major)    \
  NEVRAD_INSTANTIATE_KIND(T, upper, unit, row_major)      \
  NEVRAD_INSTANTIATE_KIND(T, lower, stored, row_major)    \
  NEVRAD_INSTANTIATE_KIND(T, lower, unit, row_major)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_KIND

}  // namespace nevrad
