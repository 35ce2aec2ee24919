// Panel solves: all right-hand sides of one chunk, a panel of several columns at a time.
#pragma once

#include "sm/blocks.h"

namespace nevrad {

// Solves `count` columns, x and y standing at the first of them. Widest panels (64 bytes a row)
// while they fit, then at most one of 8 and one of 4, then columns by themselves, at most 3.
// Allocates a scratch of 64 bytes a row. Answers 2 when memory is short, and then has written
// nothing. Reads the blocks alone, so threads may share them. y may be x.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_panels(const sm_blocks<T>& blocks,
                 const T* x,
                 std::int32_t count,
                 std::int32_t ldx,
                 T* y,
                 std::int32_t ldy,
                 T alpha);

}  // namespace nevrad
