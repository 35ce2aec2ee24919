// Lines of indices that are one line moved on step by step, as inside of a grid.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

inline constexpr int shifted_together = 4;

namespace detail {

using four_unsigned = vector_of<std::uint32_t, 4>::type;
using eight_unsigned = vector_of<std::uint32_t, 8>::type;

template <class V>
NEVRAD_INLINE V load_as(const std::int32_t* at) {
  V r;
  __builtin_memcpy(&r, at, sizeof r);
  return r;
}

// Zero where the next three lines follow the line of `at` by 1, 2 and 3.
NEVRAD_INLINE four_unsigned off_step(const std::int32_t* at, std::int64_t length) {
  const four_unsigned first = load_as<four_unsigned>(at);
  return ((first + 1) ^ load_as<four_unsigned>(at + length)) |
         ((first + 2) ^ load_as<four_unsigned>(at + 2 * length)) |
         ((first + 3) ^ load_as<four_unsigned>(at + 3 * length));
}

}  // namespace detail

// Whether the first index of `next` is that of `line` plus 1. Matrices of one kind answer alike for
// nearly all their lines, so that this is the question to ask first.
NEVRAD_INLINE bool starts_one_on(const std::int32_t* line, const std::int32_t* next) {
  return static_cast<std::uint32_t>(*line) + 1U == static_cast<std::uint32_t>(*next);
}

// Whether each of four lines of `length` indices, one behind the other in memory, has every index
// of the line before it plus 1. Shorter lines than four are never told so.
NEVRAD_INLINE bool lines_move_on(const std::int32_t* indices, std::int64_t length) {
  if (length < 4) return false;
  detail::four_unsigned off = detail::off_step(indices, length);
  for (std::int64_t k = 4; k + 4 <= length; k += 4) off |= detail::off_step(indices + k, length);
  off |= detail::off_step(indices + length - 4, length);
  return __builtin_reduce_or(off) == 0;
}

}  // namespace nevrad
