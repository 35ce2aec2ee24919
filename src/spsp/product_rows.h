// Rows of a product of compressed matrices: counting and accumulating.
//
// The plain form clears an accumulator of the width of B for every row and looks at all of it for
// the columns that occur. Here only what a row touches is cleared and looked at, with the same
// columns in the same order, the same additions, and entries that cancel to zero kept.
#pragma once

#include "arith/lanes.h"
#include "spsp/column_set.h"
#include "spsp/request.h"

namespace nevrad {

// sum + a u. Complex: two rotations, the element of A first.
template <class T>
NEVRAD_INLINE T accumulated(T sum, T a, T u) {
  return to_element(multiply_add(to_lane(sum), to_lane(a), to_lane(u)));
}

// Calls body(element of A, column, element of B) for every product of row i, in storage order.
template <class T, class Body>
NEVRAD_INLINE void for_products(const compressed_matrix<T>& A,
                                const compressed_matrix<T>& B,
                                std::int32_t i,
                                const Body& body) {
  const row_range a = row_of(A, i);
  for (std::int64_t p = a.first; p < a.last; ++p) {
    const T v = A.values[p];
    const row_range b = row_of(B, A.indices[p] - A.base);
    for (std::int64_t q = b.first; q < b.last; ++q) body(v, B.indices[q] - B.base, B.values[q]);
  }
}

template <class T>
void clear(T* array, std::int64_t count) {
  memset(static_cast<void*>(array), 0, static_cast<std::uint64_t>(count) * sizeof(T));
}

// counts[i] = distinct columns of row i of C, for rows first to last - 1. A column is new in a row
// when its marker does not hold the row's number yet, so one clearing serves all rows.
template <class T>
void csrmultcsr_count_rows(const compressed_matrix<T>& A,
                           const compressed_matrix<T>& B,
                           std::int32_t* counts,
                           std::int32_t first,
                           std::int32_t last,
                           std::int32_t* marker) {
  clear(marker, B.cols);
  for (std::int32_t i = first; i < last; ++i) {
    const std::int32_t stamp = i + 1;
    std::int32_t count = 0;
    for_products(A, B, i, [&](T, std::int32_t column, T) {
      count += marker[column] == stamp ? 0 : 1;
      marker[column] = stamp;
    });
    counts[i] = count;
  }
}

// The accumulator of ascending rows: a dense row of zeros, and the set of the columns that the row
// at hand has touched.
template <class T>
class dense_row {
 public:
  dense_row(std::int32_t cols, std::int32_t* marker, T* work)
      : touched_(cols, marker), work_(work) {
    clear(work, cols);
  }

  // Row i of A B into the accumulator.
  void csrmultcsr_accumulate_row(const compressed_matrix<T>& A,
                                 std::int32_t i,
                                 const compressed_matrix<T>& B) {
    for_products(A, B, i, [&](T v, std::int32_t column, T u) {
      work_[column] = accumulated(work_[column], v, u);
      touched_.insert(column);
    });
  }

  // Moves the row out, columns ascending, from `pos` on, and returns the position behind its last
  // entry. Stops at `limit` and returns -1 when there are more.
  std::int64_t write(std::int32_t base,
                     T* c,
                     std::int32_t* jc,
                     std::int64_t pos,
                     std::int64_t limit) {
    const bool whole = touched_.take_all([&](std::int32_t column) {
      if (pos >= limit) return false;
      jc[pos] = column + base;
      c[pos] = work_[column];
      work_[column] = zero<T>();
      ++pos;
      return true;
    });
    return whole ? pos : -1;
  }

 private:
  column_set touched_;
  T* work_;
};

// Rows first to last - 1 into the places that ic gives them, columns ascending.
// The constructors of dependent types write through these pointers; lint does not see it.
// NOLINTBEGIN(readability-non-const-parameter)
template <class T>
void csrmultcsr_fill_rows(const compressed_matrix<T>& A,
                          const compressed_matrix<T>& B,
                          T* c,
                          std::int32_t* jc,
                          const std::int32_t* ic,
                          std::int32_t first,
                          std::int32_t last,
                          std::int32_t* marker,
                          T* work) {
  dense_row<T> row(B.cols, marker, work);
  for (std::int32_t i = first; i < last; ++i) {
    row.csrmultcsr_accumulate_row(A, i, B);
    row.write(B.base, c, jc, static_cast<std::int64_t>(ic[i]) - B.base, INT64_MAX);
  }
}

// NOLINTEND(readability-non-const-parameter)

// The accumulator of rows in order of first touch: place[column] is the position in c and jc at
// which the column's last row has it, so every row is made where it is to stand.
template <class T>
class first_touch_rows {
 public:
  first_touch_rows(const compressed_matrix<T>& B, std::int32_t* place, T* c, std::int32_t* jc)
      : factor_(B), place_(place), c_(c), jc_(jc) {
    memset(place, 0xff, static_cast<std::uint64_t>(B.cols) * sizeof(std::int32_t));
  }

  // Row i of A B from position `pos` on. Returns the position behind its last entry, or -1 with
  // nothing written when it does not end before `limit`.
  std::int64_t csrmultcsr_accumulate_row_list(const compressed_matrix<T>& A,
                                              std::int32_t i,
                                              std::int64_t pos,
                                              std::int64_t limit) {
    // A row that has no more products than there is room needs no counting ahead.
    if (most_entries(A, i) > limit - pos && count_ahead(A, i, pos) > limit - pos) return -1;
    const auto first = static_cast<std::int32_t>(pos);
    std::int32_t next = first;
    for_products(A, factor_, i, [&](T v, std::int32_t column, T u) {
      const std::int32_t before = place_[column];
      const bool is_new = before < first;
      const std::int32_t at = is_new ? next : before;
      const T sum = is_new ? zero<T>() : c_[at];
      c_[at] = accumulated(sum, v, u);
      jc_[at] = column + factor_.base;
      place_[column] = at;
      next += is_new ? 1 : 0;
    });
    return next;
  }

 private:
  std::int64_t most_entries(const compressed_matrix<T>& A, std::int32_t i) const {
    const row_range a = row_of(A, i);
    std::int64_t products = 0;
    for (std::int64_t p = a.first; p < a.last; ++p) {
      products += row_of(factor_, A.indices[p] - A.base).length();
    }
    return products < factor_.cols ? products : factor_.cols;
  }

  // Distinct columns of row i. The places are as before afterwards, as far as they matter: those
  // of the row's columns lie before any row.
  std::int64_t count_ahead(const compressed_matrix<T>& A, std::int32_t i, std::int64_t pos) const {
    const auto first = static_cast<std::int32_t>(pos);
    std::int64_t count = 0;
    for_products(A, factor_, i, [&](T, std::int32_t column, T) {
      count += place_[column] < first ? 1 : 0;
      place_[column] = first;
    });
    for_products(A, factor_, i, [&](T, std::int32_t column, T) { place_[column] = -1; });
    return count;
  }

  const compressed_matrix<T>& factor_;
  std::int32_t* place_;
  T* c_;
  std::int32_t* jc_;
};

}  // namespace nevrad
