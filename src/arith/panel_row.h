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

template <int W, class T>
NEVRAD_INLINE lanes<T, W> panel_row_at(const T* panel, std::int32_t column) {
  return load<W>(panel + static_cast<std::int64_t>(column) * W);
}

// The sum over `length` entries; zero when length is below 1.
template <int W, class T, panel_hints Hints = default_panel_hints<T>>
NEVRAD_INLINE lanes<T, W> multiply_panel_row(const T* values,
                                             const std::int32_t* columns,
                                             std::int32_t length,
                                             const T* panel) {
  lanes<T, W> acc = zero_lanes<T, W>();
  for (std::int32_t groups = length / panel_group; groups > 0; --groups) {
    const lanes<T, panel_group> v = load<panel_group>(values);
    lanes<T, W> r0 = panel_row_at<W>(panel, columns[0]);
    lanes<T, W> r1 = panel_row_at<W>(panel, columns[1]);
    load_ahead(acc, r1);
    acc = multiply_add(acc, r0, broadcast<W>(lane_at<0>(v)));
    r0 = panel_row_at<W>(panel, columns[2]);
    load_ahead(acc, r0);
    acc = multiply_add(acc, r1, broadcast<W>(lane_at<1>(v)));
    r1 = panel_row_at<W>(panel, columns[3]);
    load_ahead(acc, r1);
    values += panel_group;
    columns += panel_group;
    if constexpr (fixed_hints) {
      prefetch<cache::level1>(columns, Hints.indices_near);
      prefetch<cache::level1>(values, Hints.values_near);
    }
    acc = multiply_add(acc, r0, broadcast<W>(lane_at<2>(v)));
    if constexpr (fixed_hints) {
      prefetch<cache::level2>(columns, Hints.indices_far);
      prefetch<cache::level2>(values, Hints.values_far);
    }
    acc = multiply_add(acc, r1, broadcast<W>(lane_at<3>(v)));
  }
  if (length > 0) {
    for (std::int32_t rest = length % panel_group; rest > 0; --rest) {
      acc = multiply_add(acc, panel_row_at<W>(panel, *columns++), broadcast<W>(load<1>(values++)));
    }
  }
  return acc;
}

}  // namespace nevrad
