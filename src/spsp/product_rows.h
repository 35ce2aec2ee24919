// Rows of a product of compressed matrices: counting and accumulating.
#pragma once

#include "arith/lanes.h"
#include "spsp/request.h"

#include <string.h>

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

// counts[i] = distinct columns of row i of C, for rows first to last - 1.
template <class T>
void csrmultcsr_count_rows(const compressed_matrix<T>& A,
                           const compressed_matrix<T>& B,
                           std::int32_t* counts,
                           std::int32_t first,
                           std::int32_t last,
                           std::int32_t* marker) {
  for (std::int32_t i = first; i < last; ++i) {
    clear(marker, B.cols);
    std::int32_t count = 0;
    for_products(A, B, i, [&](T, std::int32_t column, T) {
      if (marker[column] == 0) {
        marker[column] = 1;
        ++count;
      }
    });
    counts[i] = count;
  }
}

// Row i as a dense row in `work`, with a 1 in `marker` where it has an entry.
template <class T>
void csrmultcsr_accumulate_row(const compressed_matrix<T>& A,
                               std::int32_t i,
                               const compressed_matrix<T>& B,
                               std::int32_t* marker,
                               T* work) {
  clear(work, B.cols);
  clear(marker, B.cols);
  for_products(A, B, i, [&](T v, std::int32_t column, T u) {
    work[column] = accumulated(work[column], v, u);
    marker[column] = 1;
  });
}

// Row i as `found` columns in `list` and their values in `work`, in order of first touch.
template <class T>
void csrmultcsr_accumulate_row_list(const compressed_matrix<T>& A,
                                    std::int32_t i,
                                    const compressed_matrix<T>& B,
                                    std::int32_t* list,
                                    T* work,
                                    std::int32_t* found) {
  clear(work, B.cols);
  clear(list, B.cols);
  *found = 0;
  for_products(A, B, i, [&](T v, std::int32_t column, T u) {
    std::int32_t t = 0;
    while (t < *found && list[t] != column) ++t;
    work[t] = accumulated(work[t], v, u);
    if (t == *found) {
      list[t] = column;
      ++*found;
    }
  });
}

// Writes the marked columns in ascending order from `pos` on and returns the position behind the
// last. Stops at `limit` and returns -1 when there are more.
template <class T>
std::int64_t write_marked(std::int32_t cols,
                          std::int32_t base,
                          const std::int32_t* marker,
                          const T* work,
                          T* c,
                          std::int32_t* jc,
                          std::int64_t pos,
                          std::int64_t limit) {
  for (std::int32_t column = 0; column < cols; ++column) {
    if (marker[column] == 0) continue;
    if (pos >= limit) return -1;
    jc[pos] = column + base;
    c[pos] = work[column];
    ++pos;
  }
  return pos;
}

// Rows first to last - 1 into the places that ic gives them, columns ascending.
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
  for (std::int32_t i = first; i < last; ++i) {
    csrmultcsr_accumulate_row(A, i, B, marker, work);
    const std::int64_t pos = static_cast<std::int64_t>(ic[i]) - B.base;
    write_marked(B.cols, B.base, marker, work, c, jc, pos, INT64_MAX);
  }
}

}  // namespace nevrad
