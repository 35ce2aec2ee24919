// Four neighbouring lines, one behind the other in memory, of which each is the line before moved
// on by one place, as inside of a grid. Real elements.
//
// With the lines as lanes, the elements of x or of y that an entry meets in the four lines are
// neighbours: one load for four. The chains of four sums run side by side, each taking its entries
// in the same order as ever. Every element of y takes the lines in order, too: a later line meets
// it through an earlier entry, so entries whose elements overlap are scattered from the last to the
// first.
#pragma once

#include "arith/tile.h"
#include "matrix/line_shapes.h"
#include "mv/index_runs.h"
#include "mv/lines.h"

namespace nevrad {

// Bytes ahead in x and y, where no hint is fixed, at the place that runs ahead of all others.
inline constexpr int lead_ahead = 512;

// Entries side by side in a line. Those of other runs of the line meet other elements.
struct run_of_entries {
  std::int32_t entry;   // the first one's number within the line
  std::int32_t length;  // 1 to longest_run
  std::int64_t place;   // of the first one: its index less the number of the line
};
inline constexpr std::int32_t longest_run = 4;

// Which entries of an ascending line count.
enum class kept { all, upper, strictly_upper, lower, strictly_lower };

constexpr kept kept_on(triangle side, diagonal ones) {
  if (side == triangle::upper) {
    return ones == diagonal::unit ? kept::strictly_upper : kept::upper;
  }
  return ones == diagonal::unit ? kept::strictly_lower : kept::lower;
}

template <kept Kept>
NEVRAD_INLINE bool is_kept(std::int32_t place) {
  switch (Kept) {
    case kept::all:
      return true;
    case kept::upper:
      return place >= 0;
    case kept::strictly_upper:
      return place > 0;
    case kept::lower:
      return place <= 0;
    case kept::strictly_lower:
      return place < 0;
  }
}

// What a block of such lines looks like, and what is kept of it.
struct moving_shape : line_shape {
  std::int32_t run_count = 0;
  run_of_entries runs[longest_shape];  // of the kept entries
};

// Whether line i and the next look like the first of four that move on and are no band.
template <class T>
NEVRAD_INLINE bool may_move_on(const compressed_view<T>& a, std::int32_t i, std::int32_t offset) {
  if (!may_have_shape(a, i)) return false;
  const std::int32_t* const indices = a.indices + (a.begin[i] - offset);
  const std::int32_t length = a.end[i] - a.begin[i];
  const bool is_band = length > longest_run && indices[longest_run] - indices[0] == longest_run;
  return !is_band && starts_one_on(indices, indices + length);
}

// Whether line i may begin a block of a new shape. Lines that move on but cannot be taken are
// mostly followed by more of them, and a look at each takes longer than the lines.
template <class T>
NEVRAD_INLINE bool may_be_learnt(const moving_shape& shape,
                                 const compressed_view<T>& a,
                                 std::int32_t i,
                                 std::int32_t offset) {
  return i >= shape.next_look && may_move_on(a, i, offset);
}

// Takes the shape of lines i to i + 3, of which may_be_learnt holds, if they are moved on and what
// is kept of them falls into short runs. Else the shape stays, or is none.
template <kept Kept, class T>
[[gnu::noinline]] bool learn_shape(const compressed_view<T>& a,
                                   std::int32_t i,
                                   std::int32_t offset,
                                   moving_shape& shape) {
  if (!is_line_block(a, i, offset)) return false;
  constexpr std::int64_t before_all = INT64_MIN / 2;
  shape.forget(i);
  shape.run_count = 0;
  const std::int32_t length = a.end[i] - a.begin[i];
  const std::int32_t* const indices = a.indices + (a.begin[i] - offset);
  const std::int32_t number = i + offset;
  for (std::int32_t k = 0; k < length; ++k) {
    const std::int32_t place = indices[k] - number;
    if (k > 0 && indices[k] <= indices[k - 1]) return false;
    if (!is_kept<Kept>(place)) continue;
    run_of_entries* const last = shape.run_count > 0 ? shape.runs + shape.run_count - 1 : nullptr;
    const std::int64_t behind = last != nullptr ? last->place + last->length : before_all;
    if (place == behind) {
      if (++last->length > longest_run) return false;
    } else {
      if (place < behind + lines_a_block - 1) return false;
      shape.runs[shape.run_count++] = {k, 1, place};
    }
  }
  shape.remember(indices, length, number);
  return true;
}

// The fixed hints of a trip of the walk line by line, from the positions behind it.
template <class T>
NEVRAD_INLINE void hint_behind_trip(const T* values, const std::int32_t* indices) {
  prefetch<cache::level1>(indices, lines_table::near_ahead);
  prefetch<cache::level1>(values, lines_table::near_ahead);
  prefetch<cache::level2>(values, lines_table::far_ahead);
  prefetch<cache::level2>(indices, lines_table::far_ahead);
}

// What a block asks for where hints are fixed: as the kernel whose lines it takes, but that trips
// of four go through all lines, which are mostly on the side.
struct trip_hints {
  template <class T>
  NEVRAD_INLINE void operator()(const moving_shape& shape,
                                const T* values,
                                const std::int32_t* indices) const {
    const std::int64_t entries = std::int64_t{lines_a_block} * shape.length;
    for (std::int64_t k = tile_size; k <= entries; k += tile_size) {
      hint_behind_trip(values + k, indices + k);
    }
  }
};
// Of the kept entries, by halves of trips of eight.
template <class HintHalf>
struct half_hints {
  HintHalf hint_half;

  template <class T>
  void operator()(const moving_shape& shape, const T* values, const std::int32_t* indices) const {
    if (shape.run_count == 0) return;
    const run_of_entries& last = shape.runs[shape.run_count - 1];
    for (int r = 0; r < lines_a_block; ++r) {
      for (std::int32_t k = shape.runs[0].entry + 8; k <= last.entry + last.length; k += 8) {
        hint_half(values + k - 4, indices + k - 4, 0);
        hint_half(values + k, indices + k, 1);
      }
      values += shape.length;
      indices += shape.length;
    }
  }
};
struct no_hints {
  template <class T>
  void operator()(const moving_shape&, const T*, const std::int32_t*) const {}
};

// Asks ahead for the entries of blocks to come. Where no hint is fixed, evenly over the runs of a
// block, as all at once they would hold up each other and the block.
template <class T, class HintBlock>
class block_fetch {
 public:
  NEVRAD_INLINE block_fetch(const moving_shape& shape, const HintBlock& hint_block)
      : shape_(shape),
        hint_block_(hint_block),
        length_(shape.length),
        pieces_((shape.length + 3) / 4),
        runs_(shape.run_count) {}

  NEVRAD_INLINE void begin_block(const T* values, const std::int32_t* indices) {
    values_ = values;
    indices_ = indices;
    due_ = 0;
    if constexpr (fixed_hints) hint_block_(shape_, values, indices);
  }

  NEVRAD_INLINE void begin_run() {
    if constexpr (!fixed_hints) {
      for (due_ += pieces_; due_ >= runs_; due_ -= runs_) {
        if (length_ < far_from) {
          fetch_piece<cache::level1, stream_values_ahead>();
        } else {
          fetch_piece<cache::level2, 2 * stream_values_ahead>();
        }
        values_ += piece;
        indices_ += piece;
      }
    }
  }

 private:
  static constexpr int piece = 16;  // entries
  // Lines so long that a block takes a good part of the usual distance are asked for further ahead.
  static constexpr std::int32_t far_from = 20;

  template <cache Level, int Bytes>
  NEVRAD_INLINE void fetch_piece() const {
    prefetch<Level>(values_, Bytes);
    if constexpr (sizeof(T) == 8) prefetch<Level>(values_, Bytes + 64);
    prefetch<Level>(indices_, Bytes / 2);
  }

  const moving_shape& shape_;
  HintBlock hint_block_;
  const T* values_ = nullptr;
  const std::int32_t* indices_ = nullptr;
  std::int32_t length_;
  std::int32_t pieces_;
  std::int32_t runs_;
  std::int32_t due_ = 0;
};

// The elements of N neighbouring entries of four lines, with the lines as lanes.
template <class T, int N>
struct entry_lanes {
  lanes<T, 4> of[N];
};

template <int N, class T>
NEVRAD_INLINE entry_lanes<T, N> load_entries(const T* at, std::int64_t stride) {
  entry_lanes<T, N> r;
  if constexpr (N == tile_size) {
    const tile<T> t = transpose(load_tile(at, stride));
    for (int e = 0; e < N; ++e) r.of[e] = t.line[e];
  } else {
    if constexpr (N >= 2) {
      const auto pairs = [&](std::int64_t line) {
        return __builtin_shufflevector(load<2>(at + line * stride).v,
                                       load<2>(at + (line + 2) * stride).v, 0, 1, 2, 3);
      };
      const auto even = pairs(0);
      const auto odd = pairs(1);
      r.of[0] = {__builtin_shufflevector(even, odd, 0, 4, 2, 6)};
      r.of[1] = {__builtin_shufflevector(even, odd, 1, 5, 3, 7)};
    }
    if constexpr (N % 2 == 1) {
      const T* const last = at + (N - 1);
      r.of[N - 1] = {{last[0], last[stride], last[2 * stride], last[3 * stride]}};
    }
  }
  return r;
}

// Calls take(N) with the length of a run as a constant.
template <class Take>
NEVRAD_INLINE void with_run_length(std::int32_t length, const Take& take) {
  switch (length) {
    case 1:
      take(std::integral_constant<int, 1>{});
      break;
    case 2:
      take(std::integral_constant<int, 2>{});
      break;
    case 3:
      take(std::integral_constant<int, 3>{});
      break;
    default:
      take(std::integral_constant<int, 4>{});
      break;
  }
}

// sum + a x over the entries of a run, in their order.
template <int N, class T>
NEVRAD_INLINE lanes<T, 4> gather_entries(lanes<T, 4> sum, const entry_lanes<T, N>& a, const T* x) {
  for (int e = 0; e < N; ++e) sum = multiply_add(sum, a.of[e], load<4>(x + e));
  return sum;
}

// Four elements from `at` on, of which those but the first are the first three of `behind`: handed
// on in registers, as a load from two stores that are still on their way would wait for both.
template <class T>
NEVRAD_INLINE lanes<T, 4> one_before(lanes<T, 4> behind, const T* at) {
  const lanes<T, 4> first = broadcast<4>(load<1>(at));
  return {__builtin_shufflevector(behind.v, first.v, 4, 0, 1, 2)};
}

// y + a factor over entries First to Last - 1 of a run, the last first. `top` is what the last
// meets. Answers what the first has met.
template <int First, int Last, int N, class T>
NEVRAD_INLINE lanes<T, 4> scatter_entries(const entry_lanes<T, N>& a,
                                          T* y,
                                          lanes<T, 4> factor,
                                          lanes<T, 4> top) {
  static_assert(Last <= N);
  for (int e = Last - 1; e >= First; --e) {
    if (e < Last - 1) top = one_before(top, y + e);
    top = multiply_add(top, a.of[e], factor);
    store(y + e, top);
  }
  return top;
}

// to += a_i factor for the kept entries of blocks of lines from line_begin on, as long as they have
// the shape, none beginning behind last_block; factors(i) are those of lines i to i + 3, before(i)
// and after(i) are called ahead of them and behind. Answers the line behind the blocks.
template <class T, class HintBlock, class Factors, class Before, class After>
NEVRAD_INLINE std::int32_t scatter_moving_lines(const moving_shape& shape,
                                                const compressed_view<T>& a,
                                                std::int32_t offset,
                                                T* to,
                                                std::int32_t line_begin,
                                                std::int32_t last_block,
                                                const HintBlock& hint_block,
                                                const Factors& factors,
                                                const Before& before,
                                                const After& after) {
  const std::int64_t length = shape.length;
  const int runs = shape.run_count;
  shaped_blocks<T> blocks(shape, a, line_begin, offset);
  block_fetch<T, HintBlock> fetch(shape, hint_block);
  const std::int64_t lead = runs > 0 ? shape.runs[runs - 1].place : 0;
  std::int32_t i = line_begin;
  while (blocks.has_shape(i, i + offset)) {
    fetch.begin_block(blocks.values, blocks.indices);
    if constexpr (!fixed_hints) {
      prefetch<cache::level1>(to + i + lead, lead_ahead);
    }
    before(i);
    const lanes<T, 4> factor = factors(i);
    for (int r = 0; r < runs; ++r) {
      const run_of_entries run = shape.runs[r];
      T* const at = to + i + run.place;
      fetch.begin_run();
      with_run_length(run.length, [&](auto n) NEVRAD_INLINED {
        constexpr int count = decltype(n)::value;
        scatter_entries<0, count>(load_entries<count>(blocks.values + run.entry, length), at,
                                  factor, load<4>(at + count - 1));
      });
    }
    after(i);
    blocks.next();
    i += lines_a_block;
    if (i > last_block) break;
  }
  return i;
}

// The same for all lines from line_begin up to but excluding line_end; one_line(i) does those that
// are not in such blocks.
template <kept Kept,
          class T,
          class HintBlock,
          class Factors,
          class Before,
          class After,
          class OneLine>
NEVRAD_INLINE void scatter_in_blocks(const compressed_view<T>& a,
                                     std::int32_t offset,
                                     T* to,
                                     std::int32_t line_begin,
                                     std::int32_t line_end,
                                     const HintBlock& hint_block,
                                     const Factors& factors,
                                     const Before& before,
                                     const After& after,
                                     const OneLine& one_line) {
  const std::int32_t last_block = line_end - lines_a_block;
  moving_shape shape;
  for (std::int32_t i = line_begin; i < line_end;) {
    if (i <= last_block) {
      if (shape.length > 0 && a.end[i] - a.begin[i] == shape.length) {
        const std::int32_t from = i;
        i = scatter_moving_lines(shape, a, offset, to, i, last_block, hint_block, factors, before,
                                 after);
        if (i != from) continue;
      }
      if (may_be_learnt(shape, a, i, offset) && learn_shape<Kept>(a, i, offset, shape)) continue;
    }
    one_line(i);
    ++i;
  }
}

}  // namespace nevrad
