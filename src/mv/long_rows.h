// Rows of many entries: one row at a time, four accumulators as four lanes.
//
// Entry r of each group of four goes into accumulator r, the remainder of a row into accumulator 0.
// Every accumulation is fused; complex ones are two rotations with the matrix element first.
//
// Four rows that move on together are taken at once, as lanes of the four accumulators.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "matrix/record.h"
#include "mv/moving_rows.h"
#include "mv/traffic.h"

namespace nevrad {

// Entries a trip, and how far ahead of the read position each trip fetches, in bytes.
template <conjugation C, class T>
struct long_rows_table {
  static constexpr bool wide = C == conjugation::no && !(is_complex<T> && !is_single<T>);
  static constexpr int entries_a_trip = wide ? 8 : 4;
  static constexpr int near_ahead = wide ? 512 : 256;  // level 1, keep
  static constexpr int far_ahead = 4096;               // level 2, keep
};

// Outside the caches both arrays are wanted in level 2 some 2400 bytes early, since the hardware's
// own prefetch stops at the end of a page.
template <class T>
inline constexpr int outside_entries_ahead = 2400 / (sizeof(T) + sizeof(std::int32_t));

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

// The same for W rows, from lanes of sums.
template <class T, int W>
NEVRAD_INLINE void write_back_rows(T* y, const lanes<T, W> (&s)[4], T alpha_at, T beta_at) {
  const lanes<T, W> alpha = broadcast<W>(to_lane(alpha_at));
  if constexpr (is_complex<T>) {
    lanes<T, W> t = multiply_add(zero_lanes<T, W>(), broadcast<W>(to_lane(beta_at)), load<W>(y));
    for (const lanes<T, W> sum : s) t = multiply_add(t, sum, alpha);
    store(y, t);
  } else if (alpha_at == T{1} && beta_at == T{0}) {
    store(y, add(add(s[0], s[1]), add(s[2], s[3])));
  } else {
    lanes<T, W> t = multiply(broadcast<W>(to_lane(beta_at)), load<W>(y));
    for (const lanes<T, W> sum : s) t = multiply_add(t, sum, alpha);
    store(y, t);
  }
}

// Whether four rows that move on together are taken at once. Outside the caches they are not, where
// reading the arrays from front to back is worth more than what is saved, nor where their sums
// would not fit the registers.
template <class T>
NEVRAD_INLINE bool takes_rows_together(const compressed_view<T>& a) {
  return sizeof(T) <= 8 && !lies_outside_cache(a);
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
  constexpr int trip = table::entries_a_trip;
  const std::int32_t offset = a.begin[0];
  const T alpha = alpha_at;
  const T beta = beta_at;
  const T* const values = a.values;
  const std::int32_t* const indices = a.indices;
  const T* const from = x - offset;

  const bool together = takes_rows_together(a);
  const std::int32_t last_group = row_end - 4;
  // Whether rows i to i + 3 lie one behind the other, each the row before moved on.
  const auto rows_move_on = [&](std::int32_t i) {
    const std::int32_t first = a.begin[i];
    const std::int32_t next = a.end[i];
    if (i > last_group || a.begin[i + 1] != next || a.end[i + 1] <= next || next <= first ||
        !starts_one_on(indices + (first - offset), indices + (next - offset))) {
      return false;
    }
    const std::int32_t length = next - first;
    for (int r = 1; r < 4; ++r) {
      if (a.begin[i + r] != a.end[i + r - 1] || a.end[i + r] - a.begin[i + r] != length)
        return false;
    }
    return lines_move_on(indices + (first - offset), length);
  };
  const auto fetch_sixteen = [&](std::int64_t p) {
    if constexpr (H == traffic::fixed) {
      for (int trip = 0; trip < 16; trip += table::entries_a_trip) {
        prefetch<cache::level1>(indices + p + trip, table::near_ahead);
        prefetch<cache::level1>(values + p + trip, table::near_ahead);
        prefetch<cache::level2>(indices + p + trip, table::far_ahead);
        prefetch<cache::level2>(values + p + trip, table::far_ahead);
      }
    }
  };

  for (std::int32_t i = row_begin; i < row_end; ++i) {
    std::int64_t p = a.begin[i] - offset;
    const std::int64_t last = a.end[i] - offset;
    if constexpr (H != traffic::outside) {
      if (together && rows_move_on(i)) {
        lanes<T, 4> sums[4] = {};
        const std::int64_t length = last - p;
        const std::int64_t in_trips = length / trip * trip;
        const auto add_products = [](lanes<T, 4> sum, lanes<T, 4> of_a, lanes<T, 4> of_x) {
          return multiply_add<C>(sum, of_a, of_x);
        };
        const auto fetch = [&](std::int64_t at) { fetch_sixteen(p + at); };
        add_moving_rows<4>(sums, values + p, indices + p, from, length, 0, in_trips, add_products,
                           fetch);
        add_moving_rows<1>(sums, values + p, indices + p, from, length, in_trips, length,
                           add_products, fetch);
        write_back_rows(y + i, sums, alpha, beta);
        i += 3;
        continue;
      }
    }

    lanes<T, 4> sums = zero_lanes<T, 4>();
    for (const std::int64_t stop = last - (trip - 1); p < stop; p += trip) {
      if constexpr (H == traffic::outside) {
        prefetch<cache::level2>(values + p, outside_entries_ahead<T> * sizeof(T));
        prefetch<cache::level2>(indices + p, outside_entries_ahead<T> * sizeof(std::int32_t));
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
  with_traffic(a, [&](auto where) {
    long_rows<C, decltype(where)::value>(alpha, a, x, beta, y, row_begin, row_end);
  });
}

}  // namespace nevrad
