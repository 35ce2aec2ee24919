// Indices that follow one another, as in bands and in dense blocks: what they name lies side by
// side.
#pragma once

#include "arith/shifted_lines.h"

namespace nevrad {

namespace detail {

using four_indices = vector_of<std::int32_t, 4>::type;
using eight_indices = vector_of<std::int32_t, 8>::type;

template <class V>
NEVRAD_INLINE bool all_of(V mask) {
  return __builtin_reduce_and(mask) != 0;
}

}  // namespace detail

// Runs shorter than this gain nothing.
inline constexpr std::int32_t shortest_run = 16;

// Whether the indices are a run, each one more than that before. Lines that are none are mostly
// known by their ends.
NEVRAD_INLINE bool is_run(const std::int32_t* indices, std::int32_t length) {
  using namespace detail;
  if (length < shortest_run || indices[length - 1] - indices[0] != length - 1) return false;
  auto expected = eight_unsigned{0, 1, 2, 3, 4, 5, 6, 7} + static_cast<std::uint32_t>(indices[0]);
  std::int32_t t = 0;
  for (; t + 8 <= length; t += 8) {
    if (!all_of(load_as<eight_unsigned>(indices + t) == expected)) return false;
    expected += 8;
  }
  for (; t < length; ++t) {
    if (indices[t] != indices[0] + t) return false;
  }
  return true;
}

}  // namespace nevrad
