// Column blocks: the entries of a range of rows, cut by column, so that a sweep touches only a
// cache's worth of panel rows while it walks all the rows.
//
// A block has the layout of an owned matrix, and an owned matrix serves as a single block. Its
// column numbers stay those of the whole matrix; `begin` has one entry more than rows and counts
// from the block's own first entry. All blocks of a build share one array of values, one of indices
// and one of pointers, which hang on the first block: owned_csr_free on it frees everything.
#pragma once

#include "matrix/record.h"

namespace nevrad {

template <class T>
using column_block = owned_matrix<T>;

// Columns of a block, but for the last two; more columns than this are cut on one thread too.
inline constexpr std::int32_t mm_block_cols = 5120;

// The columns in the block that follows the `done` first ones. Full blocks run until less than two
// widths remain; the rest is halved rather than leaving a thin last block.
constexpr std::int32_t next_block_width(std::int32_t cols, std::int32_t done, std::int32_t width) {
  const std::int32_t remaining = cols - done;
  if (remaining / 2 >= width) return width;
  return remaining > width ? remaining / 2 : remaining;
}

constexpr std::int32_t block_count(std::int32_t cols, std::int32_t width) {
  return static_cast<std::int32_t>((static_cast<std::int64_t>(width) + cols - 1) / width);
}

// Makes the records of `count` blocks with begin and end of all and values and indices of the first
// set. Answers 2 and leaves nothing allocated when memory is short.
template <class T>
status column_blocks_alloc(std::int32_t rows,
                           std::int32_t nnz,
                           std::int32_t count,
                           column_block<T>** result);

// Cuts rows lo up to but excluding hi of a matrix with ascending rows. Rows without any entry give
// a null result and leave count_out. Answers 2 when memory is short.
template <class T>
status column_blocks_build(const owned_matrix<T>& a,
                           std::int32_t lo,
                           std::int32_t hi,
                           std::int32_t width,
                           column_block<T>** result,
                           std::int32_t* count_out);

// Whether column_blocks_build would get the memory for `nnz` entries of `rows` rows, for the paths
// that leave the entries in place and fail where blocks fail.
template <class T>
bool probe_column_blocks(std::int32_t rows, std::int32_t nnz, std::int32_t count);

}  // namespace nevrad
