// Four neighbouring columns of a symmetric matrix at once, where their shape allows it. Real
// elements.
//
// A column is read twice, once to scatter it and once for its sum, and its elements of the private
// vector are loaded and stored for it alone. Four columns share both. Every sum keeps its four
// accumulators, and every element of the vector takes the columns in order.
#pragma once

#include "mv/column_walk.h"
#include "mv/line_blocks.h"
#include "mv/symmetric.h"

namespace nevrad {

// The hints of both passes over a column, at each half of a trip.
struct column_hints {
  template <class T>
  NEVRAD_INLINE void operator()(const T* values, const std::int32_t* indices, int half) const {
    scatter_pass_hints<conjugation::no>{}(values, indices, half);
    hint_both<cache::level1, gather_pass_table<conjugation::no>::near_ahead>(values, indices);
  }
};

// What is kept of column c, apart from its diagonal; the entry on that, if it counts.
template <class T>
struct kept_column {
  column_segment segment;
  const T* diagonal;  // or null
};

template <triangle Side, diagonal Ones, class T>
NEVRAD_INLINE kept_column<T> kept_of_column(const compressed_view<T>& a, std::int32_t c) {
  const column_segment column = column_at(a, c);
  const std::int32_t target = c + a.base;
  std::int64_t p = find_not_below<Side>(a.indices, column, target);
  const bool found = p < column.last && a.indices[p] == target;
  const T* const diagonal = found && Ones == diagonal::stored ? a.values + p : nullptr;
  if constexpr (Side == triangle::lower) return {{found ? p + 1 : p, column.last}, diagonal};
  if constexpr (Ones == diagonal::unit) {
    if (p > column.first && a.indices[p - 1] == target) --p;
  }
  return {{column.first, p}, diagonal};
}

// Columns whose rows follow one another without a gap.

// values[r] + k is where column r's element in row k lies.
template <class T>
struct run_columns {
  const T* values[lines_a_block];
  const std::int32_t* indices[lines_a_block];
  const T* values_behind;  // where those of the next block are expected
  const std::int32_t* indices_behind;
};

// v += a xc and sums += a x over `count` rows from `row` on, a multiple of four.
template <class T>
[[gnu::noinline]] void add_runs_in_fours(const run_columns<T>& columns,
                                         const T* x,
                                         T* v,
                                         std::int64_t row,
                                         std::int64_t count,
                                         const lanes<T, 4>& xc,
                                         lanes<T, 4>* sums) {
  const T* const a0 = columns.values[0] + row;
  const T* const a1 = columns.values[1] + row;
  const T* const a2 = columns.values[2] + row;
  const T* const a3 = columns.values[3] + row;
  const T* const values_behind = columns.values_behind;
  const std::int32_t* const indices_behind = columns.indices_behind;
  x += row;
  v += row;
  const lanes<T, 4> x0 = broadcast<4>(lane_at<0>(xc));
  const lanes<T, 4> x1 = broadcast<4>(lane_at<1>(xc));
  const lanes<T, 4> x2 = broadcast<4>(lane_at<2>(xc));
  const lanes<T, 4> x3 = broadcast<4>(lane_at<3>(xc));
  lanes<T, 4> s0 = sums[0];
  lanes<T, 4> s1 = sums[1];
  lanes<T, 4> s2 = sums[2];
  lanes<T, 4> s3 = sums[3];
  for (std::int64_t k = 0; k < count; k += 4) {
    fetch_behind_block(values_behind, indices_behind, lines_a_block * k);
    if constexpr (fixed_hints) {
      for (int r = 0; r < lines_a_block; ++r) {
        column_hints{}(columns.values[r] + row + k, columns.indices[r] + row + k, 0);
      }
    }
    const lanes<T, 4> e0 = load<4>(a0 + k);
    const lanes<T, 4> e1 = load<4>(a1 + k);
    const lanes<T, 4> e2 = load<4>(a2 + k);
    const lanes<T, 4> e3 = load<4>(a3 + k);
    const lanes<T, 4> of_x = load<4>(x + k);
    s0 = multiply_add(s0, e0, of_x);
    s1 = multiply_add(s1, e1, of_x);
    s2 = multiply_add(s2, e2, of_x);
    s3 = multiply_add(s3, e3, of_x);
    lanes<T, 4> sum = multiply_add(load<4>(v + k), e0, x0);
    sum = multiply_add(sum, e1, x1);
    sum = multiply_add(sum, e2, x2);
    store(v + k, multiply_add(sum, e3, x3));
  }
  sums[0] = s0;
  sums[1] = s1;
  sums[2] = s2;
  sums[3] = s3;
}

// Columns c to c + 3, if they are runs that begin and end side by side.
template <sym_mode Mode, diagonal Ones, class T>
[[gnu::noinline]] bool take_run_columns(const compressed_view<T>& a,
                                        std::int32_t c,
                                        const T* x,
                                        T* v,
                                        const T& alpha_at) {
  constexpr triangle side = side_of(Mode);
  constexpr std::int64_t most_alone = 16;  // rows at either end that not all have
  const T alpha = alpha_at;
  kept_column<T> kept[lines_a_block];
  run_columns<T> columns;
  std::int64_t first[lines_a_block];
  std::int64_t last[lines_a_block];
  // The rows that all have, but for those of the columns themselves.
  std::int64_t common_first = side == triangle::lower ? c + lines_a_block : 0;
  std::int64_t common_last = side == triangle::lower ? a.rows : c;
  std::int64_t kept_entries = 0;
  for (std::int32_t r = 0; r < lines_a_block; ++r) {
    kept[r] = kept_of_column<side, Ones>(a, c + r);
    const column_segment s = kept[r].segment;
    const auto length = static_cast<std::int32_t>(s.last - s.first);
    if (!is_run(a.indices + s.first, length)) return false;
    first[r] = std::int64_t{a.indices[s.first]} - a.base;
    last[r] = first[r] + length / 4 * 4;  // of those in whole groups of four
    kept_entries += length;
    columns.values[r] = a.values + (s.first - first[r]);
    columns.indices[r] = a.indices + (s.first - first[r]);
    common_first = first[r] > common_first ? first[r] : common_first;
    common_last = last[r] < common_last ? last[r] : common_last;
  }
  const std::int64_t count = (common_last - common_first) / 4 * 4;
  if (count < shortest_run) return false;
  const std::int64_t behind = common_first + count;
  for (int r = 0; r < lines_a_block; ++r) {
    if (common_first - first[r] > most_alone || last[r] - behind > most_alone) return false;
  }

  // Columns that hold more than is kept are better read one by one.
  const std::int64_t block_first = a.begin[c] - a.base;
  const std::int64_t block_last = a.end[c + lines_a_block - 1] - a.base;
  const std::int64_t not_kept = block_last - block_first - kept_entries;
  if (not_kept < 0 || not_kept > lines_a_block) return false;
  columns.values_behind = a.values + block_last;
  columns.indices_behind = a.indices + block_last;

  // Lane k of a column's sums is the accumulator of row common_first + k.
  T accumulators[lines_a_block][4] = {};
  lanes<T, 4> in_lanes[lines_a_block];
  for (int r = 0; r < lines_a_block; ++r) {
    T* const at = accumulators[r];
    const std::int64_t alone = common_first - first[r];
    for (std::int64_t k = 0; k < alone; ++k) {
      const std::int64_t row = first[r] + k;
      at[k % 4] = fma(columns.values[r][row], x[row], at[k % 4]);
    }
    in_lanes[r] = {{at[alone % 4], at[(alone + 1) % 4], at[(alone + 2) % 4], at[(alone + 3) % 4]}};
  }
  const lanes<T, 4> xc = multiply_fused(load<4>(x + c), detail::splat(alpha));
  add_runs_in_fours(columns, x, v, common_first, count, xc, in_lanes);
  fetch_rest_behind_block(columns.values_behind, columns.indices_behind, lines_a_block * count,
                          block_last - block_first);
  for (int r = 0; r < lines_a_block; ++r) {
    const std::int32_t own = c + r;
    const T* const values = columns.values[r];
    const T factor = xc.v[r];
    if (kept[r].diagonal != nullptr) v[own] = fma(*kept[r].diagonal * alpha, x[own], v[own]);
    for (std::int64_t row = first[r]; row < common_first; ++row) {
      v[row] = fma(values[row], factor, v[row]);
    }
    T* const at = accumulators[r];
    for (int k = 0; k < 4; ++k) at[(common_first - first[r] + k) % 4] = in_lanes[r].v[k];
    const std::int64_t end = first[r] + (kept[r].segment.last - kept[r].segment.first);
    for (std::int64_t row = behind; row < end; ++row) {
      T& sum = at[row < last[r] ? (row - first[r]) % 4 : 0];
      sum = fma(values[row], x[row], sum);
      v[row] = fma(values[row], factor, v[row]);
    }
    v[own] = fma(alpha, (at[3] + at[2]) + (at[1] + at[0]), v[own]);
  }
  return true;
}

// Columns of a grid from c on, as long as they have the shape, none beginning behind last_block.
// Answers the column behind them.
template <sym_mode Mode, class T>
[[gnu::noinline]] std::int32_t take_moving_columns(const moving_shape& shape,
                                                   const compressed_view<T>& a,
                                                   std::int32_t c,
                                                   std::int32_t last_block,
                                                   const T* x,
                                                   T* v,
                                                   const T& alpha_at,
                                                   diagonal ones) {
  constexpr bool lower = side_of(Mode) == triangle::lower;
  const lanes<T, 4> alpha = detail::splat(alpha_at);
  const std::int64_t length = shape.length;
  const int runs = shape.run_count;
  const std::int32_t first = shape.runs[0].entry;
  const std::int32_t behind = shape.runs[runs - 1].entry + shape.runs[runs - 1].length;
  const std::int32_t in_fours = first + (behind - first) / 4 * 4;
  const std::int32_t own_entry = lower ? first - 1 : behind;
  const bool has_diagonal = ones == diagonal::stored && own_entry >= 0 && own_entry < length &&
                            shape.places[own_entry] == 0;
  const int near = lower ? 0 : runs - 1;
  const bool next_door =
      lower ? shape.runs[near].place == 1 : shape.runs[near].place + shape.runs[near].length == 0;
  shaped_blocks<T> blocks(shape, a, c, a.base);
  block_fetch<T, half_hints<column_hints>> fetch(shape, {});
  while (blocks.has_shape(c, c + a.base)) {
    const T* const values = blocks.values;
    fetch.begin_block(values, blocks.indices);
    if constexpr (!fixed_hints) {
      prefetch<cache::level1>(x + c + shape.runs[runs - 1].place, lead_ahead);
      prefetch<cache::level1>(v + c + shape.runs[runs - 1].place, lead_ahead);
    }
    lanes<T, 4> sums[4] = {};
    const auto of_x = [&](std::int32_t k) { return load<4>(x + c + shape.places[k]); };
    for (std::int32_t k = first; k < in_fours; k += 4) {
      const tile<T> element = transpose(load_tile(values + k, length));
      for (int e = 0; e < 4; ++e) sums[e] = multiply_add(sums[e], element.line[e], of_x(k + e));
    }
    if (in_fours < behind) {
      with_run_length(behind - in_fours, [&](auto n) NEVRAD_INLINED {
        constexpr int count = decltype(n)::value;
        const auto entries = load_entries<count>(values + in_fours, length);
        for (int e = 0; e < count; ++e) {
          sums[0] = multiply_add(sums[0], entries.of[e], of_x(in_fours + e));
        }
      });
    }
    const lanes<T, 4> total = add(add(sums[3], sums[2]), add(sums[1], sums[0]));
    const lanes<T, 4> xc = load<4>(x + c);
    const lanes<T, 4> factor = multiply_fused(xc, alpha);
    const auto with_own = [&](lanes<T, 4> own) NEVRAD_INLINED {
      if (has_diagonal) {
        const auto on_diagonal = load_entries<1>(values + own_entry, length);
        own = multiply_add(own, multiply_fused(on_diagonal.of[0], alpha), xc);
      }
      own = multiply_add(own, alpha, total);
      store(v + c, own);
      return own;
    };
    // Answers what the first entry has met.
    const auto scatter = [&](int r, lanes<T, 4> top, bool has_top) NEVRAD_INLINED {
      const run_of_entries run = shape.runs[r];
      T* const at = v + c + run.place;
      fetch.begin_run();
      with_run_length(run.length, [&](auto n) NEVRAD_INLINED {
        constexpr int count = decltype(n)::value;
        if (!has_top) top = load<4>(at + count - 1);
        top = scatter_entries<0, count>(load_entries<count>(values + run.entry, length), at, factor,
                                        top);
      });
      return top;
    };
    const lanes<T, 4> none = zero_lanes<T, 4>();
    if constexpr (lower) {
      for (int r = runs - 1; r > 0; --r) scatter(r, none, false);
      const lanes<T, 4> met = scatter(0, none, false);
      with_own(next_door ? one_before(met, v + c) : load<4>(v + c));
    } else {
      const lanes<T, 4> own = with_own(load<4>(v + c));
      scatter(near, next_door ? one_before(own, v + c - 1) : none, next_door);
      for (int r = near - 1; r >= 0; --r) scatter(r, none, false);
    }
    blocks.next();
    c += lines_a_block;
    if (c > last_block) break;
  }
  return c;
}

// When to look again, after looks in vain: each takes about as long as a column does.
class look_ahead {
 public:
  bool is_due(std::int32_t c) const { return c >= next_; }
  void found_some() { patience_ = 1; }
  void found_little(std::int32_t c) {
    constexpr std::int32_t most_patience = 256;
    if (patience_ < most_patience) patience_ *= 2;
    next_ = std::int64_t{c} + patience_;
  }

 private:
  std::int64_t next_ = 0;
  std::int32_t patience_ = 1;
};

// What is known of the columns so far, from one range to the next.
struct column_shapes {
  moving_shape shape;
  look_ahead moving;
  look_ahead runs;
};

// Whether columns from c on have a shape that is worth it, and is known now.
template <sym_mode Mode, class T>
bool learn_columns(const compressed_view<T>& a, std::int32_t c, moving_shape& shape) {
  constexpr kept beyond = kept_on(opposite(side_of(Mode)), diagonal::unit);
  constexpr std::int32_t pause = 2 * lines_a_block;
  const std::int32_t patience = shape.patience;
  if (learn_shape<beyond>(a, c, a.base, shape)) {
    if (shape.run_count > 0) return true;
    // On this side of the diagonal they hold nothing, and neither will those that follow.
    shape.patience = patience;
    shape.forget(c);
  }
  if (shape.next_look < c + pause) shape.next_look = std::int64_t{c} + pause;
  return false;
}

// Columns first up to but excluding last, in order: one_column(c) does those that are not in
// blocks.
template <sym_mode Mode, diagonal Ones, class T, class OneColumn>
NEVRAD_INLINE void sym_mv_columns_in_blocks(const compressed_view<T>& a,
                                            std::int32_t first,
                                            std::int32_t last,
                                            const T* x,
                                            T* v,
                                            const T& alpha,
                                            column_shapes& known,
                                            const OneColumn& one_column) {
  moving_shape& shape = known.shape;
  const std::int32_t last_block = last - lines_a_block;
  for (std::int32_t c = first; c < last;) {
    if (c <= last_block && known.moving.is_due(c)) {
      const std::int32_t from = c;
      const bool has_length = shape.length > 0 && a.end[c] - a.begin[c] == shape.length;
      if (has_length) c = take_moving_columns<Mode>(shape, a, c, last_block, x, v, alpha, Ones);
      // The end of the range says nothing about the columns behind it.
      if (c - from > lines_a_block || c > last_block) {
        known.moving.found_some();
      } else if (has_length) {
        known.moving.found_little(c);
      }
      if (c != from) continue;
      if (may_be_learnt(shape, a, c, a.base) && learn_columns<Mode>(a, c, shape)) {
        c = take_moving_columns<Mode>(shape, a, c, last_block, x, v, alpha, Ones);
        continue;
      }
    }
    if (c <= last_block && known.runs.is_due(c) && may_be_run(a, c)) {
      if (take_run_columns<Mode, Ones>(a, c, x, v, alpha)) {
        known.runs.found_some();
        c += lines_a_block;
        continue;
      }
      known.runs.found_little(c);
    }
    one_column(c);
    ++c;
  }
}

}  // namespace nevrad
