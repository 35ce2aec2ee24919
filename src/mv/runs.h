// Passes over a run of entries that are all taken: scattered into a vector, or gathered into a sum.
//
// Trips of eight entries as two halves of four. A half of a scatter reads all four targets before
// it stores any, so of equal indices within a half only the last store counts: a line is expected
// to hold each index once.
#pragma once

#include "arith/lanes.h"
#include "mv/index_runs.h"
#include "mv/streams.h"

namespace nevrad {

// Consecutive entries; indices count from where the vector's pointer was moved to.
template <class T>
struct entry_run {
  const T* values;
  const std::int32_t* indices;
  std::int32_t length;
};

// to[index] += value * factor for four entries, the value or its conjugate as the first operand.
template <conjugation C, class T>
NEVRAD_INLINE void scatter_four(T* to,
                                const T* values,
                                const std::int32_t* indices,
                                lane<T> factor) {
  const auto [j0, j1] = load_indices(indices);
  const auto [j2, j3] = load_indices(indices + 2);
  T* const t0 = to + j0;
  T* const t1 = to + j1;
  T* const t2 = to + j2;
  T* const t3 = to + j3;
  const lanes<T, 4> v = load<4>(values);
  const lane<T> s0 = multiply_add<C>(load<1>(t0), lane_at<0>(v), factor);
  const lane<T> s1 = multiply_add<C>(load<1>(t1), lane_at<1>(v), factor);
  const lane<T> s2 = multiply_add<C>(load<1>(t2), lane_at<2>(v), factor);
  const lane<T> s3 = multiply_add<C>(load<1>(t3), lane_at<3>(v), factor);
  store(t0, s0);
  store(t1, s1);
  store(t2, s2);
  store(t3, s3);
}

// The same where the indices follow one another.
template <conjugation C, class T>
NEVRAD_INLINE void scatter_four_side_by_side(T* to, const T* values, lane<T> factor) {
  store(to, multiply_add<C>(load<4>(to), load<4>(values), broadcast<4>(factor)));
}

template <conjugation C, class T>
NEVRAD_INLINE void scatter_one(T* to, const T* value, std::int32_t index, lane<T> factor) {
  store(to + index, multiply_add<C>(load<1>(to + index), load<1>(value), factor));
}

// How what is left of a run behind its trips goes: a group of four ahead of the single entries, or
// single entries alone.
enum class remainder : bool { by_four, by_one };

// Whether all entries of a run lie side by side in the vector.
enum class placing : bool { anywhere, side_by_side };

// Scatters the run. `hint_half(values, indices, half)` gives the hints of half 0 or 1 of a trip,
// from the positions behind it.
template <conjugation C, remainder Rest, placing Placing, class T, class Hint>
NEVRAD_INLINE void scatter_placed(T* to, entry_run<T> run, lane<T> factor, const Hint& hint_half) {
  std::int32_t left = run.length;
  const auto half = [&] {
    if constexpr (Placing == placing::side_by_side) {
      scatter_four_side_by_side<C>(to + *run.indices, run.values, factor);
    } else {
      scatter_four<C>(to, run.values, run.indices, factor);
    }
    run.values += 4;
    run.indices += 4;
  };
  if (left < 8) fetch_streams(run.values, run.indices);
  for (; left >= 8; left -= 8) {
    half();
    hint_half(run.values, run.indices, 0);
    half();
    hint_half(run.values, run.indices, 1);
    fetch_streams(run.values, run.indices);
  }
  if constexpr (Rest == remainder::by_four) {
    if (left >= 4) {
      half();
      left -= 4;
    }
  }
  for (; left > 0; --left) scatter_one<C>(to, run.values++, *run.indices++, factor);
}
template <conjugation C, remainder Rest, class T, class Hint>
NEVRAD_INLINE void scatter_run(T* to, entry_run<T> run, T factor_at, const Hint& hint_half) {
  const lane<T> factor = to_lane(factor_at);
  if (is_run(run.indices, run.length)) {
    scatter_placed<C, Rest, placing::side_by_side>(to, run, factor, hint_half);
  } else {
    scatter_placed<C, Rest, placing::anywhere>(to, run, factor, hint_half);
  }
}

// The sum of value * from[index] over the run: entry r of each group of four into accumulator r,
// the single entries of the remainder into accumulator 0; in the end (a3 + a2) + (a1 + a0).
template <conjugation C, placing Placing, class T, class Hint>
NEVRAD_INLINE lane<T> gather_placed(const T* from, entry_run<T> run, const Hint& hint_half) {
  lanes<T, 4> sums = zero_lanes<T, 4>();
  std::int32_t left = run.length;
  const auto half = [&] {
    const lanes<T, 4> gathered =
        Placing == placing::side_by_side ? load<4>(from + *run.indices) : gather(from, run.indices);
    sums = multiply_add<C>(sums, load<4>(run.values), gathered);
    run.values += 4;
    run.indices += 4;
  };
  if (left < 8) fetch_streams(run.values, run.indices);
  for (; left >= 8; left -= 8) {
    half();
    hint_half(run.values, run.indices);
    half();
    hint_half(run.values, run.indices);
    fetch_streams(run.values, run.indices);
  }
  if (left >= 4) {
    half();
    left -= 4;
  }
  lane<T> first = lane_at<0>(sums);
  for (; left > 0; --left) {
    first = multiply_add<C>(first, load<1>(run.values++), load<1>(from + *run.indices++));
  }
  return add(add(lane_at<3>(sums), lane_at<2>(sums)), add(lane_at<1>(sums), first));
}
template <conjugation C, class T, class Hint>
NEVRAD_INLINE lane<T> gather_run(const T* from, entry_run<T> run, const Hint& hint_half) {
  if (is_run(run.indices, run.length)) {
    return gather_placed<C, placing::side_by_side>(from, run, hint_half);
  }
  return gather_placed<C, placing::anywhere>(from, run, hint_half);
}

}  // namespace nevrad
