#include "mm/row_segments.h"

namespace nevrad {

template <class T>
status row_segments<T>::build(const owned_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  const std::int32_t entries = a.end[hi - 1] - a.begin[lo];
  if (entries == 0) return success;
  const std::int32_t rows = hi - lo;
  scratch<std::int32_t> last(
      rounded_aligned_alloc(cache_line, static_cast<std::uint64_t>(rows) * sizeof(std::int32_t)));
  if (!last) return alloc_failed;
  const status allocated =
      column_blocks_alloc(rows, entries, block_count(a.cols, mm_block_cols), memory_.out());
  if (allocated != success) return allocated;

  // The blocks' pointers hold at least one word a row and block, so all stops have room there.
  const block_bounds bounds(a.cols);
  std::int32_t* const stops = memory_->begin;
  std::int32_t segments = 0;
  for (std::int32_t r = 0; r < rows; ++r) {
    const std::int32_t end = a.end[lo + r];
    std::int32_t p = a.begin[lo + r];
    while (p < end) {
      const std::int32_t stop = bounds.stop_of(a.indices[p]);
      if (a.indices[end - 1] < stop) {
        p = end;
      } else {
        while (a.indices[p] < stop) ++p;
      }
      stops[segments++] = p;
    }
    last[r] = segments;
  }
  last_ = static_cast<scratch<std::int32_t>&&>(last);
  bounds_ = bounds;
  stops_ = stops;
  begin_ = a.begin + lo;
  values_ = a.values;
  indices_ = a.indices;
  rows_ = rows;
  return success;
}

#define NEVRAD_INSTANTIATE(letter, T) template class row_segments<T>;
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
