// Substitution along rows: each row gathers the unknowns that are known already.
//
// Positions and indices are taken relative to begin[0]; the field `base` is not read. Columns
// ascend within a row. No row is searched for a zero diagonal, and nothing is tested: a division by
// zero gives what IEEE arithmetic gives.
//
// An unknown is wanted by the very next row more often than not, and a load of it would wait for
// its store. Both kernels keep it in a register instead: the chain from one unknown to the next is
// then the arithmetic alone.
#pragma once

#include "sv/substitution.h"

namespace nevrad {

// The unknowns, as columns name them, with the one that was solved last held in a register.
template <class T>
struct known_unknowns {
  const T* from;        // y, shifted so that a column of the matrix is an index
  std::int32_t newest;  // the column of the unknown solved last
  lane<T> newest_value;

  NEVRAD_INLINE lane<T> operator[](std::int32_t column) const { return load<1>(from + column); }
  // For the columns next to the diagonal.
  NEVRAD_INLINE lane<T> near(std::int32_t column) const {
    return column == newest ? newest_value : load<1>(from + column);
  }
};

// What a row gathered: two sums and the diagonal element.
template <class T>
struct forward_row {
  lane<T> s0;
  lane<T> s1;
  T d;
};

// Up to four entries of which the last is at or beyond the diagonal. True when the row is done.
//
// Stored diagonal: a row whose diagonal is none of the four goes on and none of them is used. Unit
// diagonal: the row ends at the first column that is not left of the diagonal.
template <diagonal D, conjugation C, class T>
NEVRAD_INLINE bool end_forward_row(forward_row<T>& row,
                                   const T* values,
                                   const std::int32_t* indices,
                                   std::int32_t diagonal_column,
                                   const known_unknowns<T>& y) {
  const std::int32_t c0 = indices[0];
  const std::int32_t c1 = indices[1];
  const std::int32_t c2 = indices[2];
  int left = 0;  // entries left of the diagonal
  if constexpr (D == diagonal::unit) {
    left = c2 < diagonal_column ? 3 : c1 < diagonal_column ? 2 : c0 < diagonal_column ? 1 : 0;
  } else {
    if (indices[3] == diagonal_column) {
      left = 3;
    } else if (c2 == diagonal_column) {
      left = 2;
    } else if (c1 == diagonal_column) {
      left = 1;
    } else if (c0 != diagonal_column) {
      return false;
    }
    row.d = values[left];
  }
  if (left == 3) {
    row.s0 = multiply_add<C>(row.s0, load<1>(values), y[c0]);
    row.s1 = multiply_add<C>(row.s1, load<1>(values + 1), y[c1]);
    row.s0 = multiply_add<C>(row.s0, load<1>(values + 2), y.near(c2));
  } else if (left == 2) {
    row.s0 = multiply_add<C>(row.s0, load<1>(values), y[c0]);
    row.s1 = multiply_add<C>(row.s1, load<1>(values + 1), y.near(c1));
  } else if (left == 1) {
    row.s0 = multiply_add<C>(row.s0, load<1>(values), y.near(c0));
  }
  return true;
}

// Walks one row up to its diagonal.
template <diagonal D, conjugation C, class T>
NEVRAD_INLINE forward_row<T> gather_forward_row(const T* values,
                                                const std::int32_t* indices,
                                                std::int32_t length,
                                                std::int32_t diagonal_column,
                                                const known_unknowns<T>& y) {
  using namespace substitution_table;
  // A row without its diagonal divides by zero.
  forward_row<T> row = {zero_lanes<T, 1>(), zero_lanes<T, 1>(), zero<T>()};
  for (std::int32_t trips = length / entries_a_trip; trips > 0; --trips) {
    const std::int32_t c3 = indices[3];
    fetch_entries_ahead<cache::level1>(indices, values);
    fetch_values_unless_fixed<walk::up>(values);
    if (c3 < diagonal_column) {
      row.s0 = multiply_add<C>(row.s0, load<1>(values), y[indices[0]]);
      row.s1 = multiply_add<C>(row.s1, load<1>(values + 1), y[indices[1]]);
      row.s0 = multiply_add<C>(row.s0, load<1>(values + 2), y[indices[2]]);
      row.s1 = multiply_add<C>(row.s1, load<1>(values + 3), y.near(c3));
    } else if (end_forward_row<D, C>(row, values, indices, diagonal_column, y)) {
      return row;
    }
    fetch_entries_ahead<cache::level2>(indices, values);
    values += entries_a_trip;
    indices += entries_a_trip;
  }

  std::int32_t rest = length % entries_a_trip;
  if (rest <= 0) return row;
  // Counted down to 0 inclusive: a tail that met no end looks at one entry more, the first of the
  // next row. This must stay: it decides what a row without a diagonal entry adds up.
  for (; rest >= 0; --rest, ++values, ++indices) {
    const std::int32_t c = *indices;
    if (c > diagonal_column) break;
    if (c == diagonal_column) {
      if constexpr (D == diagonal::stored) row.d = *values;
      break;
    }
    row.s0 = multiply_add<C>(row.s0, load<1>(values), y.near(c));
  }
  return row;
}

// Solves with a lower triangle, rows line_begin up to but excluding line_end in ascending order:
// y[i] = ((alpha x[i] - s0) - s1) / d. Entries of a trip of four go to s0, s1, s0, s1, those of the
// tail to s0. y may hold anything, and may be x.
template <diagonal D, conjugation C, class T>
void tri_solve_rows_forward(T alpha,
                            const compressed_view<T>& a,
                            const T* x,
                            T* y,
                            std::int32_t line_begin,
                            std::int32_t line_end) {
  const std::int32_t offset = a.begin[0];
  const std::int32_t* const begin = a.begin;
  const std::int32_t* const end = a.end;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  lane<T> newest = line_begin > 0 ? load<1>(y + line_begin - 1) : zero_lanes<T, 1>();

  for (std::int32_t i = line_begin; i < line_end; ++i) {
    const known_unknowns<T> known = {y - offset, i + offset - 1, newest};
    const std::int64_t first = begin[i] - offset;
    fetch_indices_unless_fixed<walk::up>(indices + first);
    const T scaled = multiply_fused(x[i], alpha);
    const forward_row<T> row = gather_forward_row<D, C>(values + first, indices + first,
                                                        end[i] - begin[i], i + offset, known);
    T t = subtract(subtract(scaled, to_element(row.s0)), to_element(row.s1));
    if constexpr (D == diagonal::stored) t = divide<C>(t, row.d);
    y[i] = t;
    newest = to_lane(t);
  }
}

// What a row gathered: four sums and the diagonal element.
template <class T>
struct backward_row {
  lane<T> a0;
  lane<T> a1;
  lane<T> a2;
  lane<T> a3;
  T d;
};

// Four entries of which the first is at or left of the diagonal: what lies right of it is used.
// Where none of the first three is at the diagonal, the fourth is taken for it without a test.
template <conjugation C, class T>
NEVRAD_INLINE void end_backward_row(backward_row<T>& row,
                                    const T* values,
                                    const std::int32_t* indices,
                                    std::int32_t diagonal_column,
                                    const known_unknowns<T>& y) {
  const std::int32_t c1 = indices[1];
  const std::int32_t c2 = indices[2];
  const std::int32_t c3 = indices[3];
  if (indices[0] == diagonal_column) {
    row.d = values[0];
    row.a0 = multiply_add<C>(row.a0, load<1>(values + 1), y.near(c1));
    row.a0 = multiply_add<C>(row.a0, load<1>(values + 2), y[c2]);
    row.a1 = multiply_add<C>(row.a1, load<1>(values + 3), y[c3]);
  } else if (c1 == diagonal_column) {
    row.d = values[1];
    row.a0 = multiply_add<C>(row.a0, load<1>(values + 2), y.near(c2));
    row.a1 = multiply_add<C>(row.a1, load<1>(values + 3), y[c3]);
  } else if (c2 == diagonal_column) {
    row.d = values[2];
    row.a0 = multiply_add<C>(row.a0, load<1>(values + 3), y.near(c3));
  } else {
    row.d = values[3];
  }
}

// Walks one row from its end down to its diagonal.
template <conjugation C, class T>
NEVRAD_INLINE backward_row<T> gather_backward_row(const T* values_end,
                                                  const std::int32_t* indices_end,
                                                  std::int32_t length,
                                                  std::int32_t diagonal_column,
                                                  const known_unknowns<T>& y) {
  using namespace substitution_table;
  constexpr lane<T> nothing = {};
  backward_row<T> row = {nothing, nothing, nothing, nothing, zero<T>()};
  const T* values = values_end;
  const std::int32_t* indices = indices_end;
  for (std::int32_t groups = length / entries_a_trip; groups > 0; --groups) {
    values -= entries_a_trip;
    indices -= entries_a_trip;
    const std::int32_t c0 = indices[0];
    fetch_values_unless_fixed<walk::down>(values);
    if (c0 <= diagonal_column) {
      end_backward_row<C>(row, values, indices, diagonal_column, y);
      return row;
    }
    row.a0 = multiply_add<C>(row.a0, load<1>(values), y.near(c0));
    row.a1 = multiply_add<C>(row.a1, load<1>(values + 1), y[indices[1]]);
    row.a2 = multiply_add<C>(row.a2, load<1>(values + 2), y[indices[2]]);
    row.a3 = multiply_add<C>(row.a3, load<1>(values + 3), y[indices[3]]);
  }
  // The diagonal entry is the only stop: a row without one walks on into the row before it.
  while (*--indices != diagonal_column) {
    row.a0 = multiply_add<C>(row.a0, load<1>(--values), y.near(*indices));
  }
  row.d = *--values;
  return row;
}

// Solves with an upper triangle, rows line_end - 1 down to line_begin, on y that holds alpha x. The
// four sums are combined as (a1 + a2) and (a3 + a0), subtracted one after the other; in complex
// types as one sum (a2 + a3) + (a0 + a1). The unit form needs a stored diagonal entry too, as the
// stop of its walk; its value is not used.
template <diagonal D, conjugation C, class T>
void tri_solve_rows_backward(const compressed_view<T>& a,
                             T* y,
                             std::int32_t line_begin,
                             std::int32_t line_end) {
  const std::int32_t offset = a.begin[0];
  const std::int32_t* const begin = a.begin;
  const std::int32_t* const end = a.end;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  lane<T> newest = line_end < a.rows ? load<1>(y + line_end) : zero_lanes<T, 1>();

  for (std::int32_t i = line_end - 1; i >= line_begin; --i) {
    const known_unknowns<T> known = {y - offset, i + offset + 1, newest};
    const std::int64_t last = end[i] - offset;
    fetch_indices_unless_fixed<walk::down>(indices + last);
    const backward_row<T> row =
        gather_backward_row<C>(values + last, indices + last, end[i] - begin[i], i + offset, known);
    lane<T> t = load<1>(y + i);
    if constexpr (is_complex<T>) {
      t = subtract(t, add(add(row.a2, row.a3), add(row.a0, row.a1)));
    } else {
      t = subtract(subtract(t, add(row.a1, row.a2)), add(row.a3, row.a0));
    }
    if constexpr (D == diagonal::stored) t = to_lane(divide<C>(to_element(t), row.d));
    store(y + i, t);
    newest = t;
  }
}

}  // namespace nevrad
