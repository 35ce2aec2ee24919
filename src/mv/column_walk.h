// What the walks over columns share: finding the diagonal by one binary search, so that the loops
// over the rest of a column are free of tests, and the hints of those loops.
//
// Indices must ascend within a column; nothing detects when they do not.
#pragma once

#include "mv/runs.h"

#include "matrix/record.h"

namespace nevrad {

// Entries of one column: positions first up to but excluding last.
struct column_segment {
  std::int64_t first;
  std::int64_t last;

  bool empty() const { return first >= last; }
};

template <class T>
NEVRAD_INLINE column_segment column_at(const compressed_view<T>& a, std::int32_t c) {
  return {a.begin[c] - a.base, a.end[c] - a.base};
}

// The first position of the column whose index is not below the target. Most columns hold one
// triangle alone, so that every probe goes the same way: branches that are foreseen, where a choice
// without them would have each probe wait for the one before.
template <triangle Side>
NEVRAD_INLINE std::int64_t find_not_below(const std::int32_t* indices,
                                          column_segment column,
                                          std::int32_t target) {
  std::int64_t low = 0;
  std::int64_t high = column.last - column.first;
  while (low < high) {
    const std::int64_t mid = (low + high) >> 1;
    const bool below = indices[column.first + mid] < target;
    if (__builtin_expect_with_probability(below, Side == triangle::upper, 0.99)) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  return column.first + low;
}

template <class T>
NEVRAD_INLINE entry_run<T> run_of(const compressed_view<T>& a, column_segment segment) {
  return {a.values + segment.first, a.indices + segment.first,
          static_cast<std::int32_t>(segment.last - segment.first)};
}

// Bytes ahead of the read position, on values and indices alike. A conjugated pass has distances of
// its own.
template <conjugation C>
struct scatter_pass_table {
  static constexpr bool plain = C == conjugation::no;
  static constexpr int at_start = plain ? 0 : 256;        // level 1, keep, once
  static constexpr int near_ahead = plain ? 2048 : 4096;  // level 1, a half; plain: streaming
  static constexpr int far_ahead = plain ? 4096 : 0;      // level 2, streaming, a half
};
template <conjugation C>
struct gather_pass_table {
  static constexpr bool plain = C == conjugation::no;
  static constexpr int at_start = plain ? 128 : 256;      // level 1, keep, once
  static constexpr int near_ahead = plain ? 1664 : 3072;  // level 1, keep, a half
};

template <cache Level, int Bytes, hint Hint = hint::keep, class T>
NEVRAD_INLINE void hint_both(const T* values, const std::int32_t* indices) {
  if constexpr (fixed_hints && Bytes > 0) {
    prefetch<Level, Hint>(values, Bytes);
    prefetch<Level, Hint>(indices, Bytes);
  }
}

template <conjugation C>
struct scatter_pass_hints {
  template <class T>
  NEVRAD_INLINE void operator()(const T* values, const std::int32_t* indices, int /*half*/) const {
    using table = scatter_pass_table<C>;
    constexpr hint near_hint = table::plain ? hint::stream : hint::keep;
    hint_both<cache::level1, table::near_ahead, near_hint>(values, indices);
    hint_both<cache::level2, table::far_ahead, hint::stream>(values, indices);
  }
};

// v[index] += element * factor over the segment, or conj(element).
template <conjugation C, class T>
NEVRAD_INLINE void scatter_segment(const compressed_view<T>& a,
                                   column_segment segment,
                                   T* v,
                                   T factor) {
  using table = scatter_pass_table<C>;
  const entry_run<T> run = run_of(a, segment);
  hint_both<cache::level1, table::at_start>(run.values, run.indices);
  scatter_run<C, remainder::by_four>(v - a.base, run, factor, scatter_pass_hints<C>{});
}

// The sum of element * x[index] over the segment, or conj(element).
template <conjugation C, class T>
NEVRAD_INLINE T gather_segment(const compressed_view<T>& a, column_segment segment, const T* x) {
  using table = gather_pass_table<C>;
  const entry_run<T> run = run_of(a, segment);
  hint_both<cache::level1, table::at_start>(run.values, run.indices);
  const auto hint_half = [](const T* values, const std::int32_t* indices) {
    hint_both<cache::level1, table::near_ahead>(values, indices);
  };
  return to_element(gather_run<C>(x - a.base, run, hint_half));
}

}  // namespace nevrad
