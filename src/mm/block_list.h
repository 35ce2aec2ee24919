// Column blocks, or a whole matrix as one, as the panel kernels walk them.
#pragma once

#include "arith/products.h"
#include "mm/column_blocks.h"

namespace nevrad {

template <class T>
class block_list {
 public:
  block_list(const column_block<T>* blocks, std::int32_t count) : blocks_(blocks), count_(count) {}

  // Calls body(row, values, columns, entries) for each row of each block that has entries.
  template <class Body>
  NEVRAD_INLINE void for_each_part(const Body& body) const {
    for_each_part_and_gap(
        [&](std::int32_t r, const T* values, const std::int32_t* columns, std::int32_t length) {
          if (length > 0) body(r, values, columns, length);
        });
  }

  // For the others as well, with no entries.
  template <class Body>
  NEVRAD_INLINE void for_each_part_and_gap(const Body& body) const {
    for (std::int32_t b = 0; b < count_; ++b) {
      const column_block<T> block = blocks_[b];
      for (std::int32_t r = 0; r < block.rows; ++r) {
        const std::int32_t first = block.begin[r];
        body(r, block.values + first, block.indices + first, block.begin[r + 1] - first);
      }
    }
  }

 private:
  const column_block<T>* blocks_;
  std::int32_t count_;
};

}  // namespace nevrad
