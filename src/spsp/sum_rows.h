// Rows of a sum of compressed matrices: counting and merging.
#pragma once

#include "arith/products.h"
#include "spsp/request.h"

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

// Pairs of an entry of A and an entry of B in row i with the same column. Every entry meets every
// other, so neither order nor repeats matter.
template <class T>
std::int32_t common_columns(const compressed_matrix<T>& A,
                            const compressed_matrix<T>& B,
                            std::int32_t i) {
  const row_range a = row_of(A, i);
  const row_range b = row_of(B, i);
  std::int32_t common = 0;
  for (std::int64_t p = a.first; p < a.last; ++p) {
    const std::int32_t column = A.indices[p] - A.base;
    for (std::int64_t q = b.first; q < b.last; ++q) {
      common += B.indices[q] - B.base == column ? 1 : 0;
    }
  }
  return common;
}

// counts[i] = entries of row i of the sum, for rows first to last - 1.
template <class T>
void csradd_count(const compressed_matrix<T>& A,
                  const compressed_matrix<T>& B,
                  std::int32_t* counts,
                  std::int32_t first,
                  std::int32_t last) {
  for (std::int32_t i = first; i < last; ++i) {
    const std::int64_t both = row_of(A, i).length() + row_of(B, i).length();
    counts[i] = static_cast<std::int32_t>(both) - common_columns(A, B, i);
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

// Merges row i from `pos` on and returns the position behind its last entry. Writes positions below
// `limit` alone and returns -1 when the row does not end before it; then what follows the merged
// part is not copied. The rows are taken as ascending.
template <class T>
std::int64_t merge_row(const compressed_matrix<T>& A,
                       const compressed_matrix<T>& B,
                       std::int32_t i,
                       T beta,
                       const sum_target<T>& C,
                       std::int64_t pos,
                       std::int64_t limit) {
  row_range a = row_of(A, i);
  row_range b = row_of(B, i);
  while (a.first < a.last && b.first < b.last) {
    if (pos >= limit) return -1;
    const std::int32_t ca = A.indices[a.first] - A.base;
    const std::int32_t cb = B.indices[b.first] - B.base;
    if (ca < cb) {
      C.put(pos++, ca, A.values[a.first++]);
    } else if (ca == cb) {
      C.put(pos++, cb, summed_entry(A.values[a.first++], beta, B.values[b.first++]));
    } else {
      C.put(pos++, cb, scaled_entry(beta, B.values[b.first++]));
    }
  }
  if (a.first >= a.last) {
    if (pos + b.length() > limit) return -1;
    for (; b.first < b.last; ++b.first) {
      C.put(pos++, B.indices[b.first] - B.base, scaled_entry(beta, B.values[b.first]));
    }
  } else {
    if (pos + a.length() > limit) return -1;
    for (; a.first < a.last; ++a.first) {
      C.put(pos++, A.indices[a.first] - A.base, A.values[a.first]);
    }
  }
  return pos;
}

inline constexpr std::int64_t no_limit = INT64_MAX;

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
  for (std::int32_t i = first; i < last; ++i) {
    merge_row(A, B, i, beta, C, static_cast<std::int64_t>(ic[i]) - ic[0], no_limit);
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
  std::int64_t pos = 0;
  for (std::int32_t i = 0; i < A.rows; ++i) {
    pos = merge_row(A, B, i, beta, C, pos, nzmax);
    if (pos < 0) return invalid_value;
    ic[i + 1] = static_cast<std::int32_t>(pos + 1);
  }
  return success;
}

}  // namespace nevrad
