// Substitution along columns: each line finishes an unknown, then takes its share out of those that
// are still to come.
//
// Positions and indices are taken relative to begin[0]; the field `base` is not read. Indices
// ascend within a line. An empty line leaves its unknown as it is, without a division. y holds
// alpha x on the way in.
//
// The unknown that comes next is updated first and kept in a register: a load of it would wait for
// its store. Updates of different unknowns do not depend on each other, so the bits stay.
#pragma once

#include "sv/substitution.h"

namespace nevrad {

// A half-open range of positions in a line.
struct entry_range {
  std::int64_t first;
  std::int64_t last;
};

// The entry taken for the diagonal: the last one whose index is not beyond the line, or the first
// of the line when all are beyond. Whether it is at the diagonal is not tested.
inline std::int64_t split_at_diagonal(const std::int32_t* indices,
                                      entry_range line,
                                      std::int32_t diagonal_index) {
  std::int64_t low = line.first;
  std::int64_t high = line.last;
  while (high - low > 1) {
    const std::int64_t half = (high - low) >> 1;
    if (indices[low + half] <= diagonal_index) {
      low += half;
    } else {
      high = low + half;
    }
  }
  return low;
}

// y[r] -= v t over a range of entries.
template <conjugation C, walk Direction, class T>
NEVRAD_INLINE void scatter_line(const T* values,
                                const std::int32_t* indices,
                                entry_range entries,
                                lane<T> t,
                                T* to) {
  using namespace substitution_table;
  std::int64_t p = entries.first;
  const auto update = [&](std::int64_t at) {
    T* const target = to + indices[at];
    store(target, multiply_subtract<C>(load<1>(target), load<1>(values + at), t));
  };
  for (; p + entries_a_trip <= entries.last; p += entries_a_trip) {
    fetch_entries_ahead<cache::level1>(indices + p, values + p);
    fetch_values_unless_fixed<Direction>(values + p);
    update(p);
    update(p + 1);
    update(p + 2);
    update(p + 3);
    fetch_entries_ahead<cache::level2>(indices + p, values + p);
  }
  for (; p < entries.last; ++p) update(p);
}

// Solves with a lower triangle stored by columns, lines line_begin up to but excluding line_end in
// ascending order. The unit form does not use the entry at which the line is split.
template <diagonal D, conjugation C, class T>
void tri_solve_columns_forward(const compressed_view<T>& a,
                               T* y,
                               std::int32_t line_begin,
                               std::int32_t line_end) {
  const std::int32_t offset = a.begin[0];
  const std::int32_t* const begin = a.begin;
  const std::int32_t* const end = a.end;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  T* const to = y - offset;
  if (line_begin >= line_end) return;

  lane<T> current = load<1>(y + line_begin);
  for (std::int32_t j = line_begin; j < line_end; ++j) {
    const std::int32_t diagonal_index = j + offset;
    const entry_range line = {begin[j] - offset, end[j] - offset};
    std::int64_t p = line.first;
    fetch_indices_unless_fixed<walk::up>(indices + p);
    fetch_values_unless_fixed<walk::up>(values + p);
    bool follows = false;  // whether the line's first update is that of the unknown that comes next
    lane<T> t = current;
    if (line.first < line.last) {
      // A line that holds nothing above the diagonal needs no search.
      if (line.last - p > 1 && indices[p + 1] <= diagonal_index) {
        p = split_at_diagonal(indices, line, diagonal_index);
      }
      if constexpr (D == diagonal::stored) {
        t = to_lane(divide<C>(to_element(t), values[p]));
        store(y + j, t);
      }
      ++p;
      follows = j + 1 < line_end && p < line.last && indices[p] == diagonal_index + 1;
    }
    if (follows) {
      current = load<1>(y + j + 1);
      do {
        current = multiply_subtract<C>(current, load<1>(values + p), t);
        ++p;
      } while (p < line.last && indices[p] == diagonal_index + 1);
      store(y + j + 1, current);
    }
    scatter_line<C, walk::up>(values, indices, {p, line.last}, t, to);
    if (!follows && j + 1 < line_end) current = load<1>(y + j + 1);
  }
}

// Solves with an upper triangle stored by columns, lines line_end - 1 down to line_begin. The unit
// form does not use the entry at which the line is split.
template <diagonal D, conjugation C, class T>
void tri_solve_columns_backward(const compressed_view<T>& a,
                                T* y,
                                std::int32_t line_begin,
                                std::int32_t line_end) {
  const std::int32_t offset = a.begin[0];
  const std::int32_t* const begin = a.begin;
  const std::int32_t* const end = a.end;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  T* const to = y - offset;
  if (line_begin >= line_end) return;

  lane<T> current = load<1>(y + line_end - 1);
  for (std::int32_t j = line_end - 1; j >= line_begin; --j) {
    const std::int32_t diagonal_index = j + offset;
    const entry_range line = {begin[j] - offset, end[j] - offset};
    std::int64_t p = line.first;
    fetch_indices_unless_fixed<walk::down>(indices + p);
    fetch_values_unless_fixed<walk::down>(values + p);
    bool follows = false;  // whether the line's last update is that of the unknown that comes next
    lane<T> t = current;
    if (line.first < line.last) {
      // A line that holds nothing below the diagonal needs no search.
      p = line.last - 1;
      if (indices[p] > diagonal_index) p = split_at_diagonal(indices, line, diagonal_index);
      if constexpr (D == diagonal::stored) {
        t = to_lane(divide<C>(to_element(t), values[p]));
        store(y + j, t);
      }
      follows = j > line_begin && p > line.first && indices[p - 1] == diagonal_index - 1;
    }
    if (follows) {
      const std::int64_t last = p;
      do --p;
      while (p > line.first && indices[p - 1] == diagonal_index - 1);
      current = load<1>(y + j - 1);
      for (std::int64_t q = p; q < last; ++q) {
        current = multiply_subtract<C>(current, load<1>(values + q), t);
      }
      store(y + j - 1, current);
    }
    scatter_line<C, walk::down>(values, indices, {line.first, p}, t, to);
    if (!follows && j > line_begin) current = load<1>(y + j - 1);
  }
}

}  // namespace nevrad
