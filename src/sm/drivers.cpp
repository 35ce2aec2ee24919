#include "sm/drivers.h"

#include "frame/regions.h"
#include "matrix/sorted_rows.h"
#include "sm/panels.h"

namespace nevrad {

namespace {

template <triangle Side, class T>
status build_blocks(const compressed_matrix<T>& a, const row_facts& facts, sm_blocks<T>& blocks) {
  if constexpr (Side == triangle::lower) {
    return sm_build_lower_blocks(a, a.rows, facts, blocks);
  } else {
    return sm_build_upper_blocks(a, a.rows, facts, blocks);
  }
}

// Moves the bounds of shares of a row-major matrix up to cache lines, where all rows have them in
// the same columns: two threads that write one line wait for each other. Whose a column is shows in
// no result.
template <class T>
void move_to_lines(const T* y, std::int32_t ldy, std::int32_t n, std::int32_t* bounds, int count) {
  constexpr auto line = static_cast<std::int32_t>(cache_line / sizeof(T));
  const auto at = reinterpret_cast<std::uintptr_t>(y);
  if (ldy % line != 0 || at % sizeof(T) != 0) return;
  const auto before = static_cast<std::int32_t>(at % cache_line / sizeof(T));
  for (int q = 1; q < count; ++q) {
    const std::int32_t moved = (bounds[q] + before + line - 1) / line * line - before;
    bounds[q] = moved < n ? moved : n;
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
  const int budget = current_thread_budget();
  row_facts facts = look_at_rows<Side>(a, budget);
  sorted_rows<T> sorted;
  if (a.sorted == 0) {
    const status made = sorted.sort(a, facts.ascending);
    if (made != success) return made;
    if (!facts.ascending) facts = look_at_rows<Side>(sorted.get(), budget);
  }
  sm_blocks<T> blocks;
  const status built = build_blocks<Side>(a.sorted == 0 ? sorted.get() : a, facts, blocks);
  if (built != success) return built;
  if (sorted.release_unread(blocks.rows != nullptr)) blocks.release_unread();
  if (budget == 1) {
    const scratch<T> panel = sm_panel(blocks);
    if (!panel) return alloc_failed;
    sm_panels<Side, Diagonal, Layout>(blocks, panel.get(), x, n, ldx, y, ldy, alpha);
    return success;
  }
  part_bounds part;
  const std::int32_t count = partition_by_fours(n, budget, part.at);
  // The chunks whose panel cannot be had keep their columns.
  scratch<T> panels[max_thread_budget];
  status result = success;
  for (std::int32_t q = 0; q < count; ++q) {
    panels[q] = sm_panel(blocks);
    if (!panels[q]) result = alloc_failed;
  }
  constexpr bool by_columns = Layout == dense_layout::column_major;
  if (!by_columns && result == success) move_to_lines(y, ldy, n, part.at, count);
  for_each_part_on_team(budget, [&](int q) {
    if (q >= count || !panels[q]) return;
    const std::int64_t first = part.at[q];
    const std::int32_t width = part.at[q + 1] - part.at[q];
    sm_panels<Side, Diagonal, Layout>(blocks, panels[q].get(), x + first * (by_columns ? ldx : 1),
                                      width, ldx, y + first * (by_columns ? ldy : 1), ldy, alpha);
  });
  return result;
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
