// How the rows of a block of four, which moves on from row to row, fall into the parts that column
// blocks would hold.
#pragma once

#include "matrix/line_shapes.h"
#include "mm/row_parts.h"

namespace nevrad {

// Loads from the middle of a cache line, which on x86-64 often take two, bound the loop over
// blocks: there, three neighbours in a row take two loads and a move between registers.
inline constexpr bool take_threes = !fixed_hints;

// The parts of the rows of a block, by their entries, and up to which row they are the same.
struct shape_parts {
  struct part {
    std::int32_t stop;  // one past its last step
    bool gap;           // whether blocks of columns that hold nothing come before it
  };
  std::int32_t count = 0;
  bool gap_behind = false;
  std::int64_t row_stop = 0;  // one past the last row
  part at[longest_shape];
  // Entries of a step: three neighbours of one part, or one.
  std::int8_t entries[longest_shape];

  // For row i on, which meets `length` places from its number on.
  void find(const std::int32_t* places,
            std::int32_t length,
            const block_bounds& bounds,
            std::int32_t i) {
    count = 0;
    std::int32_t same = INT32_MAX;  // rows
    std::int32_t column_stop = -1;
    std::int32_t next_block = 0;
    std::int32_t steps = 0;
    for (std::int32_t k = 0; k < length;) {
      const std::int32_t column = places[k] + i;
      if (column >= column_stop) {
        const std::int32_t block = bounds.block_of(column);
        at[count++].gap = block != next_block;
        next_block = block + 1;
        column_stop = bounds.stop_of(column);
      }
      const bool are_three = take_threes && k + 2 < length && places[k + 2] == places[k] + 2 &&
                             column + 2 < column_stop;
      const std::int32_t taken = are_three ? 3 : 1;
      same = std::min(same, column_stop - (column + taken - 1));
      entries[steps++] = static_cast<std::int8_t>(taken);
      at[count - 1].stop = steps;
      k += taken;
    }
    gap_behind = next_block != bounds.count();
    row_stop = std::int64_t{i} + same;
  }
};

}  // namespace nevrad
