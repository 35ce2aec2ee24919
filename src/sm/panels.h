// Panel solves: all right-hand sides of one chunk, a panel of several columns at a time.
#pragma once

#include "sm/blocks.h"

namespace nevrad {

// The scratch of one call of sm_panels: 64 bytes a row. Null when memory is short.
template <class T>
scratch<T> sm_panel(const sm_blocks<T>& blocks);

// Solves `count` columns, x and y standing at the first of them. Widest panels (64 bytes a row)
// while they fit, then at most one of 8 and one of 4, then columns by themselves, at most 3. Reads
// the blocks alone, so threads may share them, each with a panel of its own. y may be x.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
void sm_panels(const sm_blocks<T>& blocks,
               T* panel,
               const T* x,
               std::int32_t count,
               std::int32_t ldx,
               T* y,
               std::int32_t ldy,
               T alpha);

}  // namespace nevrad
