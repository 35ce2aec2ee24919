// Rows whose entries lie in many column blocks, few in each, as those of matrices without structure
// do. Where a part of such a row ends cannot be foreseen, and to tell it takes longer than the
// entries' products. So it is told for many entries at once, before the rows that need it, and the
// sums go on without a branch: hardware reaches further ahead, and memory is kept busy. The order
// of sums is that of row_parts.h.
#pragma once

#include "arith/choice.h"
#include "mm/row_parts.h"

namespace nevrad {

// Where parts end among the first entries of a row, a bit each.
template <class T>
std::uint64_t ends_of_row(const compressed_matrix<T>& a,
                          std::int32_t r,
                          const block_bounds& bounds) {
  const std::int64_t last = std::min<std::int64_t>(a.end[r], std::int64_t{a.begin[r]} + 64);
  std::uint64_t ends = 0;
  std::int32_t before = -1;
  for (std::int64_t p = a.begin[r]; p < last; ++p) {
    const std::int32_t block = bounds.block_of(a.indices[p - a.base] - a.base);
    ends = ends << 1 | (block != before ? 1 : 0);
    before = block;
  }
  return ends;
}

// Whether rows are quicker so: they have parts of few entries, which end elsewhere in the next row.
// Judged by some rows, whose order does not matter here.
template <class T>
bool rows_are_scattered(const compressed_matrix<T>& a, const block_bounds& bounds) {
  constexpr std::int32_t samples = 24;
  constexpr std::int64_t few = 4;
  if (bounds.count() == 1 || a.rows < 2 * samples) return false;
  std::int64_t parts = 0;
  std::int64_t entries = 0;
  std::int32_t unlike = 0;
  for (std::int32_t s = 0; s < samples; ++s) {
    const auto r = static_cast<std::int32_t>(std::int64_t{a.rows} * s / samples);
    const std::uint64_t ends = ends_of_row(a, r, bounds);
    parts += __builtin_popcountll(ends);
    entries += std::min(a.end[r] - a.begin[r], 64);
    unlike += ends != ends_of_row(a, r + 1, bounds) ? 1 : 0;
  }
  return unlike > samples / 2 && entries <= few * parts;
}

// Which entries of some rows are the last ones of their part.
template <class T>
class part_ends {
 public:
  explicit part_ends(const block_bounds& bounds) : bounds_(bounds) {}

  // For the rows of `a`, of which those that ascend are told right. False if they do not fit.
  bool find(const row_entries<T>& a) {
    const std::int64_t last = a.end[a.rows - 1];
    if (last - a.begin > room) return false;
    if (a.indices == indices_ && a.begin == begin_ && last <= last_) return true;
    indices_ = a.indices;
    begin_ = a.begin;
    last_ = last;
    std::int64_t p = a.begin;
    for (; p + at_once < last; p += at_once) set(p, a.indices + p, a.base);
    std::int32_t rest[at_once + 1] = {};
    for (std::int64_t k = p; k < last; ++k) rest[k - p] = a.indices[k];
    set(p, rest, a.base);
    for (std::int32_t i = 0; i < a.rows; ++i) {
      const std::int64_t end = a.end[i];
      if (end > a.begin && end <= last) ends_[end - a.begin - 1] = chosen<T>;
    }
    return true;
  }

  // That of the entry at a position.
  NEVRAD_INLINE const choice<T>* at_positions() const { return ends_ - begin_; }

 private:
  static constexpr std::int32_t room = 2048;
  static constexpr int at_once = 8;
  using index_lanes = detail::vector_of<std::int32_t, at_once>::type;
  using real_lanes = detail::vector_of<float, at_once>::type;
  using choice_lanes = typename detail::vector_of<choice<T>, at_once>::type;

  // The blocks of eight entries. A fifth of a number below 2^21 is exact in single precision.
  index_lanes blocks_of(const std::int32_t* indices, std::int32_t base) const {
    static_assert(mm_block_cols == 5 << 10);
    index_lanes columns;
    __builtin_memcpy(&columns, indices, sizeof columns);
    columns -= base;
    const real_lanes fifth = __builtin_convertvector(columns >> 10, real_lanes) * 0.2F;
    const index_lanes block = __builtin_convertvector(fifth, index_lanes);
    const index_lanes full = index_lanes{} + bounds_.full();
    return (block < full ? block : full) - (columns >= bounds_.middle());
  }
  void set(std::int64_t p, const std::int32_t* indices, std::int32_t base) {
    const index_lanes ends = blocks_of(indices, base) != blocks_of(indices + 1, base);
    const choice_lanes wide = __builtin_convertvector(ends, choice_lanes);
    __builtin_memcpy(ends_ + (p - begin_), &wide, sizeof wide);
  }

  const block_bounds bounds_;
  const std::int32_t* indices_ = nullptr;
  std::int64_t begin_ = 0;
  std::int64_t last_ = 0;
  alignas(cache_line) choice<T> ends_[room + at_once];
};

// A row of W columns on its way.
template <int W, class T>
struct open_row {
  lanes<T, W> row;
  lanes<T, W> sum;  // of the part
};

// As update_rows for ascending rows, `ends` telling at each position whether it ends a part.
template <int W, class T, class Rows>
NEVRAD_INLINE void update_scattered_rows(const row_entries<T>& entries,
                                         const choice<T>* ends_of_parts,
                                         const Rows& rows_of_b,
                                         T* c,
                                         std::int64_t ldc,
                                         T alpha,
                                         T beta) {
  // In registers, whatever is stored.
  const row_entries<T> a = entries;
  const choice<T>* const ends = ends_of_parts;
  const Rows rows = rows_of_b;
  const lanes<T, W> scale = broadcast<W>(to_lane(alpha));
  const lanes<T, W> scale_c = broadcast<W>(to_lane(beta));
  const auto start = [&](const T* at) {
    return open_row<W, T>{multiply_fused(load<W>(at), scale_c), zero_lanes<T, W>()};
  };
  const auto add_entry = [&](open_row<W, T>& to, std::int64_t p) {
    ask_for_later(rows, p);
    to.sum = multiply_add(to.sum, rows(a.indices[p]), broadcast<W>(load<1>(a.values + p)));
    to.row = choose(ends[p], multiply_add(to.row, to.sum, scale), to.row);
    to.sum = clear_if(ends[p], to.sum);
  };
  const auto add_entries = [&](open_row<W, T>& to, std::int64_t p, std::int64_t end) {
#pragma clang loop unroll(disable)
    for (; p < end; ++p) add_entry(to, p);
  };
  std::int64_t p = a.begin;
  std::int32_t i = 0;
  // A row is a chain; two go in step where there is room for both.
  if constexpr (sizeof(T) * W <= cache_line) {
    for (; i + 1 < a.rows; i += 2, c += 2 * ldc) {
      const std::int64_t middle = a.end[i];
      const std::int64_t end = a.end[i + 1];
      fetch_rows_behind(rows, a.indices, p, middle, c, ldc);
      fetch_rows_behind(rows, a.indices, middle, end, c + ldc, ldc);
      fetch_entries_behind(rows, a.values, a.indices, p, end);
      open_row<W, T> first = start(c);
      open_row<W, T> second = start(c + ldc);
      const std::int64_t both = std::min(middle - p, end - middle);
#pragma clang loop unroll(disable)
      for (std::int64_t k = 0; k < both; ++k) {
        add_entry(first, p + k);
        add_entry(second, middle + k);
      }
      add_entries(first, p + both, middle);
      add_entries(second, middle + both, end);
      store(c, first.row);
      store(c + ldc, second.row);
      p = end;
    }
  }
  for (; i < a.rows; ++i, c += ldc) {
    const std::int64_t end = a.end[i];
    fetch_rows_behind(rows, a.indices, p, end, c, ldc);
    fetch_entries_behind(rows, a.values, a.indices, p, end);
    open_row<W, T> only = start(c);
    add_entries(only, p, end);
    store(c, only.row);
    p = end;
  }
}

}  // namespace nevrad
