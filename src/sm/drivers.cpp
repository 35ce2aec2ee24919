#include "sm/drivers.h"

#include "frame/regions.h"
#include "matrix/sorted_rows.h"
#include "sm/panels.h"

#include <atomic>

namespace nevrad {

namespace {

template <triangle Side, class T>
status build_blocks(const compressed_matrix<T>& a, sm_blocks<T>& blocks) {
  if constexpr (Side == triangle::lower) {
    return sm_build_lower_blocks(a, a.rows, blocks);
  } else {
    return sm_build_upper_blocks(a, a.rows, blocks);
  }
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
  if (a.sorted != 0 && a.sorted != 1) return invalid_value;
  sorted_rows<T> sorted;
  if (a.sorted == 0) {
    const status made = sorted.sort(a);
    if (made != success) return made;
  }
  sm_blocks<T> blocks;
  const status built = build_blocks<Side>(a.sorted == 0 ? sorted.get() : a, blocks);
  if (built != success) return built;
  sorted.release_unread(blocks.rows != nullptr);
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
