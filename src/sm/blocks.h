// A triangle cut into column blocks, as the panel solves take it.
//
// Columns go in blocks of 1024, counted from the side at which the substitution begins: from the
// left for a lower triangle, from the right for an upper one. The rows with the same numbers as a
// block's columns are its slab: solved first, and then subtracted from all rows beyond it that have
// entries in the block, which is called the strip. Rows of a block are counted from the slab's
// first row, so those of an upper block's strip are negative.
//
//      lower  \ 0                  upper  1 x x x       x  strip
//             x \                         \ x x x       \  diagonal part: the slab's own entries
//             x x \ 1                       \ x x 0
//             x x x \                         \ x
//                                               \ (block 0 on the right)
//
// Entries of a row stand in ascending column order, and entries of the other triangle in no block.
// Diagonal elements are stored as their reciprocals.
//
// Where every row has its diagonal element, once, the entries may stay where they are: a row of the
// panel meets its blocks in the order of the substitution whether blocks or rows are the outer
// loop, so the bits are the same. Rows save the copy and a pass over the panel; blocks, which keep
// a slab in cache while all rows pass, pay when rows are long.
#pragma once

#include "arith/products.h"
#include "matrix/record.h"

namespace nevrad {

inline constexpr std::int32_t sm_block_size = 1024;

// A row of a strip: its number, and the far bound of its entries in the order in which the strip
// is stored, which is away from the slab. The near bound is that of the row before it.
struct strip_row {
  std::int32_t row;
  std::int32_t bound;
};

template <class T>
struct sm_block {
  const T* values;
  const std::int32_t* indices;  // columns, counted from the block's first
  // Entries of row r are begin[r] to begin[r + 1] - 1, for the slab's rows, 0 to cols - 1; in a
  // block without a list for those of the strip as well.
  const std::int32_t* begin;
  // The rows of the strip that have entries, nearest first; null when there is no list.
  const strip_row* strip;
  std::int32_t strip_rows;
  std::int32_t first;  // the matrix row and column of the slab's first row
  std::int32_t cols;   // 1024, or less in the last block
  std::int32_t reach;  // the last block whose slab the strip touches, at least this one
  std::int32_t place;  // the slab's first row in the panel
};

// All blocks of a matrix. Three arrays are shared by them.
template <class T>
struct sm_blocks {
  scratch<std::int32_t> indices;
  scratch<T> values;
  scratch<std::int32_t> pointers;
  scratch<sm_block<T>> records;
  std::int32_t count = 0;
  std::int32_t order = 0;
  // Rows of the panel that are in use at once. A slab is loaded when the sweep first reaches it and
  // stored as soon as it is solved, so slabs follow each other in as many places as the matrix
  // couples, and the panel stays in cache for matrices with a narrow profile.
  std::int32_t panel_rows = 0;
  // The matrix, when the entries have stayed there; it has to outlive the blocks, which are empty
  // then. `reach` is the most rows between a row and one that it uses. `pointers` holds the
  // position of each row's diagonal element, unless all of them are the last (lower) or first
  // (upper) of their rows.
  const compressed_matrix<T>* rows = nullptr;
  std::int32_t reach = 0;
  bool diagonals_at_end = false;

  // Gives back the room of entries that have stayed in the matrix.
  void release_unread() {
    indices = scratch<std::int32_t>();
    values = scratch<T>();
  }
};

// 1 / a. Complex: no scaling against overflow; a zero gives NaN.
template <class T>
NEVRAD_INLINE T reciprocal(T a) {
  if constexpr (is_complex<T>) {
    using real = real_of<T>;
    const real size = fma(a.re, a.re, a.im * a.im);
    return {fma(a.im, real{0}, a.re) / size, fma(a.re, real{0}, -a.im) / size};
  } else {
    return T{1} / a;
  }
}

// What one pass over the rows tells of a triangle, before it is known whether they ascend.
struct row_facts {
  bool ascending = false;  // as rows_ascend tells
  // Whether the diagonal element ends (lower) or begins (upper) every row, and stands there once,
  // and then sm_blocks::reach. True of ascending rows alone.
  bool diagonals_at_end = false;
  std::int32_t reach = 0;
};
// On `budget` threads, where rows are many.
template <triangle Side, class T>
row_facts look_at_rows(const compressed_matrix<T>& a, int budget = 1);

// How a triangle is held. All forms give the same bits.
//   blocks        a pointer for every row in every block that spans it: the work grows with the
//                 square of the order, whatever the matrix
//   listed_blocks rows with entries in a block are listed, in the room of the pointers that are
//                 then not needed, where they fit: at most half of a strip's rows
//   rows          entries stay in the matrix; listed_blocks where a diagonal element is not there,
//                 or there twice
//   by_length     rows, or listed_blocks for long ones
enum class triangle_form : std::uint8_t { blocks, listed_blocks, rows, by_length };

// Allocates the four arrays for nnz entries. Pointers take a word for every row from each block's
// slab on, about order^2 / 2048 words in all; those that are not needed are not touched. Answers 2
// when memory is short, or when the words are not a 32-bit number (orders beyond two million).
template <class T>
status sm_block_storage_alloc(std::int32_t order,
                              std::int32_t nnz,
                              std::int32_t block_count,
                              sm_blocks<T>& blocks);

// Cut the triangle out of a matrix with packed, ascending rows, of either base. A matrix without
// entries gives no block. Answer 2 when memory is short. `facts` are those of the matrix.
template <class T>
status sm_build_lower_blocks(const compressed_matrix<T>& a,
                             std::int32_t order,
                             const row_facts& facts,
                             sm_blocks<T>& blocks,
                             triangle_form form = triangle_form::by_length);
template <class T>
status sm_build_upper_blocks(const compressed_matrix<T>& a,
                             std::int32_t order,
                             const row_facts& facts,
                             sm_blocks<T>& blocks,
                             triangle_form form = triangle_form::by_length);

}  // namespace nevrad
