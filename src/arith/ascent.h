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
    const auto count = static_cast<std::int32_t>(last - first);
    if (count <= at_once) {
      steps_down_ |= first_of(pairs_down(at), count - 1);
      return;
    }
    // The last lanes may look at pairs once more.
    const std::int32_t* const rest = indices + last - at_once - 1;
    index_lanes down = pairs_down(at);
    for (at += at_once; at < rest; at += at_once) down |= pairs_down(at);
    steps_down_ |= all_of(down | pairs_down(rest));
  }

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

#if defined(__AVX2__) && defined(__BMI2__)
  // A bit for each pair: cutting off those behind the line takes one instruction.
  using steps = std::uint32_t;
  static NEVRAD_INLINE steps all_of(index_lanes down) {
    const auto as_floats = reinterpret_cast<detail::vector_of<float, at_once>::type>(down);
    return static_cast<steps>(__builtin_ia32_movmskps256(as_floats));
  }
  static NEVRAD_INLINE steps first_of(index_lanes down, std::int32_t pairs) {
    // Moved on by one, since the instruction takes no count below zero.
    return __builtin_ia32_bzhi_si(all_of(down) << 1, static_cast<std::uint32_t>(pairs + 1));
  }

 public:
  NEVRAD_INLINE bool ascends() const { return steps_down_ == 0; }
#else
  using steps = index_lanes;
  static NEVRAD_INLINE steps all_of(index_lanes down) { return down; }
  static NEVRAD_INLINE steps first_of(index_lanes down, std::int32_t pairs) {
    constexpr index_lanes places = {0, 1, 2, 3, 4, 5, 6, 7};
    return down & (places < pairs);
  }

 public:
  NEVRAD_INLINE bool ascends() const { return __builtin_reduce_or(steps_down_) == 0; }
#endif

 private:
  steps steps_down_{};
};

}  // namespace nevrad
