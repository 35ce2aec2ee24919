// Whether the indices of compressed lines ascend, found out while the lines are used.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// Gathers steps down within lines, without a branch for each. For a line that ends `reach` indices
// or more in front of the end of its array: what follows a line is read, and not looked at.
class ascent_check {
  static constexpr std::int32_t at_once = 8;

 public:
  // Behind an empty line as many indices are read as there are lanes, and one more.
  static constexpr std::int32_t reach = at_once + 1;

  // Looks at the line of positions first to last - 1.
  NEVRAD_INLINE void look_at(const std::int32_t* indices, std::int64_t first, std::int64_t last) {
    const std::int32_t* at = indices + first;
    auto pairs = static_cast<std::int32_t>(last - first) - 1;
    for (; pairs >= at_once; pairs -= at_once, at += at_once) steps_down_ |= pairs_down(at);
    constexpr index_lanes places = {0, 1, 2, 3, 4, 5, 6, 7};
    steps_down_ |= pairs_down(at) & (places < pairs);
  }
  NEVRAD_INLINE bool ascends() const { return __builtin_reduce_or(steps_down_) == 0; }

 private:
  using index_lanes = detail::vector_of<std::int32_t, at_once>::type;

  static NEVRAD_INLINE index_lanes load_indices(const std::int32_t* at) {
    index_lanes r;
    __builtin_memcpy(&r, at, sizeof r);
    return r;
  }
  static NEVRAD_INLINE index_lanes pairs_down(const std::int32_t* at) {
    return load_indices(at) > load_indices(at + 1);
  }

  index_lanes steps_down_{};
};

}  // namespace nevrad
