#include "mm/column_blocks.h"

namespace nevrad {

template <class T>
status column_blocks_alloc(std::int32_t rows,
                           std::int32_t nnz,
                           std::int32_t count,
                           column_block<T>** result,
                           memory_use use) {
  const auto entries = static_cast<std::uint64_t>(static_cast<std::int64_t>(nnz));
  scratch<std::int32_t> indices(
      rounded_aligned_alloc(cache_line, entries * sizeof(std::int32_t), use));
  if (!indices) return alloc_failed;
  scratch<T> values(rounded_aligned_alloc(cache_line, entries * sizeof(T), use));
  if (!values) return alloc_failed;
  std::uint64_t pointer_bytes = 0;
  const auto blocks = static_cast<std::uint64_t>(count);
  if (checked_multiply(blocks * sizeof(std::int32_t), static_cast<std::uint64_t>(rows) + 2,
                       &pointer_bytes) != success) {
    return alloc_failed;
  }
  scratch<std::int32_t> pointers(rounded_aligned_alloc(cache_line, pointer_bytes, use));
  if (!pointers) return alloc_failed;
  scratch<column_block<T>> records(plain_alloc(blocks * sizeof(column_block<T>)));
  if (!records) return alloc_failed;

  for (std::int32_t b = 0; b < count; ++b) {
    records[b].begin = pointers.get() + static_cast<std::int64_t>(b) * (rows + std::int64_t{2});
    records[b].end = records[b].begin + 1;
  }
  records[0].values = values.release();
  records[0].indices = indices.release();
  pointers.release();
  *result = records.release();
  return success;
}

template <class T>
status column_blocks_build(const owned_matrix<T>& a,
                           std::int32_t lo,
                           std::int32_t hi,
                           std::int32_t width,
                           column_block<T>** result,
                           std::int32_t* count_out) {
  const std::int32_t entries = a.end[hi - 1] - a.begin[lo];
  if (entries == 0) {
    *result = nullptr;
    return success;
  }
  const std::int32_t rows = hi - lo;
  scratch<std::int32_t> cursor(
      rounded_aligned_alloc(cache_line, static_cast<std::uint64_t>(rows) * sizeof(std::int32_t)));
  if (!cursor) return alloc_failed;
  const std::int32_t count = block_count(a.cols, width);
  column_block<T>* blocks = nullptr;
  const status allocated = column_blocks_alloc(rows, entries, count, &blocks);
  if (allocated != success) return allocated;
  *result = blocks;
  *count_out = count;

  for (std::int32_t r = 0; r < rows; ++r) cursor[r] = a.begin[lo + r] - a.base;
  T* const values = blocks[0].values;
  std::int32_t* const indices = blocks[0].indices;
  std::int32_t at = 0;
  std::int32_t done = 0;
  for (std::int32_t b = 0; b < count; ++b) {
    column_block<T>& block = blocks[b];
    const std::int32_t start = at;
    block.values = values + start;
    block.indices = indices + start;
    block.rows = rows;
    block.cols = next_block_width(a.cols, done, width);
    block.base = 0;
    done += block.cols;
    for (std::int32_t r = 0; r < rows; ++r) {
      block.begin[r] = at - start;
      // Rows ascend, so the first column beyond the block ends the row's part in it.
      const std::int32_t stop = a.end[lo + r] - a.base;
      std::int32_t p = cursor[r];
      for (; p < stop && a.indices[p] - a.base < done; ++p, ++at) {
        values[at] = a.values[p];
        indices[at] = a.indices[p] - a.base;
      }
      cursor[r] = p;
    }
    block.begin[rows] = at - start;
  }
  return success;
}

#define NEVRAD_INSTANTIATE(letter, T)                                                              \
  template status column_blocks_alloc(std::int32_t, std::int32_t, std::int32_t, column_block<T>**, \
                                      memory_use);                                                 \
  template status column_blocks_build(const owned_matrix<T>&, std::int32_t, std::int32_t,          \
                                      std::int32_t, column_block<T>**, std::int32_t*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
