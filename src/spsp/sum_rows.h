// Rows of a sum of compressed matrices: counting and merging.
#pragma once

#include "arith/products.h"
#include "spsp/request.h"

#include <string.h>

#include <bit>
#include <type_traits>
#include <utility>

namespace nevrad {

// An entry that B has alone: one product, two roundings a part in the complex types.
template <class T>
NEVRAD_INLINE T scaled_entry(T beta, T b) {
  return multiply_fused(beta, b);
}

// An entry that both have. Real: one rounding. Complex: the product, then one addition a part.
template <class T>
NEVRAD_INLINE T summed_entry(T a, T beta, T b) {
  if constexpr (is_complex<T>) {
    return add(multiply_fused(beta, b), a);
  } else {
    return fma(b, beta, a);
  }
}

// Pairs of an entry of A and an entry of B with the same column. Every entry meets every other, so
// neither order nor repeats matter.
template <class T>
std::int32_t common_columns(const compressed_matrix<T>& A,
                            row_range a,
                            const compressed_matrix<T>& B,
                            row_range b) {
  std::int32_t common = 0;
  for (std::int64_t p = a.first; p < a.last; ++p) {
    const std::int32_t column = A.indices[p] - A.base;
    for (std::int64_t q = b.first; q < b.last; ++q) {
      common += B.indices[q] - B.base == column ? 1 : 0;
    }
  }
  return common;
}

// Eight column numbers at once. Blocks are read whole, beyond the end of a row where need be, but
// never beyond the end of the array.
constexpr int block = 8;
typedef std::int32_t column_block __attribute__((vector_size(block * sizeof(std::int32_t))));

NEVRAD_INLINE column_block load_block(const std::int32_t* from) {
  column_block r;
  memcpy(&r, from, sizeof r);
  return r;
}

// All bits set in the first n lanes.
NEVRAD_INLINE column_block first_lanes(std::int64_t n) {
  constexpr column_block number = {0, 1, 2, 3, 4, 5, 6, 7};
  return number < static_cast<std::int32_t>(n < block ? n : block);
}

template <int By>
NEVRAD_INLINE column_block rotated(column_block v) {
  return __builtin_shufflevector(v, v, By % 8, (By + 1) % 8, (By + 2) % 8, (By + 3) % 8,
                                 (By + 4) % 8, (By + 5) % 8, (By + 6) % 8, (By + 7) % 8);
}

// Lane i is -n when n lanes of b equal lane i of a.
template <int... By>
NEVRAD_INLINE column_block equal_lanes(column_block a,
                                       column_block b,
                                       std::integer_sequence<int, By...>) {
  return ((a == rotated<By>(b)) + ...);
}

// Whether the row's columns ascend, none twice.
template <class T>
NEVRAD_INLINE bool ascends(const compressed_matrix<T>& a, row_range row) {
  column_block descents{};
  for (std::int64_t p = row.first; p < row.last - 1; p += block) {
    const std::int32_t* const at = a.indices + p;
    descents |= (load_block(at) >= load_block(at + 1)) & first_lanes(row.last - 1 - p);
  }
  return __builtin_reduce_or(descents) == 0;
}

// The same count for rows that ascend: blocks of both rows meet in the order of a merge, every
// entry of the one with every entry of the other.
template <class T>
NEVRAD_INLINE std::int32_t common_of_ascending(const compressed_matrix<T>& A,
                                               row_range a,
                                               const compressed_matrix<T>& B,
                                               row_range b) {
  constexpr std::int32_t no_column_of_a = -2;
  constexpr std::int32_t no_column_of_b = -3;
  column_block found{};
  while (a.first < a.last && b.first < b.last) {
    const column_block in_a = first_lanes(a.length());
    const column_block in_b = first_lanes(b.length());
    const column_block ca = load_block(A.indices + a.first) - A.base;
    const column_block cb = load_block(B.indices + b.first) - B.base;
    found -=
        equal_lanes((ca & in_a) | (no_column_of_a & ~in_a), (cb & in_b) | (no_column_of_b & ~in_b),
                    std::make_integer_sequence<int, block>{});
    const std::int64_t next_a = a.first + block < a.last ? a.first + block : a.last;
    const std::int64_t next_b = b.first + block < b.last ? b.first + block : b.last;
    const std::int32_t last_a = A.indices[next_a - 1] - A.base;
    const std::int32_t last_b = B.indices[next_b - 1] - B.base;
    if (last_a <= last_b) a.first = next_a;
    if (last_b <= last_a) b.first = next_b;
  }
  return __builtin_reduce_add(found);
}

// The same for rows too close to the end of their array for blocks.
template <class T>
bool ascends_by_entry(const compressed_matrix<T>& a, row_range row) {
  for (std::int64_t p = row.first + 1; p < row.last; ++p) {
    if (a.indices[p - 1] >= a.indices[p]) return false;
  }
  return true;
}

template <class T>
std::int32_t common_by_entry(const compressed_matrix<T>& A,
                             row_range a,
                             const compressed_matrix<T>& B,
                             row_range b) {
  std::int32_t common = 0;
  while (a.first < a.last && b.first < b.last) {
    const std::int32_t in_a = A.indices[a.first] - A.base;
    const std::int32_t in_b = B.indices[b.first] - B.base;
    common += in_a == in_b ? 1 : 0;
    a.first += in_a <= in_b ? 1 : 0;
    b.first += in_b <= in_a ? 1 : 0;
  }
  return common;
}

// Pairs of one row, by the cheapest way that gives the same count.
template <class T>
NEVRAD_INLINE std::int32_t count_common(const compressed_matrix<T>& A,
                                        row_range a,
                                        const compressed_matrix<T>& B,
                                        row_range b,
                                        bool whole_blocks) {
  if (whole_blocks) {
    if (ascends(A, a) && ascends(B, b)) return common_of_ascending(A, a, B, b);
  } else if (ascends_by_entry(A, a) && ascends_by_entry(B, b)) {
    return common_by_entry(A, a, B, b);
  }
  return common_columns(A, a, B, b);
}

// counts[i] = entries of row i of the sum, for rows first to last - 1.
template <class T>
void csradd_count(const compressed_matrix<T>& A,
                  const compressed_matrix<T>& B,
                  std::int32_t* counts,
                  std::int32_t first,
                  std::int32_t last) {
  const std::int64_t blocks_of_a = csr_entries(A) - block;
  const std::int64_t blocks_of_b = csr_entries(B) - block;
  for (std::int32_t i = first; i < last; ++i) {
    const row_range a = row_of(A, i);
    const row_range b = row_of(B, i);
    const bool whole_blocks = a.last <= blocks_of_a && b.last <= blocks_of_b;
    const std::int32_t common = count_common(A, a, B, b, whole_blocks);
    counts[i] = static_cast<std::int32_t>(a.length() + b.length()) - common;
  }
}

// Where a merge writes: c and jc at pos and on, columns counted from `base`.
template <class T>
struct sum_target {
  T* c;
  std::int32_t* jc;
  std::int32_t base;

  NEVRAD_INLINE void put(std::int64_t pos, std::int32_t column, T value) const {
    jc[pos] = base + column;
    c[pos] = value;
  }
};

// a where the mask is all ones, b where it is zero.
template <class T>
NEVRAD_INLINE T chosen(std::int64_t mask, T a, T b) {
  if constexpr (is_complex<T>) {
    return {chosen(mask, a.re, b.re), chosen(mask, a.im, b.im)};
  } else {
    using word = std::conditional_t<is_single<T>, std::int32_t, std::int64_t>;
    const auto bits = static_cast<word>(mask);
    return std::bit_cast<T>((std::bit_cast<word>(a) & bits) | (std::bit_cast<word>(b) & ~bits));
  }
}

// The zero that leaves every number as it is, signs of zero included, when it is added.
template <class T>
NEVRAD_INLINE T minus_zero() {
  if constexpr (is_complex<T>) {
    return {-real_of<T>{0}, -real_of<T>{0}};
  } else {
    return -T{0};
  }
}

// Which matrix a merge takes from next: bits of a turn.
inline constexpr std::uint64_t turn_of_a = 1;
inline constexpr std::uint64_t turn_of_b = 2;

// The last 32 turns of the row before, and whether they were those of the row before that. Rows of
// grids repeat their turns, and branches foresee them; those of unrelated matrices do not, and a
// branch would be wrong every other time. Either way gives the same bits.
struct merge_history {
  std::uint64_t turns = 0;
  bool repeats = false;
};

// Two rows on their way into one.
template <class T>
class row_merge {
 public:
  row_merge(const compressed_matrix<T>& A,
            const compressed_matrix<T>& B,
            std::int32_t i,
            T beta,
            const sum_target<T>& C,
            std::int64_t pos)
      : target_(C),
        a_(row_of(A, i)),
        b_(row_of(B, i)),
        pos_(pos),
        base_a_(A.base),
        base_b_(B.base),
        columns_a_(A.indices),
        columns_b_(B.indices),
        values_a_(A.values),
        values_b_(B.values),
        beta_(beta) {}

  // Until one of the rows is used up, or `limit` is reached: then false.
  NEVRAD_INLINE bool run(std::int64_t limit, merge_history& history) {
    turns_ = 0;
    const bool room = history.repeats ? run_by(limit, [](row_merge& m) { m.step_by_branches(); })
                                      : run_by(limit, [](row_merge& m) { m.step_by_masks(); });
    history.repeats = turns_ == history.turns;
    history.turns = turns_;
    return room;
  }

  // What the other row still has. Returns the position behind it, or -1 when it does not end before
  // `limit`; nothing is copied then.
  NEVRAD_INLINE std::int64_t finish(std::int64_t limit) {
    if (a_.first >= a_.last) {
      if (pos_ + b_.length() > limit) return -1;
      while (b_.first < b_.last) take_b(columns_b_[b_.first] - base_b_);
    } else {
      if (pos_ + a_.length() > limit) return -1;
      while (a_.first < a_.last) take_a(columns_a_[a_.first] - base_a_);
    }
    return pos_;
  }

 private:
  template <class Step>
  NEVRAD_INLINE bool run_by(std::int64_t limit, const Step& step) {
    while (a_.first < a_.last && b_.first < b_.last) {
      if (pos_ >= limit) return false;
      step(*this);
    }
    return true;
  }

  NEVRAD_INLINE void take_a(std::int32_t column) {
    target_.put(pos_++, column, values_a_[a_.first++]);
  }
  NEVRAD_INLINE void take_b(std::int32_t column) {
    target_.put(pos_++, column, scaled_entry(beta_, values_b_[b_.first++]));
  }

  NEVRAD_INLINE void step_by_branches() {
    const std::int32_t a = columns_a_[a_.first] - base_a_;
    const std::int32_t b = columns_b_[b_.first] - base_b_;
    if (a < b) {
      take_a(a);
      turns_ = turns_ << 2 | turn_of_a;
    } else if (a == b) {
      target_.put(pos_++, b, summed_entry(values_a_[a_.first++], beta_, values_b_[b_.first++]));
      turns_ = turns_ << 2 | turn_of_a | turn_of_b;
    } else {
      take_b(b);
      turns_ = turns_ << 2 | turn_of_b;
    }
  }

  // An entry of B alone is a sum with minus zero.
  NEVRAD_INLINE void step_by_masks() {
    const std::int32_t a = columns_a_[a_.first] - base_a_;
    const std::int32_t b = columns_b_[b_.first] - base_b_;
    const std::int64_t from_a = opaque(a <= b ? -1 : 0);
    const std::int64_t from_b = opaque(b <= a ? -1 : 0);
    const T value = values_a_[a_.first];
    const T addend = chosen(from_a, value, minus_zero<T>());
    const T sum = summed_entry(addend, beta_, values_b_[b_.first]);
    target_.put(pos_++, a < b ? a : b, chosen(from_b, sum, value));
    a_.first -= from_a;
    b_.first -= from_b;
    turns_ = turns_ << 2 | (static_cast<std::uint64_t>(from_a) & turn_of_a) |
             (static_cast<std::uint64_t>(from_b) & turn_of_b);
  }

  sum_target<T> target_;
  row_range a_;
  row_range b_;
  std::int64_t pos_;
  std::uint64_t turns_ = 0;
  std::int32_t base_a_;
  std::int32_t base_b_;
  const std::int32_t* columns_a_;
  const std::int32_t* columns_b_;
  const T* values_a_;
  const T* values_b_;
  T beta_;
};

// Merges row i from `pos` on and returns the position behind its last entry. Writes positions below
// `limit` alone and returns -1 when the row does not end before it; then what follows the merged
// part is not copied. The rows are taken as ascending.
template <class T>
NEVRAD_INLINE std::int64_t merge_row(const compressed_matrix<T>& A,
                                     const compressed_matrix<T>& B,
                                     std::int32_t i,
                                     T beta,
                                     const sum_target<T>& C,
                                     std::int64_t pos,
                                     std::int64_t limit,
                                     merge_history& history) {
  row_merge<T> merge(A, B, i, beta, C, pos);
  return merge.run(limit, history) ? merge.finish(limit) : -1;
}

inline constexpr std::int64_t no_limit = INT64_MAX;

// The record of a dependent type carries these pointers to where they are written; lint does not
// see it.
// NOLINTBEGIN(readability-non-const-parameter)

// Rows first to last - 1 into the places that ic gives them.
template <class T>
void csradd_fill(const compressed_matrix<T>& A,
                 const compressed_matrix<T>& B,
                 T* c,
                 std::int32_t* jc,
                 const std::int32_t* ic,
                 std::int32_t first,
                 std::int32_t last,
                 T beta) {
  const sum_target<T> C{c, jc, ic[0]};
  merge_history history;
  for (std::int32_t i = first; i < last; ++i) {
    merge_row(A, B, i, beta, C, static_cast<std::int64_t>(ic[i]) - ic[0], no_limit, history);
  }
}

// All rows, one behind the other, with the row pointers. Answers 3 at the first entry that finds no
// room; the rows before it are complete then.
template <class T>
status csradd_merge_checked(const compressed_matrix<T>& A,
                            const compressed_matrix<T>& B,
                            T* c,
                            std::int32_t* jc,
                            std::int32_t* ic,
                            std::int32_t nzmax,
                            T beta) {
  ic[0] = 1;
  const sum_target<T> C{c, jc, 1};
  merge_history history;
  std::int64_t pos = 0;
  for (std::int32_t i = 0; i < A.rows; ++i) {
    pos = merge_row(A, B, i, beta, C, pos, nzmax, history);
    if (pos < 0) return invalid_value;
    ic[i + 1] = static_cast<std::int32_t>(pos + 1);
  }
  return success;
}

// NOLINTEND(readability-non-const-parameter)

}  // namespace nevrad
