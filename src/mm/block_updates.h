// Blocks of four neighbouring rows as lanes, updated where B and C lie column-major: the inner loop
// of moving_columns.h.
//
// All sums of a part of the rows are in registers, each of several columns, or of several blocks in
// one column. Entries come in threes where rows meet three neighbours (see shape_parts.h).
#pragma once

#include "arith/lanes.h"
#include "mm/ragged_blocks.h"
#include "mm/shape_parts.h"

namespace nevrad {

// How the columns behind the narrowest panel differ: runs of blocks that hold nothing add a zero.
enum class gaps : bool { left_alone, add_zero };

// What is updated at once: a block in several columns, or blocks one behind the other in one
// column. Where the first begins, and how far it is to the next.
template <class T>
struct block_group {
  const T* values;  // four of an entry
  const T* b;
  T* c;
  std::int64_t values_step;
  std::int64_t b_step;
  std::int64_t c_step;
};

// Four elements, of which the first two places are known from those one before, and the last two
// from those one behind.
NEVRAD_INLINE lanes<double, 4> between(lanes<double, 4> before, lanes<double, 4> behind) {
  return {__builtin_shufflevector(before.v, behind.v, 1, 4, 3, 6)};
}
NEVRAD_INLINE lanes<float, 4> between(lanes<float, 4> before, lanes<float, 4> behind) {
  return {__builtin_shufflevector(before.v, behind.v, 1, 2, 5, 6)};
}

// Whether each row of a block has an entry at each of its places.
enum class row_kind : bool { whole, ragged };

// What is met where rows of a block have no entry: as it lies there, or zero by a mask.
enum class lacking : bool { as_met, zero };

// The elements that the mask of a place keeps, zero elsewhere.
template <lacking Lacking, int Place = 0, class T, class Mask>
NEVRAD_INLINE lanes<T, 4> keep(lanes<T, 4> a, const Mask* masks_of_places) {
  if constexpr (Lacking == lacking::as_met) {
    return a;
  } else {
    using masks = typename detail::vector_of<Mask, 4>::type;
    masks kept;
    __builtin_memcpy(&kept, masks_of_places + Place * lines_a_block, sizeof kept);
    return {
        __builtin_bit_cast(typename lanes<T, 4>::storage, __builtin_bit_cast(masks, a.v) & kept)};
  }
}

// What blocks have in common.
template <class T>
struct block_form {
  const std::int32_t* places;
  const shape_parts* parts;
  const typename ragged_block<T>::mask* kept;  // of ragged rows, else null
};

// Where the steps of a part begin.
template <class T>
struct block_steps {
  const std::int32_t* place;
  const T* values;
  const typename ragged_block<T>::mask* kept;
};

// The sums of one part, whose steps take so many entries each, in N of a group. Moves on to the
// next part.
template <int N, gaps Gaps, lacking Lacking, class T>
NEVRAD_INLINE void sum_part(block_steps<T>& steps,
                            const std::int8_t* entries,
                            const std::int8_t* stop,
                            const block_group<T>& group,
                            lanes<T, 4>* sum) {
  // Of blocks in one column each has values of its own.
  const std::int64_t values_step = Gaps == gaps::add_zero ? group.values_step : 0;
  const std::int64_t b_step = group.b_step;
  const auto move_on = [&](int places) NEVRAD_INLINED {
    steps.place += places;
    steps.values += places * lines_a_block;
    if (Lacking == lacking::zero) steps.kept += places * lines_a_block;
  };
  for (int q = 0; q < N; ++q) sum[q] = zero_lanes<T, 4>();
  do {
    const T* const at = group.b + *steps.place;
    if (take_threes && *entries == 3) {
      for (int q = 0; q < N; ++q) {
        const T* const v = steps.values + q * values_step;
        const lanes<T, 4> first = load<4>(at + q * b_step);
        const lanes<T, 4> third = load<4>(at + q * b_step + 2);
        const lanes<T, 4> second = between(first, third);
        sum[q] = multiply_add(sum[q], keep<Lacking>(first, steps.kept), load<4>(v));
        sum[q] = multiply_add(sum[q], keep<Lacking, 1>(second, steps.kept), load<4>(v + 4));
        sum[q] = multiply_add(sum[q], keep<Lacking, 2>(third, steps.kept), load<4>(v + 8));
      }
      move_on(3);
    } else {
      for (int q = 0; q < N; ++q) {
        sum[q] = multiply_add(sum[q], keep<Lacking>(load<4>(at + q * b_step), steps.kept),
                              load<4>(steps.values + q * values_step));
      }
      move_on(1);
    }
  } while (++entries < stop);
}

template <int N, gaps Gaps, class T>
[[gnu::noinline, gnu::cold]] void sum_part_by_masks(block_steps<T> steps,
                                                    const std::int8_t* entries,
                                                    const std::int8_t* stop,
                                                    const block_group<T>& group,
                                                    lanes<T, 4>* sum) {
  sum_part<N, Gaps, lacking::zero>(steps, entries, stop, group, sum);
}

// Whether no sum is zero or NaN.
template <int N, class T>
NEVRAD_INLINE bool all_are_definite(const lanes<T, 4>* sum) {
  auto definite = __builtin_elementwise_abs(sum[0].v) > T{};
  for (int q = 1; q < N; ++q) definite &= __builtin_elementwise_abs(sum[q].v) > T{};
  return __builtin_reduce_and(definite) != 0;
}

// Updates N of a group. All sums of a part are in registers; C is not, as there is no room for it.
//
// A value of -0, which ragged rows have where they lack an entry, changes nothing with what is
// finite but the sign of a sum that is zero, as it may be for good, by underflow. With the rest it
// makes NaN. So a part whose sums are neither is done; any other is summed again by masks.
template <int N, gaps Gaps, row_kind Rows = row_kind::whole, class T>
NEVRAD_INLINE void update_block_group(const block_form<T>& form,
                                      const block_group<T>& group,
                                      lanes<T, 4> alpha,
                                      lanes<T, 4> beta) {
  const shape_parts& parts = *form.parts;
  const std::int64_t c_step = group.c_step;
  const lanes<T, 4> none = zero_lanes<T, 4>();
  block_steps<T> steps{form.places, group.values, form.kept};
  const std::int8_t* entries = parts.entries;
  for (std::int32_t p = 0; p < parts.count; ++p) {
    const shape_parts::part part = parts.at[p];
    const std::int8_t* const stop = parts.entries + part.stop;
    lanes<T, 4> sum[N];
    const block_steps<T> from = steps;
    sum_part<N, Gaps, lacking::as_met>(steps, entries, stop, group, sum);
    if constexpr (Rows == row_kind::ragged) {
      steps.kept += (steps.values - from.values);
      if (!all_are_definite<N>(sum)) {
        lanes<T, 4> again[N];
        sum_part_by_masks<N, Gaps>(from, entries, stop, group, again);
        for (int q = 0; q < N; ++q) sum[q] = again[q];
      }
    }
    entries = stop;
    for (int q = 0; q < N; ++q) {
      T* const c = group.c + q * c_step;
      lanes<T, 4> y = load<4>(c);
      if (p == 0) y = multiply(y, beta);
      if (Gaps == gaps::add_zero && part.gap) y = multiply_add(y, none, alpha);
      y = multiply_add(y, sum[q], alpha);
      if (Gaps == gaps::add_zero && parts.gap_behind && p == parts.count - 1) {
        y = multiply_add(y, none, alpha);
      }
      store(c, y);
    }
  }
}

}  // namespace nevrad
