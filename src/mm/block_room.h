// What the column blocks of a range of rows take. The paths that leave the entries in place ask for
// it as well, so that they fail where blocks fail; untouched, it costs nothing.
#pragma once

#include "mm/column_blocks.h"

namespace nevrad {

template <class T>
struct block_room {
  scratch<std::int32_t> cursor;
  scoped_matrix<T> blocks;

  status take(std::int32_t rows, std::int32_t nnz, std::int32_t cols) {
    const std::uint64_t words = static_cast<std::uint64_t>(rows);
    cursor = scratch<std::int32_t>(
        rounded_aligned_alloc(cache_line, words * sizeof(std::int32_t), memory_use::set_aside));
    if (!cursor) return alloc_failed;
    return column_blocks_alloc(rows, nnz, block_count(cols, mm_block_cols), blocks.out(),
                               memory_use::set_aside);
  }
};

template <class T>
std::int32_t entries_between(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  return hi > lo ? a.end[hi - 1] - a.begin[lo] : 0;
}

}  // namespace nevrad
