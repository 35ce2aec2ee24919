#include "mm/column_blocks.h"

namespace nevrad {

namespace {

struct block_bytes {
  std::uint64_t cursor;
  std::uint64_t indices;
  std::uint64_t values;
  std::uint64_t pointers;
  std::uint64_t records;

  // False when those of the pointers are too many to count.
  template <class T>
  bool set(std::int32_t rows, std::int32_t nnz, std::int32_t count) {
    const auto entries = static_cast<std::uint64_t>(static_cast<std::int64_t>(nnz));
    const auto blocks = static_cast<std::uint64_t>(count);
    cursor = static_cast<std::uint64_t>(rows) * sizeof(std::int32_t);
    indices = entries * sizeof(std::int32_t);
    values = entries * sizeof(T);
    records = blocks * sizeof(column_block<T>);
    return checked_multiply(blocks * sizeof(std::int32_t), static_cast<std::uint64_t>(rows) + 2,
                            &pointers) == success;
  }
};

}  // namespace

template <class T>
status column_blocks_alloc(std::int32_t rows,
                           std::int32_t nnz,
                           std::int32_t count,
                           column_block<T>** result) {
  block_bytes bytes;
  const bool fits = bytes.set<T>(rows, nnz, count);
  scratch<std::int32_t> indices(rounded_aligned_alloc(cache_line, bytes.indices));
  if (!indices) return alloc_failed;
  scratch<T> values(rounded_aligned_alloc(cache_line, bytes.values));
  if (!values || !fits) return alloc_failed;
  scratch<std::int32_t> pointers(rounded_aligned_alloc(cache_line, bytes.pointers));
  if (!pointers) return alloc_failed;
  scratch<column_block<T>> records(plain_alloc(bytes.records));
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

template <class T>
bool probe_column_blocks(std::int32_t rows, std::int32_t nnz, std::int32_t count) {
  block_bytes bytes;
  const bool fits = bytes.set<T>(rows, nnz, count);
  return probe_memory(cache_line, bytes.cursor) && probe_memory(cache_line, bytes.indices) &&
         probe_memory(cache_line, bytes.values) && fits &&
         probe_memory(cache_line, bytes.pointers) && probe_plain_memory(bytes.records);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                     \
  template status column_blocks_alloc(std::int32_t, std::int32_t, std::int32_t,           \
                                      column_block<T>**);                                 \
  template bool probe_column_blocks<T>(std::int32_t, std::int32_t, std::int32_t);         \
  template status column_blocks_build(const owned_matrix<T>&, std::int32_t, std::int32_t, \
                                      std::int32_t, column_block<T>**, std::int32_t*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
