// The row-times-panel loop, on which the matrix products and the panel solves stand.
//
// A panel holds W columns of a dense matrix side by side: its row q is W contiguous elements. For a
// sparse row, every entry fetches one panel row and multiply-accumulates it by the entry's value:
//
//   acc = 0;  for each entry p, in stored order:  acc += panel[columns[p]] * values[p]
//
// Each lane is one chain of fused operations (complex: rotations 0 and 90 with the panel element as
// the first operand); there are no partial sums. The accumulators stay in registers for the whole
// row. Entries go by groups of four, and the panel row of the next entry is loaded ahead of the
// multiply-adds of the present one, so that two rows are in flight.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"

#include <algorithm>

namespace nevrad {

// Bytes by which a group of four runs ahead of the read positions of its two streams: `near` to
// level 1, `far` to level 2, both to be kept.
struct panel_hints {
  int indices_near;
  int values_near;
  int indices_far;
  int values_far;
};

template <class T>
inline constexpr panel_hints default_panel_hints = {
    .indices_near = 256,
    .values_near = std::is_same_v<T, double> ? 512 : 256,
    .indices_far = 4096,
    .values_far = 4096,
};

inline constexpr int panel_group = 4;

// A number that stays out of vector registers. Compilers take two that are worked on alike there
// and back, which costs AArch64 cores more than the work.
NEVRAD_INLINE std::int64_t scalar(std::int64_t a) {
#if defined(__aarch64__)
  asm("" : "+r"(a));
#endif
  return a;
}

// The same address, of which the compiler knows no more. Of a pointer that moves on in a loop it
// makes one for each distance at which something is asked for, and moves all of them on.
template <class T>
NEVRAD_INLINE T* one_address(T* at) {
#if defined(__aarch64__)
  asm("" : "+r"(at));
#endif
  return at;
}

// Asks for W elements, for later.
template <int W, class T>
NEVRAD_INLINE void prefetch_row(const T* row) {
  constexpr int line = static_cast<int>(cache_line / sizeof(T));
  for (int i = 0; i < W; i += line) prefetch<cache::level2>(row + i, 0);
}

// Where the W elements that go with an index lie. The loop takes any of these for its panel.

// A panel: row q is W contiguous elements.
template <int W, class T>
struct packed_rows {
  const T* panel;
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t row) const { return load<W>(panel + row * W); }
  NEVRAD_INLINE void ask_for(std::int64_t row, std::int64_t /*last*/) const {
    prefetch_row<W>(panel + row * W);
  }
};

// The part of a panel that is in use, in a ring of mask + 1 rows.
template <int W, class T>
struct ring_rows {
  const T* panel;
  std::int64_t mask;
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t row) const {
    return load<W>(panel + (row & mask) * W);
  }
};

// A row-major matrix as it is.
template <int W, class T>
struct strided_rows {
  const T* at;
  std::int64_t ld;
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t row) const { return load<W>(at + row * ld); }
  // Up to the last element of interest, if that may lie in a line behind.
  NEVRAD_INLINE void ask_for(std::int64_t row, std::int64_t last) const {
    constexpr int line = static_cast<int>(cache_line / sizeof(T));
    const T* const first = at + row * ld;
    prefetch_row<W>(first);
    if (last == 0) return;
    for (std::int64_t i = std::max(W, line); i < last; i += line) {
      prefetch<cache::level2>(first + i, 0);
    }
    prefetch<cache::level2>(first + last, 0);
  }
};

// The same where rows are a power of two bytes apart: a shift leaves the multiplier, and with it a
// port of multiply-adds, to the elements.
template <int W, class T>
struct shifted_rows {
  const T* at;
  std::uint32_t shift;
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t row) const {
    return load<W>(reinterpret_cast<const T*>(reinterpret_cast<const char*>(at) + (row << shift)));
  }
};

// A column-major matrix as it is, element by element.
template <int W, class T>
struct gathered_rows {
  const T* at;
  std::int64_t ld;
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t row) const {
    T elements[W];
    for (int c = 0; c < W; ++c) elements[c] = at[row + c * ld];
    return load<W>(elements);
  }
};

// Adds four entries and moves on behind them.
template <panel_hints Hints, int W, class T, class Rows>
NEVRAD_INLINE lanes<T, W> add_panel_group(lanes<T, W> acc,
                                          const T*& values,
                                          const std::int32_t*& columns,
                                          const Rows& rows) {
  const lanes<T, panel_group> v = load<panel_group>(values);
  lanes<T, W> r0 = rows(columns[0]);
  lanes<T, W> r1 = rows(columns[1]);
  load_ahead(acc, r1);
  acc = multiply_add(acc, r0, broadcast<W>(lane_at<0>(v)));
  r0 = rows(columns[2]);
  load_ahead(acc, r0);
  acc = multiply_add(acc, r1, broadcast<W>(lane_at<1>(v)));
  r1 = rows(columns[3]);
  load_ahead(acc, r1);
  values += panel_group;
  columns += panel_group;
  values = one_address(values);
  columns = one_address(columns);
  if constexpr (fixed_hints) {
    prefetch<cache::level1>(columns, Hints.indices_near);
    prefetch<cache::level1>(values, Hints.values_near);
  }
  acc = multiply_add(acc, r0, broadcast<W>(lane_at<2>(v)));
  if constexpr (fixed_hints) {
    prefetch<cache::level2>(columns, Hints.indices_far);
    prefetch<cache::level2>(values, Hints.values_far);
  }
  return multiply_add(acc, r1, broadcast<W>(lane_at<3>(v)));
}

// Adds `length` entries.
template <panel_hints Hints, int W, class T, class Rows>
NEVRAD_INLINE lanes<T, W> add_panel_entries(lanes<T, W> acc,
                                            const T* values,
                                            const std::int32_t* columns,
                                            std::int32_t length,
                                            const Rows& rows) {
  for (std::int32_t groups = length / panel_group; groups > 0; --groups) {
    acc = add_panel_group<Hints>(acc, values, columns, rows);
  }
  if (length > 0) {
    for (std::int32_t rest = length % panel_group; rest > 0; --rest) {
      acc = multiply_add(acc, rows(*columns++), broadcast<W>(load<1>(values++)));
    }
  }
  return acc;
}

// The sum over `length` entries; zero when length is below 1.
template <int W, class T, panel_hints Hints = default_panel_hints<T>, class Rows>
  requires(!std::is_pointer_v<Rows>)
NEVRAD_INLINE lanes<T, W> multiply_panel_row(const T* values,
                                             const std::int32_t* columns,
                                             std::int32_t length,
                                             const Rows& rows) {
  return add_panel_entries<Hints>(zero_lanes<T, W>(), values, columns, length, rows);
}

template <int W, class T, panel_hints Hints = default_panel_hints<T>>
NEVRAD_INLINE lanes<T, W> multiply_panel_row(const T* values,
                                             const std::int32_t* columns,
                                             std::int32_t length,
                                             const T* panel) {
  return multiply_panel_row<W, T, Hints>(values, columns, length, packed_rows<W, T>{panel});
}

template <class T, int W>
struct lanes_pair {
  lanes<T, W> first;
  lanes<T, W> second;
};

// The sums over two rows, group by group in turn: each sum is a chain of fused operations, and two
// of them keep busy what one leaves idle.
template <int W, class T, panel_hints Hints = default_panel_hints<T>, class Rows>
NEVRAD_INLINE lanes_pair<T, W> multiply_panel_row_pair(const T* values,
                                                       const std::int32_t* columns,
                                                       std::int32_t length,
                                                       const T* second_values,
                                                       const std::int32_t* second_columns,
                                                       std::int32_t second_length,
                                                       const Rows& rows) {
  lanes_pair<T, W> sum{zero_lanes<T, W>(), zero_lanes<T, W>()};
  const std::int32_t groups = std::max(std::min(length, second_length), 0) / panel_group;
  length -= groups * panel_group;
  second_length -= groups * panel_group;
  for (std::int32_t g = groups; g > 0; --g) {
    sum.first = add_panel_group<Hints>(sum.first, values, columns, rows);
    sum.second = add_panel_group<Hints>(sum.second, second_values, second_columns, rows);
  }
  sum.first = add_panel_entries<Hints>(sum.first, values, columns, length, rows);
  sum.second =
      add_panel_entries<Hints>(sum.second, second_values, second_columns, second_length, rows);
  return sum;
}

}  // namespace nevrad
