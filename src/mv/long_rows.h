// Rows of many entries: one row at a time, four accumulators as four lanes.
//
// Entry r of each group of four goes into accumulator r, the remainder of a row into accumulator 0.
// Every accumulation is fused; complex ones are two rotations with the matrix element first.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "matrix/record.h"

namespace nevrad {

// Entries a trip, and how far ahead of the read position each trip fetches, in bytes.
template <conjugation C, class T>
struct long_rows_table {
  static constexpr bool wide = C == conjugation::no && !(is_complex<T> && !is_single<T>);
  static constexpr int entries_a_trip = wide ? 8 : 4;
  static constexpr int near_ahead = wide ? 512 : 256;  // level 1, keep
  static constexpr int far_ahead = 4096;               // level 2, keep
};

// How the kernel keeps memory busy. Where no hint is fixed it depends on where the matrix lies:
// within the caches every hint costs; outside, both arrays are wanted in level 2 some 2400 bytes
// early, since the hardware's own prefetch stops at the end of a page.
enum class traffic { fixed, in_cache, outside };

namespace long_rows_outside {

inline constexpr std::int64_t from_bytes = 16 << 20;
template <class T>
inline constexpr int entries_ahead = 2400 / (sizeof(T) + sizeof(std::int32_t));

}  // namespace long_rows_outside

template <class T>
NEVRAD_INLINE bool lies_outside_cache(const compressed_view<T>& a) {
  const std::int64_t entries = std::int64_t{a.end[a.rows - 1]} - a.begin[0];
  return entries * static_cast<std::int64_t>(sizeof(T) + sizeof(std::int32_t)) >=
         long_rows_outside::from_bytes;
}

// y_i out of the row's four sums.
template <class T>
NEVRAD_INLINE void
write_back(T* y, lane<T> s0, lane<T> s1, lane<T> s2, lane<T> s3, T alpha, T beta) {
  if constexpr (is_complex<T>) {
    const lane<T> scale = to_lane(alpha);
    lane<T> t = multiply_add(zero_lanes<T, 1>(), to_lane(beta), load<1>(y));
    t = multiply_add(t, s0, scale);
    t = multiply_add(t, s1, scale);
    t = multiply_add(t, s2, scale);
    t = multiply_add(t, s3, scale);
    store(y, t);
  } else if (alpha == T{1} && beta == T{0}) {
    *y = (s0.v + s1.v) + (s2.v + s3.v);
  } else {
    *y = fma(s3.v, alpha, fma(s2.v, alpha, fma(s1.v, alpha, fma(s0.v, alpha, beta * *y))));
  }
}

template <conjugation C, traffic H, class T>
void long_rows(const T& alpha_at,
               const compressed_view<T>& a,
               const T* x,
               const T& beta_at,
               T* y,
               std::int32_t row_begin,
               std::int32_t row_end) {
  using table = long_rows_table<C, T>;
  using namespace long_rows_outside;
  constexpr int trip = table::entries_a_trip;
  const std::int32_t offset = a.begin[0];
  const T alpha = alpha_at;
  const T beta = beta_at;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  const T* const from = x - offset;

  for (std::int32_t i = row_begin; i < row_end; ++i) {
    std::int64_t p = a.begin[i] - offset;
    const std::int64_t last = a.end[i] - offset;

    lanes<T, 4> sums = zero_lanes<T, 4>();
    for (const std::int64_t stop = last - (trip - 1); p < stop; p += trip) {
      if constexpr (H == traffic::outside) {
        prefetch<cache::level2>(values + p, entries_ahead<T> * sizeof(T));
        prefetch<cache::level2>(indices + p, entries_ahead<T> * sizeof(std::int32_t));
      }
      sums = multiply_add<C>(sums, load<4>(values + p), gather(from, indices + p));
      if constexpr (H == traffic::fixed) {
        prefetch<cache::level1>(indices + p, table::near_ahead);
        prefetch<cache::level1>(values + p, table::near_ahead);
      }
      if constexpr (table::wide) {
        sums = multiply_add<C>(sums, load<4>(values + p + 4), gather(from, indices + p + 4));
      }
      if constexpr (H == traffic::fixed) {
        prefetch<cache::level2>(indices + p, table::far_ahead);
        prefetch<cache::level2>(values + p, table::far_ahead);
      }
    }

    lane<T> first = lane_at<0>(sums);
#pragma clang loop unroll(disable)
    for (; p < last; ++p) {
      first = multiply_add<C>(first, load<1>(values + p), load<1>(from + indices[p]));
    }
    write_back(y + i, first, lane_at<1>(sums), lane_at<2>(sums), lane_at<3>(sums), alpha, beta);
  }
}

template <conjugation C, class T>
void long_rows(const T& alpha,
               const compressed_view<T>& a,
               const T* x,
               const T& beta,
               T* y,
               std::int32_t row_begin,
               std::int32_t row_end) {
  if constexpr (fixed_hints) {
    long_rows<C, traffic::fixed>(alpha, a, x, beta, y, row_begin, row_end);
  } else if (lies_outside_cache(a)) {
    long_rows<C, traffic::outside>(alpha, a, x, beta, y, row_begin, row_end);
  } else {
    long_rows<C, traffic::in_cache>(alpha, a, x, beta, y, row_begin, row_end);
  }
}

}  // namespace nevrad
