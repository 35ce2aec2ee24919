// What sums and products of compressed matrices share: the request, the row pointers of the
// result, and the copy that a transposed operand needs.
#pragma once

#include "frame/checks.h"
#include "matrix/transpose.h"

namespace nevrad {

// What a call asks for. The pattern is ic alone; a call for the values takes it from there.
inline constexpr int request_everything = 0;
inline constexpr int request_pattern = 1;
inline constexpr int request_values = 2;

// Arrays first needed, then whether there is such a request: so a null gives 1 for 0, 1 and 2.
constexpr status check_request(int request, const void* c, const void* jc, const void* ic) {
  switch (request) {
    case request_everything:
    case request_values:
      return check_three_pointers(c, jc, ic);
    case request_pattern:
      return ic == nullptr ? null_pointer : success;
    default:
      return invalid_value;
  }
}

// Turns the counts in ic[1] to ic[rows] into row pointers that start at `base`.
inline void sum_counts(std::int32_t* ic, std::int32_t rows, std::int32_t base) {
  std::int32_t sum = base;
  ic[0] = sum;
  for (std::int32_t i = 0; i < rows; ++i) {
    sum += ic[i + 1];
    ic[i + 1] = sum;
  }
}

inline std::int64_t entries_between(const std::int32_t* ic, std::int32_t rows) {
  return static_cast<std::int64_t>(ic[rows]) - ic[0];
}

// Boundaries of a driver's parts, on the heap, where the lack of them is a failure of the call.
inline scratch<std::int32_t> alloc_bounds(int parts) {
  const auto count = static_cast<std::uint64_t>(parts) + 1;
  return scratch<std::int32_t>(plain_alloc(count * sizeof(std::int32_t)));
}

// One row of a record, positions from 0.
struct row_range {
  std::int64_t first;
  std::int64_t last;
  std::int64_t length() const { return last - first; }
};

template <class T>
row_range row_of(const compressed_matrix<T>& a, std::int32_t i) {
  return {static_cast<std::int64_t>(a.begin[i]) - a.base,
          static_cast<std::int64_t>(a.end[i]) - a.base};
}

template <conjugation C, class T>
status transposed_copy(const compressed_matrix<T>& source, scoped_matrix<T>& copy) {
  if constexpr (C == conjugation::yes) {
    return csr_conj_transpose(source, copy.out());
  } else {
    return csr_transpose(source, copy.out());
  }
}

}  // namespace nevrad
